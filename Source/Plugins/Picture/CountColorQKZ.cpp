#include "CountColorQKZ.h"

#include "Walks.h"
#include "rbData.h"
#include "rbMemoryBlock.h"

namespace {

constexpr std::int64_t histogramBytes = 256 * sizeof(std::uint32_t);

using Histogram = std::uint32_t[256];

/// Several histograms a channel, which neighbouring pixels take in turns: in a flat area each counter would
/// otherwise wait for itself.
struct Histograms {
    static constexpr int lanes = 4;
    Histogram red[lanes];
    Histogram green[lanes];
    Histogram blue[lanes];

    void count(int lane, const Pixel& p) {
        ++red[lane][p.red];
        ++green[lane][p.green];
        ++blue[lane][p.blue];
    }
};

/// Adds the lanes to the block's counters, wrapping.
void addTo(const rbData& block, const Histogram (&lanes)[Histograms::lanes]) {
    for (std::size_t i = 0; i < 256; ++i) {
        std::uint8_t* const counter = block.data + 4 * i;
        std::uint32_t sum = loadWord(counter);
        for (const Histogram& lane : lanes) sum += lane[i];
        storeWord(counter, sum);
    }
}

bool holdsHistogram(const rbData& block) {
    return block.data && block.size >= static_cast<std::uint64_t>(histogramBytes);
}

}  // namespace

RBInteger CountColorQKZ(REALpictureStruct* picture, RBColor color) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return 0;
    return countPixels(reader, [wanted = pixelOf(color)](const Pixel& p) { return sameColor(p, wanted); });
}

void CountColorsQKZ(REALpictureStruct* picture, REALmemoryBlockStruct** red, REALmemoryBlockStruct** second,
                    REALmemoryBlockStruct** third, RBInteger* count) {
    *count = -1;
    for (REALmemoryBlockStruct** const block : {red, second, third}) {
        if (!*block) *block = MyREALNewMemoryBlock(histogramBytes);
    }
    if (!*red || !*second || !*third) return;
    const rbData redBlock(*red), greenBlock(*second), blueBlock(*third);
    if (!holdsHistogram(redBlock) || !holdsHistogram(greenBlock) || !holdsHistogram(blueBlock)) return;
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return;

    Histograms histograms{};
    forEachRow(reader, [&](auto row, std::int64_t width) {
        std::int64_t x = 0;
        for (; x + Histograms::lanes <= width; x += Histograms::lanes) {
            for (int lane = 0; lane < Histograms::lanes; ++lane) histograms.count(lane, row[x + lane]);
        }
        for (; x < width; ++x) histograms.count(0, row[x]);
    });
    addTo(redBlock, histograms.red);
    addTo(greenBlock, histograms.green);
    addTo(blueBlock, histograms.blue);
    *count = reader.width() * reader.height();
}
