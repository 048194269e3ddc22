#include "ExtractColorRectangleMaskQKZ.h"

#include <bit>
#include <cstring>
#include <memory>

#include "MyMemory.h"
#include "Walks.h"

// A rectangle grows column by column and row by row, so each of its columns and of its rows holds a coloured
// pixel that no other rectangle has: the widths and heights of all rectangles together are at most twice the
// area. What is done for a rectangle takes a few steps for each of its columns and rows, never for each of
// its pixels.

namespace {

template <class Value>
using Cleared = std::unique_ptr<Value[], MemoryDeleter>;

template <class Value>
Cleared<Value> allocateCleared(std::int64_t count) {
    return Cleared<Value>(
        static_cast<Value*>(AllocateClearMemory(count * static_cast<std::int64_t>(sizeof(Value)))));
}

using Word = std::uint64_t;
constexpr std::int64_t wordBits = 64;

/// The bits begin..end-1 of a word, where begin < end <= 64.
constexpr Word bitsOf(std::int64_t begin, std::int64_t end) {
    return ~Word{0} << begin & ~Word{0} >> (wordBits - end);
}

/// The first set bit of begin..end-1, or -1; begin may be end.
std::int64_t firstBit(const Word* words, std::int64_t begin, std::int64_t end) {
    while (begin < end) {
        const std::int64_t index = begin / wordBits, start = index * wordBits;
        const Word word = words[index] & bitsOf(begin - start, std::min(end - start, wordBits));
        if (word != 0) return start + std::countr_zero(word);
        begin = start + wordBits;
    }
    return -1;
}

/// Lines of bits, with a summary in which each bit tells whether one of a line's words has any.
class BitGrid {
 public:
    BitGrid(std::int64_t lines, std::int64_t bits)
        : wordsPerLine_((bits + wordBits - 1) / wordBits),
          summaryPerLine_((wordsPerLine_ + wordBits - 1) / wordBits),
          words_(allocateCleared<Word>(lines * wordsPerLine_)),
          summary_(allocateCleared<Word>(lines * summaryPerLine_)) {}

    explicit operator bool() const { return words_ && summary_; }
    std::int64_t wordsPerLine() const { return wordsPerLine_; }
    Word word(std::int64_t line, std::int64_t index) const { return wordAt(line, index); }
    bool bit(std::int64_t line, std::int64_t at) const {
        return word(line, at / wordBits) >> (at % wordBits) & 1;
    }

    /// Sets bits; the index may lie behind the line when there are none to set.
    void add(std::int64_t line, std::int64_t index, Word bits) {
        if (bits == 0) return;
        wordAt(line, index) |= bits;
        summaryOf(line, index) |= Word{1} << (index % wordBits);
    }
    void remove(std::int64_t line, std::int64_t index, Word bits) {
        Word& word = wordAt(line, index);
        word &= ~bits;
        if (word == 0) summaryOf(line, index) &= ~(Word{1} << (index % wordBits));
    }

    /// The first word at or behind `index` that has bits, or -1.
    std::int64_t nextWord(std::int64_t line, std::int64_t index) const {
        return firstBit(summary_.get() + line * summaryPerLine_, index, wordsPerLine_);
    }
    /// The first set bit of begin..end-1, or -1.
    std::int64_t first(std::int64_t line, std::int64_t begin, std::int64_t end) const {
        std::int64_t index = begin / wordBits;
        Word mask = ~Word{0} << (begin % wordBits);
        while (index >= 0 && index * wordBits < end) {
            if (const Word found = word(line, index) & mask) {
                const std::int64_t at = index * wordBits + std::countr_zero(found);
                return at < end ? at : -1;
            }
            index = nextWord(line, index + 1);
            mask = ~Word{0};
        }
        return -1;
    }
    void clear(std::int64_t line, std::int64_t begin, std::int64_t end) {
        for (std::int64_t at = begin; (at = first(line, at, end)) >= 0;) {
            const std::int64_t index = at / wordBits, start = index * wordBits;
            remove(line, index, bitsOf(at - start, std::min(end - start, wordBits)));
        }
    }

 private:
    Word& wordAt(std::int64_t line, std::int64_t index) const {
        return *(words_.get() + line * wordsPerLine_ + index);
    }
    Word& summaryOf(std::int64_t line, std::int64_t index) const {
        return *(summary_.get() + line * summaryPerLine_ + index / wordBits);
    }

    std::int64_t wordsPerLine_;
    std::int64_t summaryPerLine_;
    Cleared<Word> words_;
    Cleared<Word> summary_;
};

/// Sets bits begin..begin+count-1 of a line where the pixels are not gray.
template <class Row>
void markColored(BitGrid& grid, std::int64_t line, std::int64_t begin, std::int64_t count, Row row) {
    constexpr std::int64_t chunk = 1024;
    alignas(8) std::uint8_t colored[chunk];
    for (std::int64_t start = 0; start < count; start += chunk) {
        const std::int64_t pixels = std::min(chunk, count - start);
        std::uint8_t* const flags = colored;
        runOnBestCpu([=] {
            for (std::int64_t x = 0; x < pixels; ++x) flags[x] = isGrayPixel(row[start + x]) ? 0 : 1;
        });
        std::fill(flags + pixels, flags + (pixels + wordBits - 1) / wordBits * wordBits, std::uint8_t{0});
        for (std::int64_t x = 0; x < pixels; x += wordBits) {
            Word bits = 0;
            for (std::int64_t i = 0; i < 8; ++i) {
                Word eight;  // flags, which one multiplication gathers in the top byte
                std::memcpy(&eight, flags + x + 8 * i, sizeof eight);
                bits |= eight * 0x0102040810204080 >> 56 << (8 * i);
            }
            const std::int64_t at = begin + start + x, shift = at % wordBits;
            grid.add(line, at / wordBits, bits << shift);
            if (shift != 0) grid.add(line, at / wordBits + 1, bits >> (wordBits - shift));
        }
    }
}

/// The transposed 64 x 64 bits, in place: swaps ever smaller blocks off the diagonal.
void transpose(Word (&block)[wordBits]) {
    Word mask = 0x00000000FFFFFFFF;
    for (int size = 32; size != 0; size /= 2, mask ^= mask << size) {
        for (int i = 0; i < wordBits; i = (i + size + 1) & ~size) {
            const Word swapped = ((block[i] >> size) ^ block[i + size]) & mask;
            block[i] ^= swapped << size;
            block[i + size] ^= swapped;
        }
    }
}

void transpose(const BitGrid& rows, BitGrid& columns, std::int64_t width, std::int64_t height) {
    for (std::int64_t top = 0; top < height; top += wordBits) {
        for (std::int64_t left = 0; left < width; left += wordBits) {
            Word block[wordBits]{};
            for (std::int64_t y = top; y < std::min(top + wordBits, height); ++y) {
                block[y - top] = rows.word(y, left / wordBits);
            }
            transpose(block);
            for (std::int64_t x = left; x < std::min(left + wordBits, width); ++x) {
                columns.add(x, top / wordBits, block[x - left]);
            }
        }
    }
}

/// The coloured pixels that are left, and the rectangles around them in reading order of their first pixels.
class Rectangles {
 public:
    Rectangles(BitGrid& rows, BitGrid& columns, std::int64_t width, std::int64_t height)
        : rows_(rows), columns_(columns), width_(width), height_(height) {}

    /// Takes every rectangle whose first pixel is in row y, with all its pixels; the rows above must have
    /// been taken. bottoms[x] becomes at least the end of the rectangles that cover column x.
    void take(std::int64_t y, std::int32_t* bottoms) {
        for (std::int64_t index = 0; (index = rows_.nextWord(y, index)) >= 0;) {
            const Word word = rows_.word(y, index);
            const Word beside = index + 1 < rows_.wordsPerLine() ? rows_.word(y, index + 1) << 63 : 0;
            const Word below = y + 1 < height_ ? rows_.word(y + 1, index) : 0;
            // Pixels without a neighbour are rectangles already: those before the first pixel that has one.
            const Word joined = word & (word << 1 | word >> 1 | beside | below);
            if (const Word alone = word & ~joined & ((joined & -joined) - 1)) {
                rows_.remove(y, index, alone);
                for (Word left = alone; left != 0; left &= left - 1) {
                    std::int32_t& bottom = bottoms[index * wordBits + std::countr_zero(left)];
                    bottom = std::max(bottom, static_cast<std::int32_t>(y + 1));
                }
                continue;
            }
            const Area found = grown(index * wordBits + std::countr_zero(word), y);
            for (std::int64_t row = found.top; row < found.bottom; ++row)
                rows_.clear(row, found.left, found.right);
            for (std::int64_t x = found.left; x < found.right; ++x) {
                bottoms[x] = std::max(bottoms[x], static_cast<std::int32_t>(found.bottom));
            }
        }
    }

 private:
    /// Is a pixel left in the column? The rows are cleared as rectangles are taken, the columns only here.
    bool inColumn(std::int64_t x, std::int64_t top, std::int64_t bottom) {
        for (std::int64_t y = top; (y = columns_.first(x, y, bottom)) >= 0;) {
            if (rows_.bit(y, x)) return true;
            columns_.remove(x, y / wordBits, Word{1} << (y % wordBits));
        }
        return false;
    }

    /// The rectangle around the first pixel that is left in reading order, grown until no coloured pixel
    /// touches a side. The order of growing does not change the result, and no row above can hold a coloured
    /// pixel.
    Area grown(std::int64_t x, std::int64_t y) {
        Area r{x, y, x + 1, y + 1};
        for (bool grew = true; grew;) {
            const Area before = r;
            while (r.right < width_ && inColumn(r.right, r.top, r.bottom)) ++r.right;
            while (r.left > 0 && inColumn(r.left - 1, r.top, r.bottom)) --r.left;
            while (r.bottom < height_ && rows_.first(r.bottom, r.left, r.right) >= 0) ++r.bottom;
            grew = r.left != before.left || r.right != before.right || r.bottom != before.bottom;
        }
        return r;
    }

    BitGrid& rows_;
    BitGrid& columns_;
    std::int64_t width_;
    std::int64_t height_;
};

}  // namespace

REALpictureStruct* ExtractColorRectangleMask(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                             RBInteger width, RBInteger height) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    const std::int64_t pictureWidth = reader.width();
    const std::int64_t pictureHeight = reader.height();
    BitGrid rows(pictureHeight, pictureWidth);
    BitGrid columns(pictureWidth, pictureHeight);
    const Cleared<std::int32_t> memory = allocateCleared<std::int32_t>(pictureWidth);
    if (!rows || !columns || !memory) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(pictureWidth, pictureHeight)) return nullptr;

    const Area region = clipArea(reader, left, top, width, height, WholeWhen::negative);
    // From the picture's first row on, not the region's: compatibility.md#the-regions-rows-are-the-first-ones
    const Area read{region.left, 0, region.right, region.bottom - region.top};
    readRows(reader, read, [&](std::int64_t y, auto row, std::int64_t count) {
        markColored(rows, region.top + y, region.left, count, row);
    });
    transpose(rows, columns, pictureWidth, pictureHeight);

    Rectangles rectangles(rows, columns, pictureWidth, pictureHeight);
    std::int32_t* const bottoms = memory.get();
    for (std::int64_t y = 0; y < pictureHeight; ++y) {
        rectangles.take(y, bottoms);
        paintRow(writer, y, [=, row = static_cast<std::int32_t>(y)](std::int64_t x) {
            return grayPixel(bottoms[x] > row ? 0 : 255);
        });
    }
    return writer.RenderPictureWriter();
}

REALpictureStruct* ExtractColorRectangleMask2(REALpictureStruct* picture) {
    return ExtractColorRectangleMask(picture, 0, 0, -1, -1);
}
