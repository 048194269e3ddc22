// The class PictureLut3DQKZ.
#pragma once

#include "HostTypes.h"

/// The table has an entry of three results for each grid point. Point i of an axis stands for the channel
/// value (i - 1) x 17, from 1 to 15; between 238 and 255 results run towards point 16, but 255 itself reads
/// point 15, like 238 (compatibility.md#the-last-level-of-the-colour-table).
inline constexpr std::uint32_t lutPoints = 18;

/// Instance data.
struct PictureLut3DData {
    REALpictureStruct* sourcePicture;
    REALpictureStruct* destinationPicture;
    RBInteger minX;
    RBInteger minY;
    RBInteger maxX;
    RBInteger maxY;
    double table[lutPoints][lutPoints][lutPoints][3];  // [red][green][blue][result]: values of 0..255
};
static_assert(sizeof(void*) != 8 || sizeof(PictureLut3DData) == 140016);

extern REALclassDefinition pictureLut3DClass;
