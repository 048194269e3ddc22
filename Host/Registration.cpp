#include "Registration.h"

#include "Value.h"

namespace qkzhost {
namespace {

std::string copied(const char* text) { return text ? text : ""; }

Attributes copied(const REALattribute* attributes, std::size_t count) {
    Attributes result;
    for (std::size_t i = 0; attributes && i < count; ++i)
        result.emplace_back(copied(attributes[i].name), copied(attributes[i].value));
    return result;
}

RegisteredMethod copied(const REALmethodDefinition& m) {
    return {copied(m.declaration), m.flags, m.function, m.setterFunction,
            copied(m.attributes, m.attributeCount)};
}

RegisteredProperty copied(const REALproperty& p) {
    return {copied(p.name), copied(p.type), copied(p.group), p.flags,
            p.getter,       p.setter,       p.param,         copied(p.attributes, p.attributeCount)};
}

RegisteredDelegate copied(const REALdelegate& d) { return {copied(d.declaration), d.flags}; }

template <class To, class From>
void copyList(std::vector<To>& to, const From* from, std::size_t count) {
    for (std::size_t i = 0; from && i < count; ++i) to.push_back(copied(from[i]));
}

}  // namespace

Registration::Registration(const REALmethodDefinition& definition) : kind(method), flags(definition.flags) {
    methods.push_back(copied(definition));
}

Registration::Registration(const REALmoduleDefinition& definition)
    : kind(module), name(copied(definition.name)), version(definition.version), flags(definition.flags) {
    copyList(methods, definition.methods, definition.methodCount);
    copyList(properties, definition.properties, definition.propertyCount);
    copyList(delegates, definition.delegates, definition.delegateCount);
}

Registration::Registration(Kind classOrExtension, const REALclassDefinition& definition)
    : kind(classOrExtension),
      name(copied(definition.name)),
      superName(copied(definition.superName)),
      dataSize(definition.dataSize),
      constructor(definition.constructor),
      destructor(definition.destructor),
      version(definition.version),
      flags(definition.flags) {
    copyList(methods, definition.methods, definition.methodCount);
    copyList(sharedMethods, definition.sharedMethods, definition.sharedMethodCount);
    copyList(properties, definition.properties, definition.propertyCount);
    copyList(sharedProperties, definition.sharedProperties, definition.sharedPropertyCount);
    copyList(delegates, definition.delegates, definition.delegateCount);
}

const RegisteredProperty* Registration::property(std::string_view wanted) const {
    for (const auto& p : properties)
        if (sameText(p.name, wanted)) return &p;
    return nullptr;
}

}  // namespace qkzhost
