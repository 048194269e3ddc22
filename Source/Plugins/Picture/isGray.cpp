#include "isGray.h"

#include "Vectors.h"
#include "Walks.h"

namespace {

/// The largest difference of two channels.
struct Spread : MeasuresWords {
    int operator()(const Pixel& p) const {
        return std::max(std::max(p.red, p.green), p.blue) - std::min(std::min(p.red, p.green), p.blue);
    }

    int largestOfWords(const std::uint8_t* words, std::int64_t count) const {
        VectorBytes most{};
        std::int64_t x = 0;
#pragma GCC unroll 4
        for (; x + vectorPixels <= count; x += vectorPixels) {
            // The lowest byte of each word sees blue, green and red in turn; the others do not count.
            VectorWords pixels;
            loadVector(pixels, words + 4 * x);
            const auto green = reinterpret_cast<VectorBytes>(pixels >> 8);
            const auto red = reinterpret_cast<VectorBytes>(pixels >> 16);
            auto largest = reinterpret_cast<VectorBytes>(pixels);
            auto smallest = largest;
            setToLarger(largest, green);
            setToLarger(largest, red);
            setToSmaller(smallest, green);
            setToSmaller(smallest, red);
            setToLarger(most, largest - smallest);
        }
        int result = 0;
        for (std::int64_t i = 0; i < vectorPixels; ++i) result = std::max<int>(result, most[4 * i]);
        for (; x < count; ++x) {
            result = std::max(result, (*this)(PixelCodec<pixelXRGB>::load(words + 4 * x)));
        }
        return result;
    }
};

/// Not 0 where any two channels differ.
struct Unequal : MeasuresWords {
    int operator()(const Pixel& p) const { return (p.red ^ p.green) | (p.green ^ p.blue); }

    int largestOfWords(const std::uint8_t* words, std::int64_t count) const {
        std::uint32_t any = 0;
        for (std::int64_t x = 0; x < count; ++x) {
            const std::uint32_t word = loadWord(words + 4 * x);
            any |= word ^ word >> 8;
        }
        return static_cast<int>(any & 0xFFFF);
    }
};

}  // namespace

RBBoolean isGray(REALpictureStruct* picture, RBInteger tolerance, RBInteger left, RBInteger top,
                 RBInteger width, RBInteger height) {
    // Channels never differ by more than 255.
    const int limit = static_cast<int>(std::abs(std::clamp<RBInteger>(tolerance, -255, 255)));
    if (limit == 0) return allWithin(picture, left, top, width, height, 0, Unequal{});
    return allWithin(picture, left, top, width, height, limit, Spread{});
}

RBBoolean isGray2(REALpictureStruct* picture, RBInteger tolerance) {
    return isGray(picture, tolerance, 0, 0, -1, -1);
}
