// A colour's pixels against a background.
#pragma once

#include "HostTypes.h"

/// A new opaque picture of the source's size: `replaceWithColor` where the source has exactly the colour
/// searched, `backGroundColor` elsewhere. The colours' top bytes do not count. Null when the source cannot be
/// read.
REALpictureStruct* ExtractColorQKZ(REALpictureStruct* picture, RBColor searchColor, RBColor replaceWithColor,
                                   RBColor backGroundColor);
