// Pictures as binary strings: a header of 40 bytes, then red, green and blue of each pixel, row by row.
//
//   offset  size  big-endian
//        0     4  "PPIC"
//        4     4  length of the whole string
//        8     4  width
//       12     4  height
//       16     4  32
//       20     4  offset of the pixels, 40
//       24    16  0
#pragma once

#include "HostTypes.h"

/// The picture as a string, without mask and alpha. Null when it cannot be read or memory runs out.
REALstringStruct* PicturetoBinaryStringQKZ(REALpictureStruct* picture);

/// A new opaque picture of such a string. Null when the string is not one: another magic, a stored length
/// that is not the string's, pixels that do not lie within it, or a size that no picture can have.
REALpictureStruct* BinaryStringtoPictureQKZ(REALstringStruct* data);
