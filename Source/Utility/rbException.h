// Errors on their way to the user's program: host exceptions, and the one thunk between the host and us.
#pragma once

#include <exception>
#include <utility>

#include "HostTypes.h"

/// Raises a host exception of the named class, or a "RuntimeException" where the host does not know it.
/// `message` may be null. Nothing is raised when neither can be created.
void RaiseException(const char* className, REALstringStruct* message, std::int64_t errorNumber);
/// The same with a UTF-8 message; `encoding` is accepted and deliberately not used.
void RaiseException(const char* className, const char* message, std::uint32_t encoding,
                    std::int64_t errorNumber);
/// The form that the plug-in uses throughout: error number 0.
void RaiseException(const char* className, const char* message, std::uint32_t encoding = 1536);

/// Raises the host exception that stands for a C++ exception.
void RaiseException(const std::exception& exception);
/// Raises the host exception for the C++ exception being handled, of whatever type. To be called from a
/// catch block. An exception that arises while one is being raised is dropped.
void RaiseCurrentException() noexcept;

/// A new host string of a zero-terminated text in the given encoding; null when the host cannot build it.
REALstringStruct* CString2RB(const char* text, std::uint32_t encoding);

/// Calls `function`; whatever it throws becomes a host exception, and the result is then the neutral one.
template <class Function>
auto CatchIntoHost(Function&& function) noexcept -> decltype(function()) {
    try {
        return function();
    } catch (...) {
        RaiseCurrentException();
    }
    return decltype(function())();
}

template <auto Function>
struct HostCallThunk;

template <class Result, class... Arguments, Result (*Function)(Arguments...)>
struct HostCallThunk<Function> {
    static Result call(Arguments... arguments) noexcept {
        return CatchIntoHost([&] { return Function(arguments...); });
    }
};

/// The address that the host calls for a function of ours: same signature, nothing thrown passes.
template <auto Function>
void* HostCall() {
    return reinterpret_cast<void*>(&HostCallThunk<Function>::call);
}
