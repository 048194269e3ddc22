#include "ReplaceColorQKZ.h"

#include "rbFrame.h"

REALpictureStruct* ReplaceColorQKZ(REALpictureStruct* picture, RBColor searchColor,
                                   RBColor replaceWithColor) {
    return MapPicture(picture, [search = PixelOf(searchColor), replacement = PixelOf(replaceWithColor)](
                                   const Pixel& p) { return Select(SameColor(p, search), replacement, p); });
}
