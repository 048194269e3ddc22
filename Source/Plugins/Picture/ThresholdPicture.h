// A picture in black and white.
#pragma once

#include "HostTypes.h"

/// A new picture like the source: black where blue or green is below the threshold, white elsewhere. Red is
/// deliberately not looked at. Null when the source cannot be read.
REALpictureStruct* ThresholdPicture(REALpictureStruct* picture, RBInteger threshold);
