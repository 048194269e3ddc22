// Calls by a signature that is known at run time only, which JavaScript can make of any function.
#include <emscripten.h>

#include <string>
#include <vector>

#include "NativeCall.h"

namespace qkzhost {
namespace {

/// The WebAssembly type, as `callBySignature` reads it.
char kindOf(Type type) {
    switch (type) {
        case Type::none:
            return 'v';
        case Type::integer:
            return 'j';
        case Type::real:
            return 'd';
        case Type::int32:
        case Type::uint32:
        case Type::color:
        case Type::boolean:
        case Type::string:
        case Type::object:
            break;
    }
    return 'i';
}

}  // namespace

// clang-format off
/// `kinds` begins with the result's; each argument has a slot of 8 bytes, and so has the result.
EM_JS(void, callBySignature, (void* callee, const char* kinds, const void* slots, void* result), {
    const [wanted, ...kindOf] = UTF8ToString(kinds);
    const heapOf = {
        'i' : (at) => [ HEAP32, at >> 2 ],
        'j' : (at) => [ HEAP64, at >> 3 ],
        'd' : (at) => [ HEAPF64, at >> 3 ]
    };
    const read = (kind, i) => {
        const [heap, at] = heapOf[kind](slots + 8 * i);
        return heap[at];
    };
    const value = wasmTable.get(callee)(...kindOf.map(read));
    if (wanted === 'v') return;
    const [heap, at] = heapOf[wanted](result);
    heap[at] = value;
})
// clang-format on

Value callNative(void* function, std::span<Argument> arguments, Type result) {
    std::vector<std::uint64_t> variables(arguments.size()), slots(arguments.size());
    std::string kinds(1, kindOf(result));
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const Argument& argument = arguments[i];
        storeValue(&variables[i], argument.type, argument.value);
        slots[i] = argument.byref ? reinterpret_cast<std::uintptr_t>(&variables[i]) : variables[i];
        kinds += argument.byref ? 'i' : kindOf(argument.type);
    }
    std::uint64_t returned = 0;
    callBySignature(function, kinds.c_str(), slots.data(), &returned);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (!arguments[i].byref) continue;
        arguments[i].value.release();  // the function had it, and has left it or another
        arguments[i].value = takeValue(&variables[i], arguments[i].type);
    }
    return takeValue(&returned, result);
}

}  // namespace qkzhost
