#include "CombinePicturesQKZ.h"

#include "rbFrame.h"

REALpictureStruct* CombinePicturesQKZ(REALpictureStruct* red, REALpictureStruct* blue,
                                      REALpictureStruct* green) {
    PictureReader r, g, b;
    if (!r.GetPictureReader(red) || !g.GetPictureReader(green) || !b.GetPictureReader(blue)) return nullptr;
    if (!SameSize(r, g) || !SameSize(r, b)) return nullptr;
    return MapReaders(
        [](const Pixel& fromRed, const Pixel& fromGreen, const Pixel& fromBlue) {
            return Pixel{fromRed.red, fromGreen.green, fromBlue.blue};
        },
        r, g, b);
}
