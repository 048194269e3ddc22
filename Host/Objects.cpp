#include "Objects.h"

#include <iostream>
#include <stdexcept>

#include "NativeCall.h"

namespace qkzhost {
namespace {

bool isStandard(const void* accessor) {
    return reinterpret_cast<std::intptr_t>(accessor) == REALstandardAccessor;
}

}  // namespace

std::optional<Value> Picture::get(std::string_view name) {
    if (!surface) return {};
    if (sameText(name, "Width")) return surface->width;
    if (sameText(name, "Height")) return surface->height;
    if (sameText(name, "HorizontalResolution")) return resolution[0];
    if (sameText(name, "VerticalResolution")) return resolution[1];
    if (sameText(name, "HasAlphaChannel")) return surface->alpha;
    return {};
}

bool Picture::set(std::string_view name, const Value& value) {
    if (!surface || !value.as<std::int64_t>()) return false;
    if (sameText(name, "HorizontalResolution")) {
        resolution[0] = value.integer();
    } else if (sameText(name, "VerticalResolution")) {
        resolution[1] = value.integer();
    } else {
        return false;
    }
    return true;
}

void Picture::dispose(ObjectTable& objects) {
    if (descriptionLocks != 0) objects.note("a picture died while its description was locked");
}

std::optional<Value> Exception::get(std::string_view name) {
    if (sameText(name, "ErrorNumber")) return number;
    if (sameText(name, "Message")) return message;
    return {};
}

bool Exception::set(std::string_view name, const Value& value) {
    if (sameText(name, "ErrorNumber") && value.as<std::int64_t>()) {
        number = value.integer();
    } else if (sameText(name, "Message") && (value.as<OwnedString>() || value.isNil())) {
        message = value.string();
    } else {
        return false;
    }
    return true;
}

Instance::Instance(const Registration& definition)
    : Object(definition.name, static_cast<std::size_t>(definition.instanceOffset) + definition.dataSize),
      type(definition) {}

std::optional<Value> Instance::get(std::string_view name) {
    const RegisteredProperty* property = type.property(name);
    if (!property || !property->getter) return {};
    const Type valueType = typeNamed(property->type);
    if (!isStandard(property->getter)) {
        Argument arguments[] = {{Type::object, handle()}, {Type::integer, property->param}};
        return callNative(property->getter, arguments, valueType);
    }
    Value held = takeValue(data() + property->param, valueType), result = held;
    held.release();  // which the instance keeps
    return result;
}

bool Instance::set(std::string_view name, const Value& value) {
    const RegisteredProperty* property = type.property(name);
    if (!property || !property->setter) return false;
    const Type valueType = typeNamed(property->type);
    if (!isStandard(property->setter)) {
        Argument arguments[] = {
            {Type::object, handle()}, {Type::integer, property->param}, {valueType, value}};
        callNative(property->setter, arguments, Type::none);
        return true;
    }
    const Value old = takeValue(data() + property->param, valueType);
    storeValue(data() + property->param, valueType, value);
    Value(value).release();  // to the instance
    return true;
}

void Instance::dispose(ObjectTable&) {
    if (!type.destructor) return;
    Argument self[] = {{Type::object, OwnedObject(handle())}};
    callNative(type.destructor, self, Type::none);
    self[0].value.release();  // the last reference is gone already
}

OwnedString ObjectTable::newString(std::string_view bytes, std::uint32_t encoding) {
    const Object& string = add(std::make_unique<String>(std::string(bytes), encoding));
    return OwnedString(reinterpret_cast<REALstringStruct*>(string.handle()));
}

OwnedBlock ObjectTable::newMemoryBlock(std::vector<std::uint8_t> bytes) {
    MemoryBlock& block = add(std::make_unique<MemoryBlock>());
    block.bytes = std::move(bytes);
    return OwnedBlock(static_cast<REALmemoryBlockStruct*>(block.handle()));
}

Picture& ObjectTable::picture(REALpictureStruct* handle) {
    Picture* found = find<Picture>(handle, "picture");
    if (!found) throw std::invalid_argument("no picture");
    return *found;
}

Surface& ObjectTable::surface(REALpictureStruct* handle) {
    Picture& found = picture(handle);
    if (!found.surface) throw std::invalid_argument("the picture is not constructed");
    return *found.surface;
}

std::string ObjectTable::text(REALstringStruct* handle) {
    const String* string = find<String>(handle, "text");
    return string ? string->bytes : "";
}

std::uint32_t ObjectTable::encoding(REALstringStruct* handle) {
    const String* string = find<String>(handle, "encoding");
    return string ? string->encoding : REALencodingUnknown;
}

std::span<std::uint8_t> ObjectTable::bytes(REALmemoryBlockStruct* handle) {
    MemoryBlock* block = find<MemoryBlock>(handle, "bytes");
    return block ? std::span(block->bytes) : std::span<std::uint8_t>();
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
    if (Object* object = find(handle, "lock object")) ++object->references;
}

void ObjectTable::lock(REALstringStruct* handle) {
    if (String* string = find<String>(handle, "lock string")) ++string->references;
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
    const auto dead = objects_.extract(object.handle());  // which may hold the last references to others
    graveyard_.push_back(std::move(object.block));
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
        ++census.classes[object->className];
        const bool string = dynamic_cast<const String*>(object.get()) != nullptr;
        ++(string ? census.strings : census.objects);
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
