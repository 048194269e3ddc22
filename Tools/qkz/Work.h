// What a command line asks to be done to each of its files.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Session.h"

namespace qkz {

struct Work {
    std::vector<std::filesystem::path> files;
    std::vector<std::string> calls;
    std::optional<std::filesystem::path> output;  // for many files with {name} for each one's
    Encoding encoding;
    bool whole = false;  // pictures go into the host as wholes
};

/// Where a file's name goes in an output that stands for those of several.
constexpr std::string_view namePlace = "{name}";

/// Whether an output stands for those of several files.
bool isPattern(const std::optional<std::filesystem::path>& output);

/// Throws UsageError when the folder that a file is to go to is none.
void checkFolder(const std::filesystem::path& file);

/// Moves the files that lead the calls to the files: what is there or has the ending of a picture, and is no
/// call of something registered.
void sortOutFiles(const Session&, Work&);

/// Throws UsageError for what is wrong with the calls or the output. Opens nothing.
void check(Session&, const Work&);

/// Reads one file, makes the calls, and writes what comes of them. Throws as Session does.
void doFile(qkzhost::Host&, const Limits&, const Work&, const std::filesystem::path& file,
            const std::optional<std::filesystem::path>& output);

}  // namespace qkz
