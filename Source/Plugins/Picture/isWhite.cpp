#include "isWhite.h"

#include "Walks.h"

RBBoolean isWhite(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height) {
    return allWithin(picture, left, top, width, height, 0,
                     [](const Pixel& p) { return static_cast<int>(colorWord(p) ^ 0xFFFFFF); });
}

RBBoolean isWhite2(REALpictureStruct* picture) { return isWhite(picture, 0, 0, -1, -1); }
