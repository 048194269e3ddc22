// How the loaded shared object is started and switched.
#include "Support.h"

namespace qkztest {

void startPlugin(Host& host) { host.load(QKZ_PLUGIN); }

void setDebugLog(Host& host, bool on) {
    for (const char* module : {"iOSPictureQKZ", "PicturePictureExtensionQKZ"})
        if (host.setProperty(module, "Debugging", on)) return;
    FAIL() << "no property switches the debug log";
}

}  // namespace qkztest
