#include "SaturationPicture.h"

#include "Walks.h"

namespace {

/// The formula in integers of the given width: 32 bits vectorise, 64 bits hold any factor. Products wrap.
template <class Integer>
struct Saturation {
    Integer factor;  // of 255

    int channel(int value, int gray) const {
        using Unsigned = std::make_unsigned_t<Integer>;
        const auto product =
            static_cast<Integer>(static_cast<Unsigned>(value - gray) * static_cast<Unsigned>(factor));
        // As 32 bits: what is beyond wraps before it is clamped.
        const auto result = static_cast<std::uint32_t>(gray) + static_cast<std::uint32_t>(product / 255);
        return std::clamp(static_cast<std::int32_t>(result), 0, 255);
    }

    Pixel operator()(const Pixel& p) const {
        const int gray = (p.red + 2 * p.green + p.blue) >> 2;  // green counts twice
        return {channel(p.red, gray), channel(p.green, gray), channel(p.blue, gray)};
    }
};

}  // namespace

REALpictureStruct* SaturationPicture(REALpictureStruct* picture, RBInteger amount) {
    const auto factor = static_cast<std::int64_t>(static_cast<std::uint64_t>(amount) + 255);
    constexpr std::int64_t largest32 = 0x7FFFFFFF / 255;  // times 255 it still fits 32 bits
    if (factor >= -largest32 && factor <= largest32) {
        return mapPicture(picture, Saturation<std::int32_t>{static_cast<std::int32_t>(factor)});
    }
    return mapPicture(picture, Saturation<std::int64_t>{factor});
}
