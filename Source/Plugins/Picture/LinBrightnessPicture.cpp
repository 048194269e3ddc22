#include "LinBrightnessPicture.h"

#include "BrightnessFormula.h"
#include "ChannelTables.h"

namespace {

auto squeezed(double brightness) {
    return [squeeze = LinearBrightnessFormula(brightness)](int value) {
        return static_cast<std::uint8_t>(truncateToInt32(squeeze(value)));
    };
}

}  // namespace

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* picture, double b) {
    return mapChannels(picture, squeezed(b));
}

REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* picture, double red, double green, double blue) {
    return mapChannels(picture, squeezed(red), squeezed(green), squeezed(blue));
}
