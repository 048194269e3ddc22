#include "PluginMain.h"

#include <ctime>

#include "Uncaught.h"

namespace {

HostResolver hostResolver = nullptr;
double hostVersion = 0.0;
std::int32_t sdkVersion = 15;
const char* pluginName = nullptr;
[[gnu::used]] const char* versionBanner = nullptr;  // for tools that search the file

std::int32_t sdkVersionFor(double version) {
    if (version >= 2013.04) return 13;
    if (version >= 2013.03) return 12;
    if (version >= 2013.0) return 11;
    if (version >= 2012.0) return 10;
    return 9;
}

/// Calls a service whose failure changes nothing; what it throws is dropped.
template <class Function>
void attempt(Function function) {
    try {
        function();
    } catch (...) {
    }
}

}  // namespace

void REALPluginMain(HostResolver resolver) {
    const KeepUncaught keep;
    hostResolver = resolver;
    attempt([] {
        HostService version(service::REALGetRBVersion);
        if (version.address()) hostVersion = version();
    });
    sdkVersion = sdkVersionFor(hostVersion);
    if (!resolver) return;
    // Not tested for null: compatibility.md#the-version-is-told-unasked
    attempt([] { HostService(service::RegisterPluginVersion).address()(sdkVersion); });
    PluginEntry();
}

void MyPluginStart(const char* name) {
    pluginName = name;
    versionBanner = "$$ Plugin version: " QKZ_VERSION " (2024) $$";
}

void MyPluginEnd() {}

const char* MyPluginName() { return pluginName; }
double HostVersion() { return hostVersion; }
std::int32_t SDKVersion() { return sdkVersion; }

void* HostFunction(const char* name) { return hostResolver ? hostResolver(name) : nullptr; }

double LinuxGetTime() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::int64_t TickCount() { return static_cast<std::int64_t>(LinuxGetTime() * 60.0); }

// The wrappers that are more than a call.

REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*function)(void*), void* data) {
    static constinit HostService handler(service::PluginCallFunctionWithExceptionHandler);
    if (handler.address()) return handler(function, data);
    function(data);
    return nullptr;
}

bool REALGetPropValueBoolean(REALobjectStruct* object, const char* name, bool* value) {
    static constinit HostPredicate get(service::REALGetPropValueBool);
    RBBoolean byte = 0;
    const bool exists = get(object, name, &byte);
    if (exists) *value = byte != 0;
    return exists;
}

const char* REALGetStringContents(REALstringStruct* string, std::int64_t* length) {
    *length = 0;
    if (!string) return nullptr;
    static constinit HostService contents(service::StringGetCString);
    static constinit std::atomic<RBInteger (*)(REALstringStruct*)> slot = nullptr;
    auto* lengthInBytes = slot.load(std::memory_order_relaxed);
    if (!lengthInBytes) {
        lengthInBytes = globalMethod(hostmethod::lenB);
        slot.store(lengthInBytes, std::memory_order_relaxed);
    }
    if (lengthInBytes) *length = lengthInBytes(string);
    return contents(string);
}
