#include "Contrast.h"

#include "BrightnessFormula.h"
#include "ChannelTables.h"

namespace {

auto contrast(double c) {
    return [change = ContrastFormula(c)](int value) { return channelByte(change(value)); };
}

auto contrastAbsolute(double c, double brightness) {
    return [change = ContrastFormula(c), brightness](int value) {
        return channelByte(change(value) + brightness);
    };
}

auto contrastLinear(double c, double brightness) {
    return [change = ContrastFormula(c), squeeze = LinearBrightnessFormula(brightness)](int value) {
        return channelByte(squeeze(change(value)));
    };
}

}  // namespace

REALpictureStruct* ContrastPicture1(REALpictureStruct* picture, double c) {
    return mapChannels(picture, contrast(c));
}

REALpictureStruct* ContrastPicture3(REALpictureStruct* picture, double red, double green, double blue) {
    return mapChannels(picture, contrast(red), contrast(green), contrast(blue));
}

REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* picture, double c, double b) {
    return mapChannels(picture, contrastAbsolute(c, b));
}

REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* picture, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue) {
    return mapChannels(picture, contrastAbsolute(contrastRed, brightnessRed),
                       contrastAbsolute(contrastGreen, brightnessGreen),
                       contrastAbsolute(contrastBlue, brightnessBlue));
}

REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* picture, double c, double b) {
    return mapChannels(picture, contrastLinear(c, b));
}

REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* picture, double contrastRed,
                                                 double contrastGreen, double contrastBlue,
                                                 double brightnessRed, double brightnessGreen,
                                                 double brightnessBlue) {
    return mapChannels(picture, contrastLinear(contrastRed, brightnessRed),
                       contrastLinear(contrastGreen, brightnessGreen),
                       contrastLinear(contrastBlue, brightnessBlue));
}
