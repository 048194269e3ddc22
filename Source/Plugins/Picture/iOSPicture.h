// The photo-album methods of iOS, which this platform only names.
#pragma once

#include "HostTypes.h"

/// Raises `PlatformNotSupportedException` with "iOS only". The arguments are not looked at.
void iOSOnly();
/// The same for a method with a Boolean result: false.
RBBoolean iOSOnlyBoolean();
