// How the linked objects are started and switched. Their process-wide state lives on from test to test; what
// depends on the host is set back.
#include "PluginMain.h"
#include "Support.h"
#include "rbDebug.h"
#include "rbpictureUtil.h"

namespace qkztest {

void startPlugin(Host& host) {
    Application.checked = Application.desktop = Application.console = false;
    host.start(&REALPluginMain);
}

void setDebugLog(Host&, bool on) { setDebugging(on); }

}  // namespace qkztest
