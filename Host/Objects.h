// The host's objects: what stands behind a handle, and the table that counts the references.
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "HostTypes.h"
#include "Owned.h"
#include "Registration.h"
#include "Surface.h"
#include "Value.h"

namespace qkzhost {

class ObjectTable;

/// One object. Its handle is the address of a block of its own, in which an instance of a plug-in class
/// has its data.
struct Object {
    explicit Object(std::string_view name, std::size_t blockSize = 16)
        : className(name), block(std::make_unique<std::byte[]>(blockSize)) {}
    virtual ~Object() = default;
    REALobjectStruct* handle() const { return reinterpret_cast<REALobjectStruct*>(block.get()); }

    /// A property of the name, or nothing.
    virtual std::optional<Value> get(std::string_view) { return {}; }
    /// False when there is no such property of that type to be written.
    virtual bool set(std::string_view, const Value&) { return false; }
    /// Called once, when the last reference is gone, while the handle still stands for the object.
    virtual void dispose(ObjectTable&) {}

    std::string className;
    std::unique_ptr<std::byte[]> block;
    long references = 1;
};

struct String : Object {
    String(std::string content, std::uint32_t enc)
        : Object("String"), bytes(std::move(content)), encoding(enc) {}
    std::string bytes;
    std::uint32_t encoding;
};

struct MemoryBlock : Object {
    MemoryBlock() : Object("MemoryBlock") {}
    std::vector<std::uint8_t> bytes;
};

struct Picture : Object {
    Picture() : Object("Picture") {}
    std::optional<Value> get(std::string_view) override;
    bool set(std::string_view, const Value&) override;
    void dispose(ObjectTable&) override;

    std::unique_ptr<Surface> surface;  // none until it is constructed
    std::int64_t kind = pictureMutableBitmap;
    OwnedPicture mask;
    OwnedPicture representation;                        // the best one, of a picture that has several
    std::array<std::int64_t, 2> resolution = {72, 72};  // horizontal, vertical
    long descriptionLocks = 0;
};

struct Graphics : Object {
    explicit Graphics(OwnedPicture of) : Object("Graphics"), picture(std::move(of)) {}
    OwnedPicture picture;
};

struct Exception : Object {
    explicit Exception(std::string_view name) : Object(name) {}
    std::optional<Value> get(std::string_view) override;
    bool set(std::string_view, const Value&) override;
    OwnedString message;
    std::int64_t number = 0;
};

/// An instance of a class that the plug-in registered; its data starts zeroed.
struct Instance : Object {
    explicit Instance(const Registration& definition);
    std::optional<Value> get(std::string_view) override;
    bool set(std::string_view, const Value&) override;
    void dispose(ObjectTable&) override;
    std::byte* data() const { return block.get() + type.instanceOffset; }
    const Registration& type;
};

/// What is alive. Two that are equal, before and after a call, show that the call left nothing behind.
struct Census {
    long objects = 0, references = 0;  // strings not counted
    long strings = 0, stringReferences = 0;
    long descriptionLocks = 0, stringData = 0;  // outstanding
    long errors = 0;                            // misuse of handles and locks so far
    std::map<std::string, long> classes;
    bool operator==(const Census&) const = default;
};
std::ostream& operator<<(std::ostream&, const Census&);

/// Owns all objects. A handle that is dead, foreign or of another class is found out, told on standard
/// error and counted; the request then has no effect.
class ObjectTable {
 public:
    /// Adds an object that has one reference, the caller's.
    template <class T>
    T& add(std::unique_ptr<T> object) {
        T& result = *object;
        objects_.emplace(result.handle(), std::move(object));
        return result;
    }
    OwnedString newString(std::string_view bytes, std::uint32_t encoding = REALencodingUTF8);
    OwnedBlock newMemoryBlock(std::vector<std::uint8_t> bytes);
    /// The object behind a handle if it is a T; null for nil and, with an error, for anything else.
    template <class T>
    T* find(const void* handle, const char* purpose) {
        if (!handle) return nullptr;
        T* object = dynamic_cast<T*>(findAny(handle));
        if (!object) complain(handle, purpose);
        return object;
    }
    /// The same for any object; a string is none.
    Object* find(const void* handle, const char* purpose) {
        Object* object = find<Object>(handle, purpose);
        if (!dynamic_cast<String*>(object)) return object;
        complain(handle, purpose);
        return nullptr;
    }
    /// The class of a live object, or empty.
    std::string_view classOf(const void* handle) const;
    // Throw std::invalid_argument for what is no picture; a surface is there once it is constructed.
    Picture& picture(REALpictureStruct*);
    Surface& surface(REALpictureStruct*);
    // The content of a string or memory block; of anything else there is none.
    std::string text(REALstringStruct*);
    std::uint32_t encoding(REALstringStruct*);
    std::span<std::uint8_t> bytes(REALmemoryBlockStruct*);

    void lock(REALobjectStruct*);
    void unlock(REALobjectStruct*);
    void lock(REALstringStruct*);
    void unlock(REALstringStruct*);

    /// Tells an error of the plug-in on standard error and counts it.
    void note(const std::string& error);
    const std::vector<std::string>& errors() const { return errors_; }

    Census census() const;
    long stringData = 0;

 private:
    Object* findAny(const void* handle) const;
    void complain(const void* handle, const char* purpose);
    void release(Object&);
    std::unordered_map<const void*, std::unique_ptr<Object>> objects_;
    // Blocks of the latest dead objects: their addresses are not used again for a while.
    std::deque<std::unique_ptr<std::byte[]>> graveyard_;
    std::vector<std::string> errors_;
};

}  // namespace qkzhost
