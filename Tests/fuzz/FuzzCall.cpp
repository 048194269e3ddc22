// Any text as a call, and any words as names to choose from.
#include <algorithm>
#include <cctype>
#include <iterator>
#include <sstream>

#include "CallSyntax.h"
#include "Fuzz.h"
#include "Value.h"

namespace {

std::string quoted(const std::string& text) {
    std::string result;
    for (const char c : text) result += c == '"' ? "\"\"" : std::string(1, c);
    return '"' + result + '"';
}

std::string written(const qkz::WrittenArgument& argument) {
    const std::string& text = argument.text;
    require(argument.quoted || (!text.empty() && !std::isspace(static_cast<unsigned char>(text.back()))));
    return (argument.key.empty() ? "" : argument.key + '=') + (argument.quoted ? quoted(text) : text) +
           (argument.file.empty() ? "" : '>' + quoted(argument.file));
}

std::string written(const qkz::WrittenCall& call) {
    std::string list;
    for (const auto& argument : call.arguments) list += ',' + written(argument);
    return call.name + (list.empty() ? "" : '(' + list.substr(1) + ')') +
           (call.assigned ? '=' + written(*call.assigned) : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(textOf(data, size));
    const auto call = attempt<qkz::UsageError>([&] { return qkz::parseCall(text); });
    require(!call || (!call->name.empty() && qkz::parseCall(written(*call)) == *call));

    std::istringstream words(text);
    std::string wanted;
    words >> wanted;
    const std::vector<std::string> names{std::istream_iterator<std::string>(words), {}};
    const auto near = qkz::nearest(wanted, names);
    require(near.size() <= 3);
    for (const std::string& name : near)
        require(std::ranges::count(near, name) == 1 && std::ranges::count(names, name) > 0);
    const auto isWanted = [&](const std::string& name) { return qkzhost::sameText(name, wanted); };
    require(std::ranges::none_of(names, isWanted) || (!near.empty() && isWanted(near.front())));
    return 0;
}
