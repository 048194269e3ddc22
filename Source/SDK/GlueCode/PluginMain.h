// The seam to the host: the exported entries, and one wrapper for every host service the plug-in uses.
//
// Nothing links against the host. Each wrapper asks the host's resolver for its service by name the first
// time, keeps the address and calls it; a service the host does not offer gives the neutral result (null, 0,
// false), and is asked for again on the next call.
#pragma once

#include <algorithm>
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
/// The last step of `PluginEntry`; deliberately empty.
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

/// A service's name as a template argument.
template <std::size_t N>
struct ServiceName {
    char text[N];
    consteval ServiceName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

/// One host service: look-up, cache and neutral result.
template <ServiceName Name, class Signature>
class HostService;

template <ServiceName Name, class Result, class... Arguments>
class HostService<Name, Result(Arguments...)> {
 public:
    using Function = Result (*)(Arguments...);

    /// The service's address, or null when the host does not offer it. Null is not remembered.
    static Function address() {
        static std::atomic<Function> slot = nullptr;
        Function service = slot.load(std::memory_order_relaxed);
        if (!service) {
            service = reinterpret_cast<Function>(HostFunction(Name.text));
            slot.store(service, std::memory_order_relaxed);
        }
        return service;
    }

    Result operator()(Arguments... arguments) const {
        if (const Function service = address()) return service(arguments...);
        if constexpr (!std::is_void_v<Result>) return Result{};
    }
};

/// A service that answers with a byte of which only "zero or not" counts.
template <ServiceName Name, class... Arguments>
struct HostPredicate {
    bool operator()(Arguments... arguments) const {
        return HostService<Name, RBBoolean(Arguments...)>{}(arguments...) != 0;
    }
};

// The wrapper's name and the name asked of the host often differ; both are the host's.

// Registration
inline constexpr HostService<"PluginRegisterClass", void(REALclassDefinition*)> REALRegisterClass;
inline constexpr HostService<"PluginRegisterModule", void(REALmoduleDefinition*)> REALRegisterModule;
inline constexpr HostService<"PluginRegisterClassExtension", void(REALclassDefinition*)>
    REALRegisterClassExtension;
inline constexpr HostService<"PluginRegisterMethod", void(REALmethodDefinition*)> REALRegisterMethod;

// Objects and classes
inline constexpr HostService<"REALLockObject", void(REALobjectStruct*)> REALLockObject;
inline constexpr HostService<"REALUnlockObject", void(REALobjectStruct*)> REALUnlockObject;
inline constexpr HostService<"pluginObjectType", REALclassStruct*(const char*)> REALGetClassRef;
inline constexpr HostService<"PluginNewInstance", REALobjectStruct*(const char*)> REALnewInstance;
inline constexpr HostService<"REALLoadObjectMethod", void*(REALobjectStruct*, const char*)>
    REALLoadObjectMethod;
inline constexpr HostService<"REALLoadGlobalMethod", void*(const char*)> REALLoadFrameworkMethod;
inline constexpr HostService<"RuntimeRaiseException", void(REALobjectStruct*)> REALRaiseException;
inline constexpr HostPredicate<"REALInDebugMode"> REALInDebugMode;
inline constexpr HostService<"RuntimeMsgBox", void(REALstringStruct*)> REALMessageBox;

/// Runs a function under the host's exception handler and returns the exception it raised, which the caller
/// releases, or null. Without that service the function is simply called.
REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*function)(void*), void* data);

// Properties; false, and the variable left alone, when the object has none of that name
inline constexpr HostPredicate<"REALGetPropValueInteger", REALobjectStruct*, const char*, RBInteger*>
    REALGetPropValueInteger;
bool REALGetPropValueBoolean(REALobjectStruct* object, const char* name, bool* value);
inline constexpr HostPredicate<"REALSetPropValueInteger", REALobjectStruct*, const char*, RBInteger>
    REALSetPropValueInteger;
inline constexpr HostPredicate<"REALSetPropValueDouble", REALobjectStruct*, const char*, double>
    REALSetPropValueDouble;
inline constexpr HostPredicate<"REALSetPropValueString", REALobjectStruct*, const char*, REALstringStruct*>
    REALSetPropValueString;
inline constexpr HostPredicate<"REALSetPropValueColor", REALobjectStruct*, const char*, RBColor>
    REALSetPropValueColor;

// Strings
inline constexpr HostPredicate<"PluginGetStringData", REALstringStruct*, std::uint32_t, REALstringData*>
    REALGetStringData;
inline constexpr HostService<"PluginDisposeStringData", void(REALstringData*)> REALDisposeStringData;
inline constexpr HostService<"REALBuildString", REALstringStruct*(const void*, std::int32_t)> REALBuildString;
inline constexpr HostService<"REALBuildStringWithEncoding",
                             REALstringStruct*(const void*, std::int32_t, std::uint32_t)>
    REALBuildStringWithEncoding;
inline constexpr HostService<"REALLockString", void(REALstringStruct*)> REALLockString;
inline constexpr HostService<"REALUnlockString", void(REALstringStruct*)> REALUnlockString;
inline constexpr HostService<"REALGetStringEncoding", std::uint32_t(REALstringStruct*)> REALGetStringEncoding;
inline constexpr HostService<"REALConvertString", REALstringStruct*(REALstringStruct*, std::uint32_t)>
    REALConvertString;
inline constexpr HostService<"REALSetStringEncoding", void(REALstringStruct*, std::uint32_t)>
    REALSetStringEncoding;

/// A string's bytes, and their number in `length`; null and 0 for a null string.
const char* REALGetStringContents(REALstringStruct* string, std::int64_t* length);

// Pictures
inline constexpr HostPredicate<"REALLockPictureDescription", REALpictureStruct*, REALpictureDescription*,
                               std::uint32_t>
    REALLockPictureDescription;
inline constexpr HostService<"unlockPictureDescription", void(REALpictureStruct*)>
    REALUnlockPictureDescription;
inline constexpr HostService<"REALPictureClearCache", void(REALpictureStruct*)> REALPictureClearCache;
inline constexpr HostService<"REALGetPictureMask", REALpictureStruct*(REALpictureStruct*, RBBoolean)>
    REALGetPictureMask;
inline constexpr HostService<"pluginPictureGraphicsGetter", REALgraphicsStruct*(REALpictureStruct*)>
    REALGetPictureGraphics;
inline constexpr HostService<"newPicture", REALpictureStruct*(RBInteger, RBInteger, RBInteger)>
    REALNewPicture;
inline constexpr HostService<"REALBuildPictureFromBuffer",
                             REALpictureStruct*(std::uint32_t, std::uint32_t, std::int32_t, void*,
                                                std::uint32_t)>
    REALBuildPictureFromBuffer;
inline constexpr HostService<"PluginPictureGetType", RBInteger(REALpictureStruct*)> REALGetPictureType;

// Memory blocks
inline constexpr HostService<"memoryBlockGetPtr", void*(REALmemoryBlockStruct*)> REALMemoryBlockGetPtr;
inline constexpr HostService<"memoryBlockGetSize", RBInteger(REALmemoryBlockStruct*)> REALMemoryBlockGetSize;
