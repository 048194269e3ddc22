// What tests of the linked objects share.
#pragma once

#include "Support.h"

namespace qkztest {

/// What the host's services throw while this is set: making a string, making an instance.
extern void (*thrownByBuildString)();
extern void (*thrownByNewInstance)();

}  // namespace qkztest
