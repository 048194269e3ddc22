// What a plug-in registered, copied at that moment: the plug-in's own records are not looked at again.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "HostTypes.h"

namespace qkzhost {

using Attributes = std::vector<std::pair<std::string, std::string>>;

struct RegisteredMethod {
    std::string declaration;
    std::uint32_t flags = 0;
    void* function = nullptr;
    void* setterFunction = nullptr;
    Attributes attributes;
};

struct RegisteredProperty {
    std::string name, type, group;
    std::uint32_t flags = 0;
    void* getter = nullptr;
    void* setter = nullptr;
    std::int32_t param = 0;
    Attributes attributes;
};

struct RegisteredDelegate {
    std::string declaration;
    std::uint32_t flags = 0;
};

struct Registration {
    enum Kind { classType, module, extension, method } kind = classType;
    std::string name;       // of the class or module; empty for a loose global method
    std::string superName;  // class only, as are the next two fields
    std::size_t dataSize = 0;
    void *constructor = nullptr, *destructor = nullptr;
    std::uint32_t version = 0;
    std::uint32_t flags = 0;
    std::vector<RegisteredMethod> methods, sharedMethods;
    std::vector<RegisteredProperty> properties, sharedProperties;
    std::vector<RegisteredDelegate> delegates;
    /// Where the host keeps an instance's plug-in data: distance in bytes from the handle.
    std::int64_t instanceOffset = 0;

    explicit Registration(const REALmethodDefinition&);
    explicit Registration(const REALmoduleDefinition&);
    Registration(Kind, const REALclassDefinition&);

    /// Null when there is none of the name (case does not matter).
    const RegisteredProperty* property(std::string_view wanted) const;
};

}  // namespace qkzhost
