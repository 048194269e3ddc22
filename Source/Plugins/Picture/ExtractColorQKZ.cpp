#include "ExtractColorQKZ.h"

#include "Walks.h"

REALpictureStruct* ExtractColorQKZ(REALpictureStruct* picture, RBColor searchColor, RBColor replaceWithColor,
                                   RBColor backGroundColor) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    return mapReaders([search = pixelOf(searchColor), replacement = pixelOf(replaceWithColor),
                       background = pixelOf(backGroundColor)](
                          const Pixel& p) { return select(sameColor(p, search), replacement, background); },
                      reader);
}
