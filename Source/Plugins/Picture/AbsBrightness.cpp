#include "AbsBrightness.h"

#include "ChannelTables.h"

namespace {

auto added(double brightness) {
    return [brightness](int value) { return channelByte(value + brightness); };
}

}  // namespace

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* picture, double b) {
    return mapChannels(picture, added(b));
}

REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* picture, double red, double green, double blue) {
    return mapChannels(picture, added(red), added(green), added(blue));
}
