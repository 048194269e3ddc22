// A picture in black and white.
#pragma once

#include "HostTypes.h"

/// A new picture like the source: black where blue or green is below the threshold, white elsewhere. Red is
/// not looked at (compatibility.md#threshold-without-red). Null when the source cannot be read.
REALpictureStruct* ThresholdPicture(REALpictureStruct* picture, RBInteger threshold);
