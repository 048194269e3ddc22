#include "ThresholdPicture.h"

#include "Walks.h"

REALpictureStruct* ThresholdPicture(REALpictureStruct* picture, RBInteger threshold) {
    // Beyond 0..256 nothing changes any more, and an int lane is enough.
    const int limit = static_cast<int>(std::clamp<RBInteger>(threshold, 0, 256));
    return mapPicture(picture,
                      [=](const Pixel& p) { return grayPixel(p.blue < limit || p.green < limit ? 0 : 255); });
}
