#include "isGray.h"

#include "rbFrame.h"

RBBoolean isGray(REALpictureStruct* picture, RBInteger tolerance, RBInteger left, RBInteger top,
                 RBInteger width, RBInteger height) {
    // Channels never differ by more than 255.
    const int limit = static_cast<int>(std::abs(std::clamp<RBInteger>(tolerance, -255, 255)));
    return AllWithin(picture, left, top, width, height, limit, [](const Pixel& p) {
        return std::max(std::max(p.red, p.green), p.blue) - std::min(std::min(p.red, p.green), p.blue);
    });
}

RBBoolean isGray2(REALpictureStruct* picture, RBInteger tolerance) {
    return isGray(picture, tolerance, 0, 0, -1, -1);
}
