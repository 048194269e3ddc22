#include "ExtractColorQKZ.h"

#include "rbFrame.h"

REALpictureStruct* ExtractColorQKZ(REALpictureStruct* picture, RBColor searchColor, RBColor replaceWithColor,
                                   RBColor backGroundColor) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    return MapReaders([search = PixelOf(searchColor), replacement = PixelOf(replaceWithColor),
                       background = PixelOf(backGroundColor)](
                          const Pixel& p) { return Select(SameColor(p, search), replacement, background); },
                      reader);
}

REALpictureStruct* ThresholdPicture(REALpictureStruct* picture, RBInteger threshold) {
    // Beyond 0..256 nothing changes any more, and an int lane is enough.
    const int limit = static_cast<int>(std::clamp<RBInteger>(threshold, 0, 256));
    return MapPicture(picture,
                      [=](const Pixel& p) { return GrayPixel(p.blue < limit || p.green < limit ? 0 : 255); });
}
