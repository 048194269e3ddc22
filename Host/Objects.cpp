#include "Objects.h"

#include <iostream>

#include "NativeCall.h"

namespace qkzhost {
namespace {

bool isStandard(const void* accessor) {
    return reinterpret_cast<std::intptr_t>(accessor) == REALstandardAccessor;
}

}  // namespace

std::optional<Value> Picture::get(ObjectTable&, std::string_view name) {
    if (!surface) return {};
    if (sameText(name, "Width")) return surface->width;
    if (sameText(name, "Height")) return surface->height;
    if (sameText(name, "HorizontalResolution")) return horizontalResolution;
    if (sameText(name, "VerticalResolution")) return verticalResolution;
    if (sameText(name, "HasAlphaChannel")) return surface->alpha;
    return {};
}

bool Picture::set(ObjectTable&, std::string_view name, const Value& value) {
    if (!surface || !value.as<std::int64_t>()) return false;
    if (sameText(name, "HorizontalResolution"))
        horizontalResolution = value.integer();
    else if (sameText(name, "VerticalResolution"))
        verticalResolution = value.integer();
    else
        return false;
    return true;
}

void Picture::dispose(ObjectTable& objects) {
    if (descriptionLocks != 0) objects.note("a picture died while its description was locked");
    objects.replace<REALobjectStruct>(mask, nullptr);
    objects.replace<REALobjectStruct>(representation, nullptr);
}

void Graphics::dispose(ObjectTable& objects) { objects.replace<REALobjectStruct>(picture, nullptr); }

std::optional<Value> Exception::get(ObjectTable& objects, std::string_view name) {
    if (sameText(name, "ErrorNumber")) return number;
    if (!sameText(name, "Message")) return {};
    if (message) objects.lock(message);
    return message;
}

bool Exception::set(ObjectTable& objects, std::string_view name, const Value& value) {
    if (sameText(name, "ErrorNumber") && value.as<std::int64_t>())
        number = value.integer();
    else if (sameText(name, "Message") && (value.as<REALstringStruct*>() || value.isNil()))
        objects.replace(message, value.string());
    else
        return false;
    return true;
}

void Exception::dispose(ObjectTable& objects) { objects.replace<REALstringStruct>(message, nullptr); }

Instance::Instance(const Registration& definition)
    : Object(definition.name, static_cast<std::size_t>(definition.instanceOffset) + definition.dataSize),
      type(definition) {}

std::optional<Value> Instance::get(ObjectTable& objects, std::string_view name) {
    const RegisteredProperty* property = type.property(name);
    if (!property || !property->getter) return {};
    const Type valueType = typeNamed(property->type);
    if (!isStandard(property->getter)) {
        Argument arguments[] = {{Type::object, handle()}, {Type::integer, property->param}};
        return callNative(property->getter, arguments, valueType);
    }
    const Value value = loadValue(data() + property->param, valueType);
    if (valueType == Type::object && !value.isNil()) objects.lock(value.object());
    if (valueType == Type::string && !value.isNil()) objects.lock(value.string());
    return value;
}

bool Instance::set(ObjectTable& objects, std::string_view name, const Value& value) {
    const RegisteredProperty* property = type.property(name);
    if (!property || !property->setter) return false;
    const Type valueType = typeNamed(property->type);
    if (!isStandard(property->setter)) {
        Argument arguments[] = {
            {Type::object, handle()}, {Type::integer, property->param}, {valueType, value}};
        callNative(property->setter, arguments, Type::none);
        return true;
    }
    const Value old = loadValue(data() + property->param, valueType);
    if (valueType == Type::object && !value.isNil()) objects.lock(value.object());
    if (valueType == Type::string && !value.isNil()) objects.lock(value.string());
    storeValue(data() + property->param, valueType, value);
    if (valueType == Type::object && !old.isNil()) objects.unlock(old.object());
    if (valueType == Type::string && !old.isNil()) objects.unlock(old.string());
    return true;
}

void Instance::dispose(ObjectTable&) {
    if (!type.destructor) return;
    Argument self[] = {{Type::object, handle()}};
    callNative(type.destructor, self, Type::none);
}

Object* ObjectTable::findAny(const void* handle) const {
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second.get();
}

std::string_view ObjectTable::classOf(const void* handle) const {
    const Object* object = findAny(handle);
    return object ? std::string_view(object->className) : std::string_view();
}

void ObjectTable::lock(REALobjectStruct* handle) {
    if (Object* object = find(handle, "lock object")) object->references++;
}

void ObjectTable::lock(REALstringStruct* handle) {
    if (String* string = find<String>(handle, "lock string")) string->references++;
}

void ObjectTable::unlock(REALobjectStruct* handle) {
    if (Object* object = find(handle, "unlock object")) release(*object);
}

void ObjectTable::unlock(REALstringStruct* handle) {
    if (String* string = find<String>(handle, "unlock string")) release(*string);
}

void ObjectTable::release(Object& object) {
    if (object.references == 0) return note("a dying " + object.className + " is unlocked again");
    if (--object.references > 0) return;
    object.dispose(*this);
    graveyard_.push_back(std::move(object.block));
    objects_.erase(graveyard_.back().get());
    if (graveyard_.size() > 4096) graveyard_.pop_front();
}

void ObjectTable::complain(const void* handle, const char* purpose) {
    const std::string_view name = classOf(handle);
    note(std::string(purpose) + ": " +
         (name.empty() ? "the handle is dead or was never one" : "the handle is a " + std::string(name)));
}

void ObjectTable::note(const std::string& error) {
    errors_.push_back(error);
    std::cerr << "host: " << error << '\n';
}

Census ObjectTable::census() const {
    Census census;
    for (const auto& [handle, object] : objects_) {
        census.classes[object->className]++;
        const bool string = dynamic_cast<const String*>(object.get()) != nullptr;
        (string ? census.strings : census.objects)++;
        (string ? census.stringReferences : census.references) += object->references;
        if (const auto* picture = dynamic_cast<const Picture*>(object.get()))
            census.descriptionLocks += picture->descriptionLocks;
    }
    census.stringData = stringData;
    census.errors = static_cast<long>(errors_.size());
    return census;
}

std::ostream& operator<<(std::ostream& out, const Census& census) {
    out << census.objects << " objects with " << census.references << " references, " << census.strings
        << " strings with " << census.stringReferences << ", " << census.descriptionLocks
        << " description locks, " << census.stringData << " string data, " << census.errors << " errors;";
    for (const auto& [name, count] : census.classes) out << ' ' << count << ' ' << name;
    return out;
}

}  // namespace qkzhost
