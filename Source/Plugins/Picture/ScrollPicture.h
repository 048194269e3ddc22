// A picture's pixels moved in place.
#pragma once

#include "HostTypes.h"

// The pixels move by delta rows down or columns right (up or left when negative). With `wrap` they come back
// in at the other side, otherwise the uncovered part becomes white. With `scrollMask` the picture's mask, if
// it has one, moves first. A delta of 0 does nothing and gives true.

/// False when the picture, or its mask, cannot be edited in place.
RBBoolean ScrollVertical(REALpictureStruct* picture, RBInteger delta, RBBoolean wrap, RBBoolean scrollMask);
/// True also when the picture cannot be edited, false only for its mask's sake
/// (compatibility.md#columns-never-fail). A positive delta without wrap moves the row by two pixels for each
/// one (compatibility.md#two-pixels-to-the-right).
RBBoolean ScrollHorizontal(REALpictureStruct* picture, RBInteger delta, RBBoolean wrap, RBBoolean scrollMask);
/// First horizontally, then vertically.
RBBoolean ScrollPicture(REALpictureStruct* picture, RBInteger deltaX, RBInteger deltaY, RBBoolean wrap,
                        RBBoolean scrollMask);
