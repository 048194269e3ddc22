// The seam to the host: the exported entries, and one wrapper for every host service the plug-in uses.
//
// Nothing links against the host. Each wrapper asks the host's resolver for its service by name the first
// time, keeps the address and calls it; a service the host does not offer gives the neutral result (null, 0,
// false), and is asked for again on the next call.
#pragma once

#include <atomic>
#include <type_traits>

#include "HostTypes.h"

/// Marks one of the four symbols that the shared object exports.
#define QKZ_EXPORT extern "C" [[gnu::visibility("default"), gnu::used]]

/// The host's resolver: the address of the named service, or null.
using HostResolver = void* (*)(const char* name);

/// Called once by the host after loading: keeps the resolver, learns the host's version, answers with the
/// plug-in interface version, and registers everything. A null resolver registers nothing.
QKZ_EXPORT void REALPluginMain(HostResolver resolver);

/// Registers everything this plug-in offers, in a fixed order.
QKZ_EXPORT void PluginEntry();

/// The entry point of the file started as a program: prints the version banner and exits with status 0.
QKZ_EXPORT [[noreturn]] void libEntry();

/// Records the plug-in's name, which generated modules carry. The text is kept, not copied.
void MyPluginStart(const char* name);
/// The last step of `PluginEntry`: nothing is left to do.
void MyPluginEnd();
/// The name given to `MyPluginStart`; null before.
const char* MyPluginName();

/// The host's version, for example 2020.02; 0.0 until the host has answered.
double HostVersion();
/// The plug-in interface version spoken with this host, 9 to 13; 15 before the host has called.
std::int32_t SDKVersion();

/// Seconds of a monotonic clock (of the real-time clock where that fails).
double LinuxGetTime();
/// Sixtieths of a second of the same clock.
std::int64_t TickCount();

/// The address that the host's resolver gives for a name; null without a resolver.
void* HostFunction(const char* name);

/// One host service: look-up, the kept address, and the neutral result.
template <class Signature>
class HostService;

template <class Result, class... Arguments>
class HostService<Result(Arguments...)> {
 public:
    using Function = Result (*)(Arguments...);

    constexpr explicit HostService(const HostFunctionType<Result(Arguments...)>& type) : name_(type.name) {}
    HostService(const HostService&) = delete;
    HostService& operator=(const HostService&) = delete;

    /// The service's address, or null when the host does not offer it. Null is not remembered.
    Function address() {
        Function service = slot_.load(std::memory_order_relaxed);
        if (!service) {
            service = reinterpret_cast<Function>(HostFunction(name_));
            slot_.store(service, std::memory_order_relaxed);
        }
        return service;
    }

    Result operator()(Arguments... arguments) {
        if (const Function service = address()) return service(arguments...);
        if constexpr (!std::is_void_v<Result>) return Result{};
    }

 private:
    const char* name_;
    std::atomic<Function> slot_ = nullptr;
};
template <class Signature>
HostService(const HostFunctionType<Signature>&) -> HostService<Signature>;

/// A service that answers with a byte of which only "zero or not" counts.
template <class Signature>
class HostPredicate;

template <class... Arguments>
class HostPredicate<RBBoolean(Arguments...)> {
 public:
    constexpr explicit HostPredicate(const HostFunctionType<RBBoolean(Arguments...)>& type)
        : service_(type) {}
    bool operator()(Arguments... arguments) { return service_(arguments...) != 0; }

 private:
    HostService<RBBoolean(Arguments...)> service_;
};
template <class Signature>
HostPredicate(const HostFunctionType<Signature>&) -> HostPredicate<Signature>;

// The wrapper's name and the name asked of the host often differ; both are the host's.

// clang-format off
// Registration
inline constinit HostService REALRegisterClass(service::PluginRegisterClass);
inline constinit HostService REALRegisterModule(service::PluginRegisterModule);
inline constinit HostService REALRegisterClassExtension(service::PluginRegisterClassExtension);
inline constinit HostService REALRegisterMethod(service::PluginRegisterMethod);

// Objects and classes
inline constinit HostService REALLockObject(service::REALLockObject);
inline constinit HostService REALUnlockObject(service::REALUnlockObject);
inline constinit HostService REALGetClassRef(service::pluginObjectType);
inline constinit HostService REALnewInstance(service::PluginNewInstance);
inline constinit HostService REALLoadObjectMethod(service::REALLoadObjectMethod);
inline constinit HostService REALLoadFrameworkMethod(service::REALLoadGlobalMethod);
inline constinit HostService REALRaiseException(service::RuntimeRaiseException);

// Properties; false, and the variable left alone, when the object has none of that name
inline constinit HostPredicate REALGetPropValueInteger(service::REALGetPropValueInteger);
bool REALGetPropValueBoolean(REALobjectStruct* object, const char* name, bool* value);
inline constinit HostPredicate REALSetPropValueInteger(service::REALSetPropValueInteger);
inline constinit HostPredicate REALSetPropValueString(service::REALSetPropValueString);

// Strings
inline constinit HostService REALDisposeStringData(service::PluginDisposeStringData);
inline constinit HostService REALBuildStringWithEncoding(service::REALBuildStringWithEncoding);
inline constinit HostService REALLockString(service::REALLockString);
inline constinit HostService REALUnlockString(service::REALUnlockString);

// Pictures
inline constinit HostPredicate REALLockPictureDescription(service::REALLockPictureDescription);
inline constinit HostService REALUnlockPictureDescription(service::unlockPictureDescription);
inline constinit HostService REALPictureClearCache(service::REALPictureClearCache);
inline constinit HostService REALGetPictureMask(service::REALGetPictureMask);
inline constinit HostService REALGetPictureGraphics(service::pluginPictureGraphicsGetter);
inline constinit HostService REALNewPicture(service::newPicture);
inline constinit HostService REALBuildPictureFromBuffer(service::REALBuildPictureFromBuffer);
inline constinit HostService REALGetPictureType(service::PluginPictureGetType);

// Memory blocks
inline constinit HostService REALMemoryBlockGetPtr(service::memoryBlockGetPtr);
inline constinit HostService REALMemoryBlockGetSize(service::memoryBlockGetSize);

// Nothing here calls these yet: they complete the set for the operations to come.
inline constinit HostPredicate REALInDebugMode(service::REALInDebugMode);
inline constinit HostService REALMessageBox(service::RuntimeMsgBox);
inline constinit HostPredicate REALSetPropValueDouble(service::REALSetPropValueDouble);
inline constinit HostPredicate REALSetPropValueColor(service::REALSetPropValueColor);
inline constinit HostPredicate REALGetStringData(service::PluginGetStringData);
inline constinit HostService REALBuildString(service::REALBuildString);
inline constinit HostService REALGetStringEncoding(service::REALGetStringEncoding);
inline constinit HostService REALConvertString(service::REALConvertString);
inline constinit HostService REALSetStringEncoding(service::REALSetStringEncoding);
// clang-format on

// The wrappers that are more than a call.

/// Runs a function under the host's exception handler and returns the exception it raised, which the caller
/// releases, or null. Without that service the function is simply called.
REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*function)(void*), void* data);

/// A string's bytes, and their number in `length`; null and 0 for a null string.
const char* REALGetStringContents(REALstringStruct* string, std::int64_t* length);

/// The address of a global method, or of an object's; null when the host has none of that declaration.
template <class Signature>
Signature* globalMethod(const HostFunctionType<Signature>& method) {
    return reinterpret_cast<Signature*>(REALLoadFrameworkMethod(method.name));
}
template <class Signature>
Signature* objectMethod(REALobjectStruct* object, const HostFunctionType<Signature>& method) {
    return reinterpret_cast<Signature*>(REALLoadObjectMethod(object, method.name));
}
