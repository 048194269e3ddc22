// Saturation.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source whose colours are moved away from (amount above 0) or towards their
/// own gray value: -255 gives gray, below that the colours turn to the other side of it. Any amount is
/// accepted. Null when the source cannot be read.
REALpictureStruct* SaturationPicture(REALpictureStruct* picture, RBInteger amount);
