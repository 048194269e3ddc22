#include "ReplaceColorQKZ.h"

#include "Walks.h"

REALpictureStruct* ReplaceColorQKZ(REALpictureStruct* picture, RBColor searchColor,
                                   RBColor replaceWithColor) {
    return mapPicture(
        picture, OnColorWords{[search = searchColor & colorBits, replacement = replaceWithColor & colorBits](
                                  std::uint32_t color) { return color == search ? replacement : color; }});
}
