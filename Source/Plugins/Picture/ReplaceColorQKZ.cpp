#include "ReplaceColorQKZ.h"

#include "Walks.h"

REALpictureStruct* ReplaceColorQKZ(REALpictureStruct* picture, RBColor searchColor,
                                   RBColor replaceWithColor) {
    return mapPicture(picture, [search = pixelOf(searchColor), replacement = pixelOf(replaceWithColor)](
                                   const Pixel& p) { return select(sameColor(p, search), replacement, p); });
}
