// Is a picture black?
#pragma once

#include "HostTypes.h"

/// True when every pixel inside the rectangle is black, also when the rectangle is empty. A negative width or
/// height means the picture's. False when the picture cannot be read.
RBBoolean isBlack(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height);
RBBoolean isBlack2(REALpictureStruct* picture);
