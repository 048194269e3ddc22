// Declarations as plug-ins register them: `Name(x as integer = 3, byref y as double) as picture`.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Value.h"

namespace qkzhost {

struct Parameter {
    std::string name;
    std::string typeName;
    Type type = Type::object;
    bool byref = false;
    bool extends = false;  // the object that the method is called on
    bool assigns = false;  // the value right of the equals sign
    std::optional<std::string> defaultText = {};
    bool operator==(const Parameter&) const = default;
};

struct Declaration {
    std::string name;
    std::vector<Parameter> parameters;
    std::string resultName;  // empty without a result
    Type result = Type::none;
    bool operator==(const Declaration&) const = default;
};

/// Throws std::invalid_argument saying what is wrong.
Declaration parseDeclaration(std::string_view text);

/// A literal of the type: whole numbers (also &h hexadecimal), numbers with inf and nan, true and false,
/// &cRRGGBB or &cRRGGBBTT colours, nil. Throws std::invalid_argument with the reason, a phrase such as
/// "is not a whole number".
Value parseLiteral(std::string_view text, Type);

}  // namespace qkzhost
