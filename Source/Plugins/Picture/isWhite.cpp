#include "isWhite.h"

#include "rbFrame.h"

RBBoolean isWhite(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height) {
    return AllWithin(picture, left, top, width, height, 0,
                     [](const Pixel& p) { return static_cast<int>(pixel::wordOf(p) ^ 0xFFFFFF); });
}

RBBoolean isWhite2(REALpictureStruct* picture) { return isWhite(picture, 0, 0, -1, -1); }
