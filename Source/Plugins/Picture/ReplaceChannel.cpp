#include "ReplaceChannel.h"

#include "Walks.h"
#include "rbException.h"

namespace {

/// `formula` makes a pixel of the picture's and the channel picture's.
template <class Formula>
REALpictureStruct* replaceChannel(REALpictureStruct* picture, REALpictureStruct* channel, Formula formula) {
    if (!channel) {
        RaiseException("NilObjectException", "The channel picture is nil.");
        return nullptr;
    }
    PictureReader self;
    PictureReader other;
    if (!self.GetPictureReader(picture) || !other.GetPictureReader(channel)) return nullptr;
    if (other.width() < self.width() || other.height() < self.height()) return nullptr;
    return mapReaders(formula, self, other);
}

}  // namespace

REALpictureStruct* ReplaceRedChannel(REALpictureStruct* picture, REALpictureStruct* channel) {
    return replaceChannel(picture, channel, [](const Pixel& self, const Pixel& other) {
        return Pixel{other.red, self.green, self.blue};
    });
}

REALpictureStruct* ReplaceGreenChannel(REALpictureStruct* picture, REALpictureStruct* channel) {
    return replaceChannel(picture, channel, [](const Pixel& self, const Pixel& other) {
        return Pixel{self.red, other.green, self.blue};
    });
}

REALpictureStruct* ReplaceBlueChannel(REALpictureStruct* picture, REALpictureStruct* channel) {
    return replaceChannel(picture, channel, [](const Pixel& self, const Pixel& other) {
        return Pixel{self.red, self.green, other.blue};
    });
}
