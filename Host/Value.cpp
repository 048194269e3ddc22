#include "Value.h"

#include <cstring>
#include <ostream>

#include "RealText.h"

namespace qkzhost {
namespace {

template <class T>
T loadAs(const void* address) {
    T value;
    std::memcpy(&value, address, sizeof(T));
    return value;
}

template <class T>
void storeAs(void* address, T value) {
    std::memcpy(address, &value, sizeof(T));
}

}  // namespace

Value::Value(const Value&) = default;
Value::Value(Value&&) noexcept = default;
Value& Value::operator=(const Value&) = default;
Value& Value::operator=(Value&&) noexcept = default;
Value::~Value() = default;

bool Value::isNil() const {
    if (const auto* object = as<OwnedObject>()) return !*object;
    if (const auto* string = as<OwnedString>()) return !*string;
    return as<std::monostate>() != nullptr;
}

void Value::release() {
    if (auto* object = std::get_if<OwnedObject>(&data_)) object->release();
    if (auto* string = std::get_if<OwnedString>(&data_)) string->release();
}

Value takeValue(const void* address, Type type) {
    switch (type) {
        case Type::none:
            return {};
        case Type::integer:
            return loadAs<std::int64_t>(address);
        case Type::int32:
            return loadAs<std::int32_t>(address);
        case Type::uint32:
            return loadAs<std::uint32_t>(address);
        case Type::real:
            return loadAs<double>(address);
        case Type::boolean:
            return loadAs<RBBoolean>(address) != 0;
        case Type::color:
            return Color{loadAs<std::uint32_t>(address)};
        case Type::string:
            return OwnedString(loadAs<REALstringStruct*>(address));
        case Type::object:
            return OwnedObject(loadAs<REALobjectStruct*>(address));
    }
    return {};
}

void storeValue(void* address, Type type, const Value& value) {
    switch (type) {
        case Type::none:
            break;
        case Type::integer:
            storeAs(address, value.integer());
            break;
        case Type::int32:
            storeAs(address, static_cast<std::int32_t>(value.integer()));
            break;
        case Type::uint32:
            storeAs(address, static_cast<std::uint32_t>(value.integer()));
            break;
        case Type::real:
            storeAs(address, value.real());
            break;
        case Type::boolean:
            storeAs(address, static_cast<RBBoolean>(value.boolean()));
            break;
        case Type::color:
            storeAs(address, value.color().word);
            break;
        case Type::string:
            storeAs(address, value.lentString());
            break;
        case Type::object:
            storeAs(address, value.lentObject());
            break;
    }
}

std::ostream& operator<<(std::ostream& out, const Value& value) {
    if (value.isNil()) return out << "nil";
    if (const auto* integer = value.as<std::int64_t>()) return out << *integer;
    if (const auto* boolean = value.as<bool>()) return out << (*boolean ? "true" : "false");
    if (const auto* text = value.as<std::string>()) return out << '"' << *text << '"';
    if (const auto* real = value.as<double>()) return out << textFromReal(*real);
    if (const auto* color = value.as<Color>()) {
        const char* digits = "0123456789ABCDEF";
        out << "&c";
        for (int shift = 20; shift >= 0; shift -= 4) out << digits[color->word >> shift & 15];
        return out;
    }
    if (const auto* variable = value.as<Value*>()) return out << "byref " << **variable;
    if (const auto* string = value.as<OwnedString>())
        return out << "string " << static_cast<const void*>(string->get());
    return out << "object " << static_cast<const void*>(value.lentObject());
}

}  // namespace qkzhost
