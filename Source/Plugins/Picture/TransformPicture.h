// Custom linear maps of the channels.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source in which every channel value c is c x a + b, truncated toward zero
/// and clamped to 0..255. Null when the source cannot be read.
REALpictureStruct* TransformPicture1(REALpictureStruct* picture, double a, double b);
/// A factor and an offset for each channel. Green takes its factor from `redFactor`, and `greenFactor`
/// is not used (compatibility.md#green-follows-red).
REALpictureStruct* TransformPicture3(REALpictureStruct* picture, double redFactor, double redOffset,
                                     double greenFactor, double greenOffset, double blueFactor,
                                     double blueOffset);
