#include "isBlack.h"

#include "rbFrame.h"

RBBoolean isBlack(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height) {
    return AllWithin(picture, left, top, width, height, 0,
                     [](const Pixel& p) { return static_cast<int>(pixel::wordOf(p)); });
}

RBBoolean isBlack2(REALpictureStruct* picture) { return isBlack(picture, 0, 0, -1, -1); }
