// The host's objects: what stands behind a handle, and the table that counts the references.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "HostTypes.h"
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

    /// A property of the name, or nothing. A handle in the result carries a reference for the caller.
    virtual std::optional<Value> get(ObjectTable&, std::string_view) { return {}; }
    /// False when there is no such property of that type to be written. Takes a reference of its own.
    virtual bool set(ObjectTable&, std::string_view, const Value&) { return false; }
    /// Releases what the object holds; called once, when its last reference is gone.
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
    std::optional<Value> get(ObjectTable&, std::string_view) override;
    bool set(ObjectTable&, std::string_view, const Value&) override;
    void dispose(ObjectTable&) override;

    std::unique_ptr<Surface> surface;  // none until it is constructed
    std::int64_t kind = pictureMutableBitmap;
    REALobjectStruct* mask = nullptr;
    REALobjectStruct* representation = nullptr;  // the best one, of a picture that has several
    std::int64_t horizontalResolution = 72, verticalResolution = 72;
    long descriptionLocks = 0;
};

struct Graphics : Object {
    explicit Graphics(REALobjectStruct* of) : Object("Graphics"), picture(of) {}
    void dispose(ObjectTable&) override;
    REALobjectStruct* picture;
};

struct Exception : Object {
    explicit Exception(std::string_view name) : Object(name) {}
    std::optional<Value> get(ObjectTable&, std::string_view) override;
    bool set(ObjectTable&, std::string_view, const Value&) override;
    void dispose(ObjectTable&) override;
    REALstringStruct* message = nullptr;
    std::int64_t number = 0;
};

/// An instance of a class that the plug-in registered; its data starts zeroed.
struct Instance : Object {
    explicit Instance(const Registration& type);
    std::optional<Value> get(ObjectTable&, std::string_view) override;
    bool set(ObjectTable&, std::string_view, const Value&) override;
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

    void lock(REALobjectStruct*);
    void unlock(REALobjectStruct*);
    void lock(REALstringStruct*);
    void unlock(REALstringStruct*);
    /// Puts `to` in the place of what `slot` holds, with a reference of its own.
    template <class Handle>
    void replace(Handle*& slot, Handle* to) {
        lock(to);
        unlock(std::exchange(slot, to));
    }

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
