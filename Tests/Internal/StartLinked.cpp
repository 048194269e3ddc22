// How the linked objects are started and switched. Their process-wide state lives on from test to test; what
// depends on the host is set back.
#include <string_view>

#include "Linked.h"
#include "PluginMain.h"
#include "rbDebug.h"
#include "rbpictureUtil.h"

namespace qkztest {

void (*thrownByBuildString)() = nullptr;
void (*thrownByNewInstance)() = nullptr;

namespace {

HostResolver hostResolver = nullptr;

REALstringStruct* buildString(const void* bytes, std::int32_t length, std::uint32_t encoding) {
    if (thrownByBuildString) thrownByBuildString();
    using Service = REALstringStruct* (*)(const void*, std::int32_t, std::uint32_t);
    return reinterpret_cast<Service>(hostResolver("REALBuildStringWithEncoding"))(bytes, length, encoding);
}

REALobjectStruct* newInstance(const char* name) {
    if (thrownByNewInstance) thrownByNewInstance();
    using Service = REALobjectStruct* (*)(const char*);
    return reinterpret_cast<Service>(hostResolver("PluginNewInstance"))(name);
}

/// The host's services, two of which can throw.
void* resolve(const char* name) {
    if (std::string_view(name) == "REALBuildStringWithEncoding") return reinterpret_cast<void*>(&buildString);
    if (std::string_view(name) == "PluginNewInstance") return reinterpret_cast<void*>(&newInstance);
    return hostResolver(name);
}

}  // namespace

void setApplication(bool checked, bool desktop, bool console) {
    Application.checked = checked;
    Application.desktop = desktop;
    Application.console = console;
}

void startPlugin(Host& host) {
    setApplication(false, false, false);
    host.start([](HostResolver resolver) {
        hostResolver = resolver;
        REALPluginMain(&resolve);
    });
}

void setDebugLog(Host&, bool on) { setDebugging(on); }

}  // namespace qkztest
