// Tries to break the loaded plug-in: what all modes share. Functions are called with values that are made
// from their declarations, so that new ones join by themselves.
#pragma once

#include <map>
#include <set>

#include "NativeCall.h"
#include "Support.h"

namespace qkzsoak {

using namespace qkztest;

struct Scene {
    StorageCase storage;
    std::string function;  // its text; empty for the plug-in as a whole
    /// Of all values. By the remainder by 4 pictures are plain, have a mask, have a best representation, or
    /// have a mask and can be read as a copy only.
    std::uint64_t seed;
    std::string name = {};
};

// The modes. Each scene has a process of its own.
void failAsked(const Scene&, bool imports);
void lieAboutStorage(const Scene&);
void giveExtremes(const Scene&);
void race(const Scene&);
void endure(const Scene&);

void trying(const std::string& what);   // a case begins
void finding(const std::string& what);  // it shows a fault

class Arguments;

/// A host with a new copy of the plug-in, and the function that is called in it.
class Room : public Host {
 public:
    explicit Room(const Scene&, const std::function<void(Host&)>& prepare = {});
    /// Calls the function with values that are the same each time but for the change. Whatever this breaks or
    /// leaves is a finding; a release that was made to fail may keep what it was for.
    std::string call(const std::function<void(Arguments&)>& change = {}, std::string_view failing = {});
    /// The same call once more must have this outcome, or the other.
    void expect(const std::string& outcome, const std::string& other = "");
    /// Many calls, each with another change, and after each an unchanged one.
    void callChanged(const std::function<void(Arguments&, Random&, std::size_t round)>& change);

    Scene scene;
    const Method* function = nullptr;  // null when it was not registered
    std::set<PictureHandle> unlockable;
    bool slowImports = false;  // so that threads meet in them
};

/// The arguments of one call, the object first. Made and looked at by one thread; `call` may be on another.
class Arguments {
 public:
    explicit Arguments(Room&);
    Arguments(const Arguments&) = delete;
    ~Arguments();
    /// Puts a value in an argument's place.
    void set(std::size_t index, const Value&);
    void call() { result_ = callNative(method_.function, values_, method_.declaration.result); }
    /// The result, and all that the call can have changed.
    std::string outcome();

    std::vector<Parameter> parameters;
    std::map<PictureHandle, PictureHandle> pictures;  // each with the mask that it has to keep
    REALobjectStruct* instance = nullptr;             // of a class of the plug-in's

 private:
    Value made(const Parameter&);
    OwnedPicture picture(const Image& like);

    Room& room_;
    const Method& method_;
    Random random_;
    Image like_;
    std::vector<Value> held_;  // until the end
    std::vector<Argument> values_;
    Value result_;
};

}  // namespace qkzsoak
