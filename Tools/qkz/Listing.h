// Everything that the plug-in registers.
#pragma once

#include <ostream>

#include "Host.h"

namespace qkz {

/// Prints it in the order of registration; all global methods stand where the first is.
void list(const qkzhost::Host&, std::ostream&);

}  // namespace qkz
