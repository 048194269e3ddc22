// Calls as they are written on the command line: `Name`, `Name(a, "b")`, `Name(key=a)`, `Name(a) = b`.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qkz {

/// The command line is wrong; the text says how.
struct UsageError : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

struct WrittenArgument {
    std::string key;   // of `key=value`, else empty
    std::string text;  // without its quotes
    bool quoted = false;
    std::string file;  // of `name>file`, else empty
    bool operator==(const WrittenArgument&) const = default;
};

struct WrittenCall {
    std::string name;
    std::vector<WrittenArgument> arguments;
    std::optional<WrittenArgument> assigned;
    bool operator==(const WrittenCall&) const = default;
};

/// Throws UsageError.
WrittenCall parseCall(std::string_view text);

/// The end of the registered names, which may be left out where that is clear.
constexpr std::string_view suffix = "QKZ";

/// Up to three of the names that differ least from the wanted one, in that order: as a whole in at most half
/// of its characters, with or without the suffix, or in at most a third from one of the words that a name is
/// put together of.
std::vector<std::string> nearest(std::string_view wanted, const std::vector<std::string>& names);
/// The same as the end of an error, such as `; the nearest: InvertQKZ, InvertGrayQKZ`; empty without any.
std::string suggestion(std::string_view wanted, const std::vector<std::string>& names);

}  // namespace qkz
