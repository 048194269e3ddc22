// What tests of the linked objects share.
#pragma once

#include "Support.h"

namespace qkztest {

/// What the host's services throw while this is set: making a string, making an instance.
extern void (*thrownByBuildString)();
extern void (*thrownByNewInstance)();

/// The plug-in's flags of the application's kind.
void setApplication(bool checked, bool desktop, bool console);

}  // namespace qkztest
