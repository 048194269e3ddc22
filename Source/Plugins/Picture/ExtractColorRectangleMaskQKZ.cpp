#include "ExtractColorRectangleMaskQKZ.h"

#include <bit>
#include <memory>

#include "MyMemory.h"
#include "Walks.h"

namespace {

/// Bits in lines, in words of 64.
class BitGrid {
 public:
    BitGrid(std::int64_t lines, std::int64_t bits)
        : wordsPerLine_((bits + 63) / 64),
          words_(static_cast<std::uint64_t*>(AllocateClearMemory(lines * wordsPerLine_ * 8))) {}

    explicit operator bool() const { return words_ != nullptr; }
    std::uint64_t* line(std::int64_t index) const { return words_.get() + index * wordsPerLine_; }
    std::int64_t wordsPerLine() const { return wordsPerLine_; }

    /// Is a bit of begin..end-1 set? Requires begin < end, as `clear` does.
    bool any(std::int64_t index, std::int64_t begin, std::int64_t end) const {
        std::uint64_t found = 0;
        forRange(index, begin, end, [&](std::uint64_t& word, std::uint64_t mask) { found |= word & mask; });
        return found != 0;
    }

    void clear(std::int64_t index, std::int64_t begin, std::int64_t end) const {
        forRange(index, begin, end, [](std::uint64_t& word, std::uint64_t mask) { word &= ~mask; });
    }

 private:
    /// Calls `visit(word, mask)` for the words that hold the bits begin..end-1; the mask's bits are those.
    /// Requires begin < end.
    template <class Visit>
    void forRange(std::int64_t index, std::int64_t begin, std::int64_t end, Visit visit) const {
        std::uint64_t* const bits = line(index);
        const std::int64_t last = (end - 1) / 64;
        std::uint64_t mask = ~std::uint64_t{0} << (begin % 64);
        for (std::int64_t i = begin / 64; i < last; ++i) {
            visit(bits[i], mask);
            mask = ~std::uint64_t{0};
        }
        visit(bits[last], mask & (~std::uint64_t{0} >> (63 - (end - 1) % 64)));
    }

    std::int64_t wordsPerLine_;
    std::unique_ptr<std::uint64_t[], MemoryDeleter> words_;
};

/// Sets bits begin..begin+count-1 of a line where the pixels are not gray.
template <class Row>
void markColored(std::uint64_t* line, std::int64_t begin, std::int64_t count, Row row) {
    constexpr std::int64_t chunk = 1024;
    std::uint8_t colored[chunk];
    for (std::int64_t start = 0; start < count; start += chunk) {
        const std::int64_t pixels = std::min(chunk, count - start);
        std::uint8_t* const flags = colored;
        runOnBestCpu([=] {
            for (std::int64_t x = 0; x < pixels; ++x) flags[x] = isGrayPixel(row[start + x]) ? 0 : 1;
        });
        for (std::int64_t x = 0; x < pixels; ++x) {
            const std::int64_t bit = begin + start + x;
            line[bit / 64] |= std::uint64_t{colored[x]} << (bit % 64);
        }
    }
}

/// The transposed 64 x 64 bits, in place: swaps ever smaller blocks off the diagonal.
void transpose(std::uint64_t (&block)[64]) {
    std::uint64_t mask = 0x00000000FFFFFFFF;
    for (int size = 32; size != 0; size /= 2, mask ^= mask << size) {
        for (int i = 0; i < 64; i = (i + size + 1) & ~size) {
            const std::uint64_t swapped = ((block[i] >> size) ^ block[i + size]) & mask;
            block[i] ^= swapped << size;
            block[i + size] ^= swapped;
        }
    }
}

void transpose(const BitGrid& rows, const BitGrid& columns, std::int64_t width, std::int64_t height) {
    for (std::int64_t top = 0; top < height; top += 64) {
        for (std::int64_t left = 0; left < width; left += 64) {
            std::uint64_t block[64]{};
            for (std::int64_t y = top; y < std::min(top + 64, height); ++y) {
                block[y - top] = rows.line(y)[left / 64];
            }
            transpose(block);
            for (std::int64_t x = left; x < std::min(left + 64, width); ++x) {
                columns.line(x)[top / 64] = block[x - left];
            }
        }
    }
}

/// Grows the rectangle that starts at the given pixel, the first coloured one in reading order, until no
/// coloured pixel touches a side. The order of growing does not change the result, and no row above can
/// hold a coloured pixel.
Area grow(const BitGrid& rows, const BitGrid& columns, std::int64_t width, std::int64_t height,
          std::int64_t x, std::int64_t y) {
    Area r{x, y, x + 1, y + 1};
    for (bool grew = true; grew;) {
        const Area before = r;
        while (r.right < width && columns.any(r.right, r.top, r.bottom)) ++r.right;
        while (r.left > 0 && columns.any(r.left - 1, r.top, r.bottom)) --r.left;
        while (r.bottom < height && rows.any(r.bottom, r.left, r.right)) ++r.bottom;
        grew = r.left != before.left || r.right != before.right || r.bottom != before.bottom;
    }
    return r;
}

}  // namespace

REALpictureStruct* ExtractColorRectangleMask(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                             RBInteger width, RBInteger height) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    const std::int64_t pictureWidth = reader.width();
    const std::int64_t pictureHeight = reader.height();
    const BitGrid rows(pictureHeight, pictureWidth);
    const BitGrid columns(pictureWidth, pictureHeight);
    if (!rows || !columns) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(pictureWidth, pictureHeight)) return nullptr;

    const Area region = clipArea(reader, left, top, width, height, WholeWhen::negative);
    // From the picture's first row on, not the region's: compatibility.md#the-regions-rows-are-the-first-ones
    const Area read{region.left, 0, region.right, region.bottom - region.top};
    readRows(reader, read, [&](std::int64_t y, auto row, std::int64_t count) {
        markColored(rows.line(region.top + y), region.left, count, row);
    });
    transpose(rows, columns, pictureWidth, pictureHeight);

    for (std::int64_t y = 0; y < pictureHeight; ++y) fillPixels(writer, y, 0, pictureWidth, grayPixel(255));
    for (std::int64_t y = 0; y < pictureHeight; ++y) {
        for (std::int64_t i = 0; i < rows.wordsPerLine(); ++i) {
            while (const std::uint64_t word = rows.line(y)[i]) {
                const Area found =
                    grow(rows, columns, pictureWidth, pictureHeight, 64 * i + std::countr_zero(word), y);
                for (std::int64_t row = found.top; row < found.bottom; ++row) {
                    rows.clear(row, found.left, found.right);
                    fillPixels(writer, row, found.left, found.right, grayPixel(0));
                }
                for (std::int64_t x = found.left; x < found.right; ++x) {
                    columns.clear(x, found.top, found.bottom);
                }
            }
        }
    }
    return writer.RenderPictureWriter();
}

REALpictureStruct* ExtractColorRectangleMask2(REALpictureStruct* picture) {
    return ExtractColorRectangleMask(picture, 0, 0, -1, -1);
}
