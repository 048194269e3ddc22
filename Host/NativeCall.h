// Calls of plug-in functions whose signatures are known at run time only.
#pragma once

#include <span>

#include "Value.h"

namespace qkzhost {

struct Argument {
    Type type;
    Value value;
    bool byref = false;  // the function gets a pointer; the value is replaced by what it leaves there,
                         // and what was there before is the function's to release
};

/// Calls through the platform's C convention. Each value must be of its type: a handle (or nil) for
/// strings and objects. Result nil for Type::none.
Value callNative(void* function, std::span<Argument> arguments, Type result);

}  // namespace qkzhost
