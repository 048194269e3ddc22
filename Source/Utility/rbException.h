// Errors on their way to the user's program: host exceptions, and the one thunk between the host and us.
#pragma once

#include <exception>

#include "HostTypes.h"
#include "Uncaught.h"

/// Raises a host exception of the named class, or a "RuntimeException" where the host does not know it.
/// `message` may be null. Nothing is raised when neither can be created.
void RaiseException(const char* className, REALstringStruct* message, std::int64_t errorNumber);
/// The same with a UTF-8 message; `encoding` does not count
/// (compatibility.md#the-encoding-of-a-message-does-not-count).
void RaiseException(const char* className, const char* message, std::uint32_t encoding,
                    std::int64_t errorNumber);
/// The form that the plug-in uses throughout: error number 0.
void RaiseException(const char* className, const char* message, std::uint32_t encoding = 1536);

/// What was caught, in the host's terms: unnamed unless it is described.
class CaughtException {
 public:
    void describe(const std::exception& exception) noexcept;

    bool unnamed() const { return unnamed_; }
    const char* className() const { return className_; }
    const char* message() const {
        return unnamed_ ? "Sorry, but there was an unnamed C++ Exception." : message_;
    }

 private:
    bool unnamed_ = true;
    const char* className_ = "RuntimeException";
    char message_[1000];  // no memory is asked for: it may just have run out
};

/// Raises the host exception that stands for what was caught. What is thrown meanwhile is dropped.
void RaiseCaught(const CaughtException& caught) noexcept;
/// Tells it in the debug log, while that is on.
void LogCaught(const CaughtException& caught) noexcept;
/// Raises the host exception that stands for a C++ exception.
void RaiseException(const std::exception& exception);

/// Calls `function` and returns what it returns. When it throws, `tell` is called with what was caught, and
/// the result is the neutral one. `tell` runs outside the catch block: should it throw, too, inside one,
/// while the first exception came from another copy of the C++ runtime, the process would end.
template <void (*tell)(const CaughtException&) noexcept, class Function>
auto guarded(Function&& function) noexcept -> decltype(function()) {
    CaughtException caught;
    try {
        return function();
    } catch (const std::exception& exception) {
        caught.describe(exception);
    } catch (...) {  // unnamed
    }
    tell(caught);
    return decltype(function())();
}

/// For calls that the host makes.
template <class Function>
auto catchIntoHost(Function&& function) noexcept {
    return guarded<RaiseCaught>(function);
}
/// For releases, which go on whatever happens.
template <class Function>
void quietly(Function&& function) noexcept {
    guarded<LogCaught>(function);
}

/// A new host string of a zero-terminated text in the given encoding; null when the host cannot build it.
REALstringStruct* CString2RB(const char* text, std::uint32_t encoding);

template <auto Function>
struct HostCallThunk;

template <class Result, class... Arguments, Result (*Function)(Arguments...)>
struct HostCallThunk<Function> {
    static Result call(Arguments... arguments) noexcept {
        const KeepUncaught keep;
        return catchIntoHost([&] { return Function(arguments...); });
    }
};

/// The address that the host calls for a function of ours: same signature, nothing thrown passes.
template <auto Function>
void* HostCall() {
    return reinterpret_cast<void*>(&HostCallThunk<Function>::call);
}
