#include "colorness.h"

#include "Walks.h"

double ColornessQKZ(REALpictureStruct* picture, RBInteger threshold) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return 0;
    // Differences lie within -255..255: nothing changes beyond.
    const int limit = std::clamp(static_cast<std::int32_t>(threshold), -256, 256);
    const std::int64_t count = countPixels(reader, [=](const Pixel& p) {
        const int brightest = std::max(std::max(p.red, p.green), p.blue);
        const int difference = std::max(std::abs(p.green - p.red), std::abs(p.green - p.blue));
        return (brightest > 29) & (difference > limit);
    });
    return static_cast<std::int32_t>(count) /
           (static_cast<double>(reader.width()) * static_cast<double>(reader.height()));
}
