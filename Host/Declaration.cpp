#include "Declaration.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "RealText.h"

namespace qkzhost {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)); }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

Parameter parseParameter(std::string_view text) {
    Parameter parameter;
    if (const auto equals = text.find('='); equals != text.npos) {
        parameter.defaultText = std::string(trimmed(text.substr(equals + 1)));
        text = text.substr(0, equals);
    }
    std::istringstream words{std::string(text)};
    std::string word;
    words >> word;
    while (true) {
        if (sameText(word, "byref")) {
            parameter.byref = true;
        } else if (sameText(word, "extends")) {
            parameter.extends = true;
        } else if (sameText(word, "assigns")) {
            parameter.assigns = true;
        } else {
            break;
        }
        word.clear();
        words >> word;
    }
    std::string as;
    parameter.name = word;
    if (!(words >> as >> parameter.typeName) || !sameText(as, "as") || words >> word) {
        throw std::invalid_argument("parameter \"" + std::string(trimmed(text)) +
                                    "\" is not \"name as type\"");
    }
    parameter.type = typeNamed(parameter.typeName);
    return parameter;
}

template <class T>
bool readNumber(std::string_view text, T& value, int base) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size();
}

std::int64_t readInteger(std::string_view text, std::int64_t least, std::int64_t most) {
    std::int64_t value = 0;
    const bool hexadecimal = text.size() > 2 && sameText(text.substr(0, 2), "&h");
    if ((hexadecimal && text[2] == '-') ||
        !readNumber(hexadecimal ? text.substr(2) : text, value, hexadecimal ? 16 : 10)) {
        throw std::invalid_argument("is not a whole number");
    }
    if (value < least || value > most)
        throw std::invalid_argument("is not in " + std::to_string(least) + ".." + std::to_string(most));
    return value;
}

Color readColor(std::string_view text) {
    std::uint32_t word = 0;
    if ((text.size() != 8 && text.size() != 10) || !sameText(text.substr(0, 2), "&c") ||
        !readNumber(text.substr(2), word, 16)) {
        throw std::invalid_argument("is not a colour such as &cFF8000");
    }
    return {text.size() == 8 ? word : word >> 8 | word << 24};  // &cRRGGBBTT
}

}  // namespace

bool sameText(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::string canonical(std::string_view text) {
    std::string result;
    for (const char c : text)
        if (c != ' ') result += lower(c);
    return result;
}

Type typeNamed(std::string_view name) {
    static constexpr std::pair<std::string_view, Type> names[] = {
        {"integer", Type::integer}, {"int64", Type::integer}, {"int32", Type::int32},
        {"uint32", Type::uint32},   {"double", Type::real},   {"boolean", Type::boolean},
        {"color", Type::color},     {"string", Type::string},
    };
    for (const auto& [text, type] : names)
        if (sameText(text, name)) return type;
    return Type::object;
}

Declaration parseDeclaration(std::string_view text) {
    Declaration declaration;
    text = trimmed(text);
    const auto nameEnd =
        std::find_if(text.begin(), text.end(), [](char c) { return c == '(' || isBlank(c); });
    declaration.name = std::string(text.begin(), nameEnd);
    if (declaration.name.empty()) throw std::invalid_argument("the declaration has no name");
    text = trimmed(text.substr(declaration.name.size()));
    if (text.starts_with('(')) {
        const auto close = text.find(')');
        if (close == text.npos) throw std::invalid_argument("the parameter list is not closed");
        std::string_view list = text.substr(1, close - 1);
        while (!trimmed(list).empty()) {  // an empty parameter, as after a trailing comma, is no parameter
            const auto comma = std::min(list.find(','), list.size());
            if (!trimmed(list.substr(0, comma)).empty())
                declaration.parameters.push_back(parseParameter(list.substr(0, comma)));
            list.remove_prefix(std::min(comma + 1, list.size()));
        }
        text = trimmed(text.substr(close + 1));
    }
    if (text.empty()) return declaration;
    if (text.size() < 4 || !sameText(text.substr(0, 2), "as") || !isBlank(text[2]))
        throw std::invalid_argument("\"" + std::string(text) + "\" is not \"as type\"");
    declaration.resultName = trimmed(text.substr(3));
    declaration.result = typeNamed(declaration.resultName);
    return declaration;
}

Value parseLiteral(std::string_view text, Type type) {
    switch (type) {
        case Type::integer:
            return readInteger(text, std::numeric_limits<std::int64_t>::min(),
                               std::numeric_limits<std::int64_t>::max());
        case Type::int32:
            return readInteger(text, std::numeric_limits<std::int32_t>::min(),
                               std::numeric_limits<std::int32_t>::max());
        case Type::uint32:
            return readInteger(text, 0, std::numeric_limits<std::uint32_t>::max());
        case Type::real:
            if (const auto value = realFromText(text)) return *value;
            throw std::invalid_argument("is not a number");
        case Type::boolean:
            if (sameText(text, "true")) return true;
            if (sameText(text, "false")) return false;
            throw std::invalid_argument("is neither true nor false");
        case Type::color:
            return readColor(text);
        case Type::string:
            if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
                return std::string(text.substr(1, text.size() - 2));
            [[fallthrough]];
        default:
            if (sameText(text, "nil")) return {};
            throw std::invalid_argument("is not nil");
    }
}

}  // namespace qkzhost
