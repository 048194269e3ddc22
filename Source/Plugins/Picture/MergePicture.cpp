#include "MergePicture.h"

#include "Vectors.h"
#include "Walks.h"

namespace {

/// The brighter of two pixels, channel by channel.
struct Brighter : MapsWords {
    Pixel operator()(const Pixel& a, const Pixel& b) const {
        return {std::max(a.red, b.red), std::max(a.green, b.green), std::max(a.blue, b.blue)};
    }
    void mapWords(std::uint8_t* target, const std::uint8_t* first, const std::uint8_t* second,
                  std::int64_t count, std::uint32_t opaqueBits) const {
        runOnBestCpu([=] {
            const VectorWords opaque = VectorWords{} + opaqueBits, colors = VectorWords{} + colorBits;
            std::int64_t x = 0;
            for (; x + vectorPixels <= count; x += vectorPixels) {
                VectorBytes a, b;
                loadVector(a, first + 4 * x);
                loadVector(b, second + 4 * x);
                setToLarger(a, b);
                storeVector(target + 4 * x, (VectorWords(a) & colors) | opaque);
            }
            for (; x < count; ++x) {
                const Pixel result =
                    Brighter{}(pixelOf(loadWord(first + 4 * x)), pixelOf(loadWord(second + 4 * x)));
                storeWord(target + 4 * x, opaqueBits | colorWord(result));
            }
        });
    }
};

}  // namespace

REALpictureStruct* MergePictureQKZ(REALpictureStruct* source1, REALpictureStruct* source2) {
    if (!source1 || !source2) return nullptr;
    PictureReader first;
    PictureReader second;
    if (!first.GetPictureReader(source1) || !second.GetPictureReader(source2)) return nullptr;
    if (!sameSize(first, second)) return nullptr;
    return mapReaders(Brighter{}, first, second);
}
