// Rectangles around the coloured areas.
#pragma once

#include "HostTypes.h"

/// A new opaque picture of the source's size: black rectangles on white, the smallest that hold the coloured
/// (not gray) pixels of the region so that no coloured pixel touches a rectangle's side from outside; pixels
/// that touch at a corner only do not count. A negative width or height means the picture's. For a region
/// whose top lies below the picture's first row, its rows hold the picture's first ones
/// (compatibility.md#the-regions-rows-are-the-first-ones). Null when the source cannot be read or memory runs
/// out.
REALpictureStruct* ExtractColorRectangleMask(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                             RBInteger width, RBInteger height);
REALpictureStruct* ExtractColorRectangleMask2(REALpictureStruct* picture);
