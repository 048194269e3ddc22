#include "NativeCall.h"

#include <ffi.h>

#include <stdexcept>
#include <vector>

namespace qkzhost {
namespace {

ffi_type* nativeType(Type type) {
    switch (type) {
        case Type::none:
            return &ffi_type_void;
        case Type::integer:
            return &ffi_type_sint64;
        case Type::int32:
            return &ffi_type_sint32;
        case Type::uint32:
        case Type::color:
            return &ffi_type_uint32;
        case Type::real:
            return &ffi_type_double;
        case Type::boolean:
            return &ffi_type_sint8;
        case Type::string:
        case Type::object:
            break;
    }
    return &ffi_type_pointer;
}

union Slot {
    std::uint64_t word;
    void* pointer;
};

}  // namespace

Value callNative(void* function, std::span<Argument> arguments, Type result) {
    const std::size_t count = arguments.size();
    std::vector<Slot> variables(count), slots(count);
    std::vector<ffi_type*> types;
    std::vector<void*> addresses;
    for (std::size_t i = 0; i < count; ++i) {
        const Argument& argument = arguments[i];
        variables[i].word = 0;
        storeValue(&variables[i], argument.type, argument.value);
        slots[i].pointer = &variables[i];
        types.push_back(argument.byref ? &ffi_type_pointer : nativeType(argument.type));
        addresses.push_back(argument.byref ? &slots[i] : &variables[i]);
    }
    ffi_cif interface;
    if (ffi_prep_cif(&interface, FFI_DEFAULT_ABI, static_cast<unsigned>(count), nativeType(result),
                     types.data()) != FFI_OK) {
        throw std::runtime_error("the call could not be prepared");
    }
    Slot returned{};  // whole numbers narrower than a word come back in its low bytes
    ffi_call(&interface, reinterpret_cast<void (*)()>(function), &returned, addresses.data());
    for (std::size_t i = 0; i < count; ++i) {
        if (!arguments[i].byref) continue;
        arguments[i].value.release();  // the function had it, and has left it or another
        arguments[i].value = takeValue(&variables[i], arguments[i].type);
    }
    return takeValue(&returned, result);
}

}  // namespace qkzhost
