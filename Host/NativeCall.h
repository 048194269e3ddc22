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

/// Reads a value of the type in memory as the host keeps it; the reference of a handle there goes along.
Value takeValue(const void* address, Type);
/// Writes a value; a handle is lent.
void storeValue(void* address, Type, const Value&);

}  // namespace qkzhost
