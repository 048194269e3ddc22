#include "EmbeddedMask.h"

#include "PluginMain.h"
#include "rbFrame.h"

REALpictureStruct* GetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    const int flip = swap ? 255 : 0;
    return MapReaders<Channels::colorAndAlpha>([=](const Pixel& p) { return GrayPixel(p.alpha ^ flip); },
                                               reader);
}

void SetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap, REALpictureStruct* mask) {
    if (!mask) return;
    PictureReader self;
    PictureReader values;
    if (!self.GetPictureReader(picture) || !values.GetPictureReader(mask)) return;
    const Area area{0, 0, std::min(self.Width(), values.Width()), std::min(self.Height(), values.Height())};
    const int flip = swap ? 255 : 0;
    frame::visitSource<Channels::color>(values.Format(), [&]<class Mask>(Mask) {
        WalkRows(
            area,
            [&](std::int64_t, std::int64_t count) {
                std::uint8_t* const target = self.CurrentRow();
                const frame::SourceRow<Mask> row{values.CurrentRow()};
                if (self.BytesPerPixel() == 4) {
                    RunOnBestCpu([=] {
                        QKZ_INDEPENDENT_ITERATIONS
                        for (std::int64_t x = 0; x < count; ++x) {
                            const auto value = static_cast<std::uint32_t>(row[x].red ^ flip);
                            pixel::storeWord(target + 4 * x,
                                             (pixel::loadWord(target + 4 * x) & 0xFFFFFF00U) | value);
                        }
                    });
                } else {
                    // Byte 4 * x even so; the storage ends earlier.
                    const std::int64_t fitting = std::min(count, (self.BytesLeft() + 3) / 4);
                    for (std::int64_t x = 0; x < fitting; ++x) {
                        target[4 * x] = static_cast<std::uint8_t>(row[x].red ^ flip);
                    }
                }
            },
            self, values);
    });
    self.MarkSurfaceDirty();
    REALPictureClearCache(picture);
}
