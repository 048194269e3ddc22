// Rows of the definition tables, and the instance data of the plug-in's classes.
#pragma once

#include <type_traits>

#include "rbException.h"
#include "rbFreeLater.h"
#include "rbclassutil.h"

/// A method row: the function behind a declaration, and for one that can be assigned to, its setter.
template <auto Function, auto Setter = nullptr>
REALmethodDefinition method(const char* declaration, std::uint32_t flags = deferredConsoleSafe) {
    void* setter = nullptr;
    if constexpr (!std::is_null_pointer_v<decltype(Setter)>) setter = HostCall<Setter>();
    return {HostCall<Function>(), setter, declaration, flags, 0, nullptr};
}

/// A property that the host reads and writes itself, at the offset in the instance data.
inline REALproperty field(const char* name, const char* type, std::uint32_t flags, std::size_t offset) {
    REALproperty row{};
    row.name = name;
    row.type = type;
    row.flags = flags;
    row.getter = reinterpret_cast<void*>(REALstandardAccessor);
    row.setter = row.getter;
    row.param = static_cast<std::int32_t>(offset);
    return row;
}

/// A property with functions of its own.
template <auto Getter, auto Setter>
REALproperty computed(const char* name, const char* type, std::uint32_t flags) {
    REALproperty row{};
    row.name = name;
    row.type = type;
    row.flags = flags;
    row.getter = HostCall<Getter>();
    row.setter = HostCall<Setter>();
    return row;
}

/// The plug-in's data of an instance of the class, at the distance that the host wrote at registration.
template <class Data>
Data& instanceData(REALobjectStruct* object, const REALclassDefinition& definition) {
    return *reinterpret_cast<Data*>(reinterpret_cast<char*>(object) + definition.forSystemUse);
}
