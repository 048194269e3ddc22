// How colourful is a picture?
#pragma once

#include "HostTypes.h"

/// The fraction of the picture's pixels whose green differs from red or blue by more than the threshold, of
/// which the low 32 bits count; red and blue are not compared (compatibility.md#colour-is-apart-from-green).
/// Pixels with no channel above 29 are too dark to count as coloured. 0 when the picture cannot be read, not
/// a number without pixels.
double ColornessQKZ(REALpictureStruct* picture, RBInteger threshold);
