// How the loaded shared object is started and switched.
#include <cstdlib>

#include "Support.h"

namespace qkztest {

std::string pluginFile() {
    const char* const other = std::getenv("QKZ_PLUGIN");
    return other ? other : QKZ_PLUGIN;
}

void startPlugin(Host& host) { host.load(pluginFile()); }

void setDebugLog(Host& host, bool on) {
    for (const char* module : {"iOSPictureQKZ", "PicturePictureExtensionQKZ"})
        if (host.setProperty(module, "Debugging", on)) return;
    FAIL() << "no property switches the debug log";
}

}  // namespace qkztest
