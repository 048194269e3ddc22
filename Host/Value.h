// The values that travel between a caller and a plug-in function.
#pragma once

#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Owned.h"

namespace qkzhost {

/// A colour: red in bits 16-23, green 8-15, blue 0-7, transparency in the top byte.
struct Color {
    std::uint32_t word = 0;
    bool operator==(const Color&) const = default;
};

/// What a declaration can name. Every class, delegate or unknown name is an object.
enum class Type { none, integer, int32, uint32, real, boolean, color, string, object };

/// The type that a declaration's word means; case does not matter.
Type typeNamed(std::string_view name);

/// Upper and lower case are equal.
bool sameText(std::string_view, std::string_view);
/// Lower case without blanks: two declarations that differ only in these are the same.
std::string canonical(std::string_view);

/// One argument or result. It holds a reference to the object or string that it is.
class Value {
 public:
    Value() = default;  // nil
    // Defined out of line: inlined, the compiler takes the text of a value that has none for uninitialised.
    Value(const Value&);
    Value(Value&&) noexcept;
    Value& operator=(const Value&);
    Value& operator=(Value&&) noexcept;
    ~Value();
    Value(std::nullptr_t) {}
    template <std::same_as<bool> T>
    Value(T value) : data_(value) {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Value(T value) : data_(static_cast<std::int64_t>(value)) {}
    Value(double value) : data_(value) {}
    Value(Color value) : data_(value) {}
    template <std::derived_from<REALobjectStruct> Handle>
    Value(Owned<Handle> value) : data_(OwnedObject(std::move(value))) {}
    Value(OwnedString value) : data_(std::move(value)) {}
    Value(REALobjectStruct* lent) : Value(OwnedObject::shared(lent)) {}
    Value(REALstringStruct* lent) : Value(OwnedString::shared(lent)) {}
    /// Text: a UTF-8 host string is made for the call and released after it.
    Value(std::string text) : data_(std::move(text)) {}
    Value(const char* text) : data_(std::string(text)) {}
    /// A variable passed by reference: read before the call, written after it.
    Value(Value* variable) : data_(variable) {}

    bool operator==(const Value&) const = default;

    template <class T>
    const T* as() const {
        return std::get_if<T>(&data_);
    }

    /// No value, or a null handle.
    bool isNil() const;
    /// Gives the reference to an object or string away.
    void release();
    // The content; each throws std::bad_variant_access for a value of another type. Nil is a null handle.
    std::int64_t integer() const { return std::get<std::int64_t>(data_); }
    double real() const { return std::get<double>(data_); }
    bool boolean() const { return std::get<bool>(data_); }
    Color color() const { return std::get<Color>(data_); }
    OwnedObject object() const { return isNil() ? nullptr : std::get<OwnedObject>(data_); }
    OwnedString string() const { return isNil() ? nullptr : std::get<OwnedString>(data_); }
    OwnedPicture picture() const { return OwnedPicture(static_cast<REALpictureStruct*>(object().release())); }
    OwnedBlock block() const { return OwnedBlock(static_cast<REALmemoryBlockStruct*>(object().release())); }
    REALobjectStruct* lentObject() const { return isNil() ? nullptr : std::get<OwnedObject>(data_).get(); }
    REALstringStruct* lentString() const { return isNil() ? nullptr : std::get<OwnedString>(data_).get(); }

 private:
    std::variant<std::monostate, std::int64_t, double, bool, Color, OwnedObject, OwnedString, std::string,
                 Value*>
        data_;
};

/// Reads a value of the type in memory as the host keeps it; the reference of a handle there goes along.
Value takeValue(const void* address, Type);
/// Writes a value; a handle is lent.
void storeValue(void* address, Type, const Value&);

/// Prints numbers in full, true and false, colours as &cRRGGBB and handles as addresses.
std::ostream& operator<<(std::ostream&, const Value&);

}  // namespace qkzhost
