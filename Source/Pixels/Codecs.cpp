#include "Codecs.h"

Pixel AnyCodec::load(const std::uint8_t* row, std::int64_t x) const {
    Pixel result{0, 0, 0, 0};
    visitFormat<readAs<Channels::colorAndAlpha>>(
        format, [&]<class Codec>(Codec) { result = Codec::load(row + x * Codec::bytes); });
    return result;
}
