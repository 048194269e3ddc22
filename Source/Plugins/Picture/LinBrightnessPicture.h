// Linear brightness.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source whose channel values 0..255 are squeezed to 0..255 + b (b negative)
/// or to b..255. The result is truncated toward zero and not clamped: for b beyond -255..255 the value stored
/// wraps modulo 256 (compatibility.md#linear-brightness-wraps). Null when the source cannot be read.
REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* picture, double brightness);
REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* picture, double red, double green, double blue);
