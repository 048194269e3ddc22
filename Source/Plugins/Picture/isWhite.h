// Is a picture white?
#pragma once

#include "HostTypes.h"

/// True when every pixel inside the rectangle is white, also when the rectangle is empty. A negative width or
/// height means the picture's. False when the picture cannot be read.
RBBoolean isWhite(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height);
RBBoolean isWhite2(REALpictureStruct* picture);
