// The words of the help pages, as plain text; put into the program when it is built.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qkz {

/// A parameter, or a property of a class. What there is nothing to say of is empty.
struct ParameterWords {
    std::string_view name, unit, range, first;  // first: the value of a new instance
    std::string_view means, more;
};

/// What is said of a registered name. Paragraphs have an empty line between them.
struct Words {
    std::string_view name;    // of a member with the class and a dot
    std::string_view source;  // what the calls are shown on: a name in Gallery.h
    std::string_view does, result, failure, example;
    std::vector<ParameterWords> parameters, properties;
    std::vector<std::string_view> quirks;
    std::vector<std::string> calls;  // that show it, as `qkz run` takes them
};

/// In the order of the pages.
const std::vector<Words>& allWords();

}  // namespace qkz
