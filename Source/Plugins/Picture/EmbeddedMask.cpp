#include "EmbeddedMask.h"

#include "PluginMain.h"
#include "Walks.h"

REALpictureStruct* GetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    const int flip = swap ? 255 : 0;
    return mapReaders<Channels::colorAndAlpha>([=](const Pixel& p) { return grayPixel(p.alpha ^ flip); },
                                               reader);
}

void SetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap, REALpictureStruct* mask) {
    if (!mask) return;
    // The picture is opened as for reading, which kinds that refuse writing allow, and is written all the
    // same: where its rows are the host's own storage the change shows, and a copy of them is changed in
    // vain.
    PictureReader self;
    PictureReader values;
    if (!self.GetPictureReader(picture) || !values.GetPictureReader(mask)) return;
    const Area area{0, 0, std::min(self.width(), values.width()), std::min(self.height(), values.height())};
    const int flip = swap ? 255 : 0;
    readRows(
        values, area,
        [&](std::int64_t, auto row, std::int64_t count) {
            std::uint8_t* const target = self.currentRow();
            if (self.bytesPerPixel() == 4) {
                runOnBestCpu([=] {
                    QKZ_INDEPENDENT_ITERATIONS
                    for (std::int64_t x = 0; x < count; ++x) {
                        const auto value = static_cast<std::uint32_t>(row[x].red ^ flip);
                        storeWord(target + 4 * x, (loadWord(target + 4 * x) & 0xFFFFFF00U) | value);
                    }
                });
            } else {
                // Of pixels of three bytes, too, every fourth byte is written, as far as the storage goes.
                const std::int64_t fitting = std::min(count, (self.bytesLeft() + 3) / 4);
                for (std::int64_t x = 0; x < fitting; ++x) {
                    target[4 * x] = static_cast<std::uint8_t>(row[x].red ^ flip);
                }
            }
        },
        self);
    self.MarkSurfaceDirty();
    REALPictureClearCache(picture);
}
