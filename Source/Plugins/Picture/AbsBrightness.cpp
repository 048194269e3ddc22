#include "AbsBrightness.h"

#include "rbChannelTables.h"

namespace {

auto added(double brightness) {
    return [brightness](int value) { return ChannelByte(value + brightness); };
}

}  // namespace

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* picture, double b) {
    return AbsBrightnessPicture3(picture, b, b, b);
}

REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* picture, double red, double green, double blue) {
    return MapChannels(picture, added(red), added(green), added(blue));
}
