#include "TransformPicture.h"

#include "ChannelTables.h"

namespace {

auto linear(double factor, double offset) {
    return [factor, offset](int value) { return channelByte(value * factor + offset); };
}

}  // namespace

REALpictureStruct* TransformPicture1(REALpictureStruct* picture, double a, double b) {
    return mapChannels(picture, linear(a, b));
}

REALpictureStruct* TransformPicture3(REALpictureStruct* picture, double redFactor, double redOffset,
                                     double /*greenFactor*/, double greenOffset, double blueFactor,
                                     double blueOffset) {
    return mapChannels(picture, linear(redFactor, redOffset), linear(redFactor, greenOffset),
                       linear(blueFactor, blueOffset));
}
