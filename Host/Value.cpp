#include "Value.h"

#include <charconv>
#include <iterator>
#include <ostream>

namespace qkzhost {

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

std::ostream& operator<<(std::ostream& out, const Value& value) {
    if (value.isNil()) return out << "nil";
    if (const auto* integer = value.as<std::int64_t>()) return out << *integer;
    if (const auto* boolean = value.as<bool>()) return out << (*boolean ? "true" : "false");
    if (const auto* text = value.as<std::string>()) return out << '"' << *text << '"';
    char buffer[32];
    if (const auto* real = value.as<double>()) {
        const auto end = std::to_chars(std::begin(buffer), std::end(buffer), *real).ptr;
        return out.write(buffer, end - buffer);
    }
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
