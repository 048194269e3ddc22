#include "SaturationPicture.h"

#include "Walks.h"

namespace {

/// Green counts twice.
int grayOf(const Pixel& p) { return (p.red + 2 * p.green + p.blue) >> 2; }

/// For factors that leave all products in 32 bits. `multiplier` is factor x 65536 / 255, rounded away from
/// zero: over the at most 255 of a difference the rounding adds less than the 1 / 255 by which a quotient
/// could change.
struct Saturation {
    static constexpr std::int64_t largestFactor = 32767;
    std::int32_t multiplier;

    explicit Saturation(std::int64_t factor)
        : multiplier(static_cast<std::int32_t>((factor * 65536 + (factor < 0 ? -254 : 254)) / 255)) {}

    int channel(int value, int gray) const {
        const std::int32_t product = (value - gray) * multiplier;
        const int quotient = (product + (product >> 31 & 0xFFFF)) >> 16;  // toward zero
        return std::clamp(gray + quotient, 0, 255);
    }

    Pixel operator()(const Pixel& p) const {
        const int gray = grayOf(p);
        return {channel(p.red, gray), channel(p.green, gray), channel(p.blue, gray)};
    }
};

/// For any factor. Products wrap in 64 bits, and what is beyond 32 bits wraps before it is clamped.
struct WideSaturation {
    std::uint64_t factor;

    int channel(int value, int gray) const {
        const auto product = static_cast<std::int64_t>(static_cast<std::uint64_t>(value - gray) * factor);
        const auto result = static_cast<std::uint32_t>(gray) + static_cast<std::uint32_t>(product / 255);
        return std::clamp(static_cast<std::int32_t>(result), 0, 255);
    }

    Pixel operator()(const Pixel& p) const {
        const int gray = grayOf(p);
        return {channel(p.red, gray), channel(p.green, gray), channel(p.blue, gray)};
    }
};

}  // namespace

REALpictureStruct* SaturationPicture(REALpictureStruct* picture, RBInteger amount) {
    const std::uint64_t factor = static_cast<std::uint64_t>(amount) + 255;
    const auto given = static_cast<std::int64_t>(factor);
    if (given >= -Saturation::largestFactor && given <= Saturation::largestFactor) {
        return mapPicture(picture, Saturation(given));
    }
    return mapPicture(picture, WideSaturation{factor});
}
