#include "isBlack.h"

#include "Walks.h"

RBBoolean isBlack(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                  RBInteger height) {
    return allWithin(picture, left, top, width, height, 0,
                     [](const Pixel& p) { return static_cast<int>(colorWord(p)); });
}

RBBoolean isBlack2(REALpictureStruct* picture) { return isBlack(picture, 0, 0, -1, -1); }
