#include "ExtractColorQKZ.h"

#include "Walks.h"

REALpictureStruct* ExtractColorQKZ(REALpictureStruct* picture, RBColor searchColor, RBColor replaceWithColor,
                                   RBColor backGroundColor) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    return mapReaders(
        OnColorWords{[search = searchColor & colorBits, replacement = replaceWithColor & colorBits,
                      background = backGroundColor & colorBits](std::uint32_t color) {
            return color == search ? replacement : background;
        }},
        reader);
}
