// Who holds a reference.
#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

#include "HostTypes.h"

namespace qkzhost {

// References in the host that is alive. Of nil, or without a host, nothing happens.
void addReference(REALobjectStruct*);
void addReference(REALstringStruct*);
void dropReference(REALobjectStruct*);
void dropReference(REALstringStruct*);

/// A handle and one reference to what is behind it, counted for each copy. The rule everywhere in the host: a
/// bare handle is lent for as long as somebody else holds it; whoever makes, returns or keeps something holds
/// it by an Owned (or by a Value, which holds one). Only the plug-in's own functions give and take references
/// with bare handles: `Owned(handle)` takes such a reference over, `release` gives one away.
template <class Handle>
class Owned {
 public:
    Owned(std::nullptr_t = nullptr) {}
    explicit Owned(Handle* given) : handle_(given) {}
    /// A reference of its own to what is lent.
    static Owned shared(Handle* lent) {
        addReference(lent);
        return Owned(lent);
    }
    Owned(const Owned& other) : handle_(other.handle_) { addReference(handle_); }
    Owned(Owned&& other) noexcept : handle_(other.release()) {}
    template <class Derived>
    requires std::convertible_to<Derived*, Handle*> Owned(Owned<Derived> other) : handle_(other.release()) {}
    Owned& operator=(Owned other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Owned() { dropReference(handle_); }

    Handle* get() const { return handle_; }
    operator Handle*() const { return handle_; }  // lends it
    /// The handle with its reference, which is the caller's from here on.
    Handle* release() { return std::exchange(handle_, nullptr); }

 private:
    Handle* handle_ = nullptr;
};

using OwnedObject = Owned<REALobjectStruct>;
using OwnedPicture = Owned<REALpictureStruct>;
using OwnedBlock = Owned<REALmemoryBlockStruct>;
using OwnedString = Owned<REALstringStruct>;

}  // namespace qkzhost
