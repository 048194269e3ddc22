// Inversion of colours, of all pixels or of the gray ones.
#pragma once

#include "HostTypes.h"

/// A new picture in which the colours inside the rectangle are inverted; the rest is what a new picture
/// holds (compatibility.md#nothing-outside-the-rectangle). A width or height of 0 or less means the
/// picture's. Alpha is kept: premultiplied colours are inverted in plain terms, and pixels with alpha 0 stay
/// as they are. Null when the picture cannot be read or the new one cannot be made.
REALpictureStruct* InvertPicture(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                                 RBInteger height);
/// The whole picture.
REALpictureStruct* InvertPicture2(REALpictureStruct* picture);

/// The same for pixels whose stored red, green and blue are equal; the others inside the rectangle are
/// copied. Only a negative width or height means the picture's: 0 inverts nothing.
REALpictureStruct* InvertGrayPicture(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                     RBInteger width, RBInteger height);
/// The whole picture.
REALpictureStruct* InvertGrayPicture2(REALpictureStruct* picture);
