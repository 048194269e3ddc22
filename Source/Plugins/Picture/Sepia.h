// The class PictureSepiaQKZ.
#pragma once

#include "HostTypes.h"

/// Instance data. The property FactorBlue is bound to the weight of green and FactorGreen to that of blue
/// (compatibility.md#crossed-factors).
struct PictureSepiaData {
    double weightRed;
    double weightGreen;
    double weightBlue;
    REALpictureStruct* sourcePicture;
    REALpictureStruct* destinationPicture;
    RBInteger minX;
    RBInteger minY;
    RBInteger maxX;
    RBInteger maxY;
    RBInteger sepiaRed;
    RBInteger sepiaGreen;
    RBInteger sepiaBlue;
    std::uint64_t reserved;
};
static_assert(sizeof(void*) != 8 || sizeof(PictureSepiaData) == 104);

extern REALclassDefinition pictureSepiaClass;
