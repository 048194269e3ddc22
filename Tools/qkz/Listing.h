// Everything that the plug-in registers.
#pragma once

#include "Host.h"

namespace qkz {

/// Prints it to standard output, in the order of registration; all global methods stand where the first is.
void list(const qkzhost::Host&);

}  // namespace qkz
