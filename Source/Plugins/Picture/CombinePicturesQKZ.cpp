#include "CombinePicturesQKZ.h"

#include "Walks.h"

REALpictureStruct* CombinePicturesQKZ(REALpictureStruct* red, REALpictureStruct* blue,
                                      REALpictureStruct* green) {
    PictureReader r, g, b;
    if (!r.GetPictureReader(red) || !g.GetPictureReader(green) || !b.GetPictureReader(blue)) return nullptr;
    if (!sameSize(r, g) || !sameSize(r, b)) return nullptr;
    return mapReaders(
        [](const Pixel& fromRed, const Pixel& fromGreen, const Pixel& fromBlue) {
            return Pixel{fromRed.red, fromGreen.green, fromBlue.blue};
        },
        r, g, b);
}
