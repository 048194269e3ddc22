// Colours replaced by others.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source in which pixels of exactly the colour searched have the
/// replacement's. The colours' top bytes do not count. Null when the source cannot be read.
REALpictureStruct* ReplaceColorQKZ(REALpictureStruct* picture, RBColor searchColor, RBColor replaceWithColor);
