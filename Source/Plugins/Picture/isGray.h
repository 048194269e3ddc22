// Is a picture gray?
#pragma once

#include "HostTypes.h"

/// True when the channels of every pixel inside the rectangle differ by at most the tolerance, whose sign
/// does not count (compatibility.md#the-sign-of-a-tolerance); also when the rectangle is empty. A negative
/// width or height means the picture's. False when the picture cannot be read.
RBBoolean isGray(REALpictureStruct* picture, RBInteger tolerance, RBInteger left, RBInteger top,
                 RBInteger width, RBInteger height);
RBBoolean isGray2(REALpictureStruct* picture, RBInteger tolerance);
