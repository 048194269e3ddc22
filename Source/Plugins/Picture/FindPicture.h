// A picture sought in another.
#pragma once

#include "HostTypes.h"

/// Finds the first place in reading order, from (startX, startY) on, where `sought` lies in the picture:
/// every channel of every pixel differs by less than the tolerance, of which the low 32 bits count. So 1
/// means equal, above 255 anything matches, 0 or less nothing
/// (compatibility.md#a-tolerance-of-0-finds-nothing). Stores the place of the top-left corner, or 0, 0, and
/// says whether it was found. A start at or beyond the width means the next row's first column. Nothing is
/// found when either picture cannot be read.
RBBoolean FindPictureQKZ(REALpictureStruct* picture, REALpictureStruct* sought, RBInteger* x, RBInteger* y,
                         RBInteger startX, RBInteger startY, RBInteger tolerance);
