// Absolute brightness.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source in which every channel value has the brightness added, truncated
/// toward zero and clamped to 0..255. Null when the source cannot be read.
REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* picture, double brightness);
REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* picture, double red, double green, double blue);
