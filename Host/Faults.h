// A host that misbehaves.
#pragma once

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Exceptions.h"
#include "HostTypes.h"

namespace qkzhost {

/// What a call that is made to fail does. Where it returns, it returns the neutral result.
enum class Failure {
    neutral,       // nothing else
    raises,        // raises a host exception
    throwsError,   // throws an InjectedError into the plug-in
    throwsNumber,  // throws an int
    lasting        // nothing else, and all later calls fail as well
};
struct InjectedError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A name is a service as the plug-in asks for it ("newPicture"), a method of an object or a global method by
/// its declaration text, or a class. Case and blanks do not matter.
class Faults {
 public:
    explicit Faults(Exceptions& exceptions) : exceptions_(exceptions) {}

    /// From now on the look-up (for a class also the making of instances) answers null.
    void omit(std::string_view name) { of(name).omitted = true; }
    void offer(std::string_view name) { of(name).omitted = false; }
    /// The nth call from now (1 is the next; 0 takes it back) fails; of a class the nth instance is not made.
    void failCall(std::string_view name, int nth, Failure how = Failure::neutral);
    /// How often looked up, and how often called.
    int asked(std::string_view name) const;
    int called(std::string_view name) const;
    /// Every name that was looked up, called or given to these functions.
    std::vector<std::string> names() const;
    /// The first argument, if it is an address, of the latest call that was made to fail.
    const void* failedOn = nullptr;

    /// Replaces the answer to a lock of a picture's description: is given the picture, the description that
    /// would be answered, to be changed, and whether the lock would succeed; returns whether it does.
    std::function<bool(REALpictureStruct*, REALpictureDescription&, bool)> answerLock;

    /// Set before a plug-in is loaded: is asked before each of its own calls of the C library for memory, a
    /// library, a symbol or output whether it is to succeed. What succeeds in being written goes nowhere.
    std::function<bool()> allowImport;
    /// Counts a call of something that is not the host's, and tells whether it is to succeed.
    bool succeeds(std::string_view name);

    // For the services, which hold the mutex while they answer, on any thread.

    struct State {
        bool omitted = false;
        int asked = 0, called = 0, failIn = 0;
        Failure failure = Failure::neutral;
    };
    State& of(std::string_view name);
    /// Counts a call. When it is to fail, raises or throws as asked for, or returns false.
    bool enter(State&, const void* firstArgument);
    std::recursive_mutex mutex;

 private:
    State known(std::string_view name) const;

    Exceptions& exceptions_;
    std::unordered_map<std::string, State> states_;
};

}  // namespace qkzhost
