#include "FindPicture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "MyMemory.h"
#include "Vectors.h"
#include "Walks.h"

// One pixel that differs is enough to reject a position. The search tests 128 neighbouring positions at once
// by probes, single pixels of the needle (the picture sought), and compares the whole needle at those that
// survive. It starts with one probe, the pixel that differed last. When that has cost as much as learning
// would, it
// 1. tries pixels of the needle, from a grid and those that differed so far, at up to 64 positions ahead, and
// 2. picks at most 12 of them as probes, which between them reject most.
// A match nearby is so found without learning, as when every match of a picture is asked for in turn.

namespace {

/// One pixel of the needle.
struct Probe {
    std::int64_t x;
    std::int64_t y;
    Pixel color;
};

/// The largest difference of a channel.
inline int difference(const Pixel& a, const Pixel& b) {
    return std::max(std::max(std::abs(a.red - b.red), std::abs(a.green - b.green)),
                    std::abs(a.blue - b.blue));
}

/// A picture as rows of words, [row][column]: where they are, or, of another format, copied.
class WordRows {
 public:
    using Row = PixelRow<PixelCodec<pixelXRGB>>;

    explicit WordRows(PictureReader& reader) : width(reader.width()), height(reader.height()) {
        if (readAs<Channels::color>(reader.format()) != pixelXRGB) {
            copy(reader);
        } else if (reader.format() != pixelGD) {
            first_ = reader.GetRow(0);
            distance_ = reader.rowBytes();
        } else {  // rows are apart
            rows_.reserve(static_cast<std::size_t>(height));
            for (std::int64_t y = 0; y < height; ++y) rows_.push_back(reader.GetRow(y));
        }
    }

    /// Are all rows there?
    bool complete() const {
        return rows_.empty() ? first_ != nullptr
                             : std::find(rows_.begin(), rows_.end(), nullptr) == rows_.end();
    }
    Row operator[](std::int64_t y) const {
        return {rows_.empty() ? first_ + y * distance_ : rows_[static_cast<std::size_t>(y)]};
    }
    Probe probe(std::int64_t x, std::int64_t y) const { return {x, y, (*this)[y][x]}; }

    const std::int64_t width;
    const std::int64_t height;

 private:
    void copy(PictureReader& reader) {
        distance_ = 4 * width;
        words_.reset(static_cast<std::uint8_t*>(AllocateMemory(distance_ * height)));
        first_ = words_.get();
        if (!first_) return;
        forEachRow(reader, [next = words_.get()](auto row, std::int64_t count) mutable {
            for (std::int64_t x = 0; x < count; ++x, next += 4) storeWord(next, colorWord(row[x]));
        });
    }

    const std::uint8_t* first_ = nullptr;
    std::int64_t distance_ = 0;
    std::vector<const std::uint8_t*> rows_;
    std::unique_ptr<std::uint8_t, MemoryDeleter> words_;
};

/// `count` numbers of 0..size-1, evenly spread, with both ends.
std::vector<std::int64_t> spread(std::int64_t size, std::int64_t count) {
    std::vector<std::int64_t> numbers;
    count = std::min(size, count);
    for (std::int64_t i = 0; i < count; ++i) numbers.push_back(count == 1 ? 0 : i * (size - 1) / (count - 1));
    return numbers;
}

class Search {
 public:
    /// The needle fits in `columns` columns and up to row `lastRow`; channels that differ by `limit` still
    /// match.
    Search(const WordRows& picture, const WordRows& needle, std::int64_t columns, std::int64_t lastRow,
           int limit)
        : picture_(picture),
          needle_(needle),
          columns_(columns),
          lastRow_(lastRow),
          limit_(limit),
          lastMismatch_(needle.probe(0, 0)) {}

    /// The first match in reading order from (x, y) on.
    bool run(std::int64_t x, std::int64_t y, RBInteger* foundX, RBInteger* foundY) {
        for (; y <= lastRow_; ++y, x = 0) {
            for (; x < columns_; x += chunk) {
                if (work_ > workBeforeLearning_) chooseProbes(y);
                const std::int64_t match = firstInChunk(x, y, std::min(chunk, columns_ - x));
                if (match < 0) continue;
                *foundX = match;
                *foundY = y;
                return true;
            }
        }
        return false;
    }

 private:
    static constexpr std::int64_t chunk = 128;   // positions tested at once
    static constexpr std::int64_t samples = 64;  // positions tried for the choice of probes, one bit each
    static constexpr std::size_t mostProbes = 12;
    static constexpr std::int64_t gridSide = 32;
    using Flags = std::uint32_t[chunk];  // 0: the position is rejected

    /// The column of the first match among `count` positions from (x, y) on, or -1.
    std::int64_t firstInChunk(std::int64_t x, std::int64_t y, std::int64_t count) {
        Flags left;
        std::fill_n(left, count, 1U);
        for (const Probe& probe : probes_) {
            if (!reject(left, probe, x, y, count)) return -1;
        }
        if (!reject(left, lastMismatch_, x, y, count)) return -1;
        for (std::int64_t i = 0; i < count; ++i) {
            if (!left[i] || rejectedAgain(x + i, y)) continue;
            if (matches(x + i, y)) return x + i;
            // What differs here often differs at the positions beside it as well.
            if (!reject(left, lastMismatch_, x, y, count)) return -1;
        }
        return -1;
    }

    /// Clears the flags of the positions that the probe rejects; false when none is left.
    bool reject(Flags& flags, const Probe& probe, std::int64_t x, std::int64_t y, std::int64_t count) {
        ++work_;
        const WordRows::Row row = picture_[y + probe.y];
        const std::int64_t begin = x + probe.x;
        std::uint32_t* const left = flags;
        return runOnBestCpu([=, color = probe.color, most = limit_] {
            std::uint32_t any = 0;
            std::int64_t i = 0;
            const auto wanted = reinterpret_cast<VectorBytes>(VectorWords{} + colorWord(color));
            const VectorBytes limits = VectorBytes{} + static_cast<std::uint8_t>(most);
            VectorWords anyOf{};
            for (; i + vectorPixels <= count; i += vectorPixels) {
                VectorBytes bytes;
                loadVector(bytes, row.bytes + 4 * (begin + i));
                setToDifference(bytes, wanted);
                setToLarger(bytes, limits);
                // Where every colour byte equals the limit, none was above it.
                const auto above = reinterpret_cast<VectorWords>(bytes ^ limits) & 0xFFFFFFU;
                VectorWords flagsHere;
                loadVector(flagsHere, left + i);
                flagsHere &= reinterpret_cast<VectorWords>(above == 0);
                storeVector(left + i, flagsHere);
                anyOf |= flagsHere;
            }
            for (std::int64_t lane = 0; lane < vectorPixels; ++lane) any |= anyOf[lane];
            for (; i < count; ++i) {
                left[i] = difference(row[begin + i], color) <= most ? left[i] : 0;
                any |= left[i];
            }
            return any != 0;
        });
    }

    /// Does the pixel of the picture that differed at the position compared last differ at this one too?
    bool rejectedAgain(std::int64_t x, std::int64_t y) const {
        const std::int64_t dx = mismatchX_ - x, dy = mismatchY_ - y;
        return dx >= 0 && dx < needle_.width && dy >= 0 && dy < needle_.height &&
               difference(picture_[mismatchY_][mismatchX_], needle_[dy][dx]) > limit_;
    }

    /// Compares the whole needle at one position; remembers the first pixel that differs.
    bool matches(std::int64_t x, std::int64_t y) {
        for (std::int64_t row = 0; row < needle_.height; ++row) {
            const std::int64_t column = firstMismatch(x, y + row, row);
            if (column < 0) continue;
            lastMismatch_ = needle_.probe(column, row);
            mismatches_[mismatchCount_++ % mismatches_.size()] = lastMismatch_;
            mismatchX_ = x + column;
            mismatchY_ = y + row;
            return false;
        }
        return true;
    }

    /// The first column of the needle's row that differs from the picture's row at (x, y), or -1.
    std::int64_t firstMismatch(std::int64_t x, std::int64_t y, std::int64_t needleRow) {
        constexpr std::int64_t stretch = 64;
        work_ += needle_.width / stretch + 1;
        const WordRows::Row mine = picture_[y];
        const auto theirs = needle_[needleRow];
        for (std::int64_t begin = 0; begin < needle_.width; begin += stretch) {
            const std::int64_t end = std::min(begin + stretch, needle_.width);
            const bool equal = runOnBestCpu([=, most = limit_] {
                int largest = 0;
                for (std::int64_t i = begin; i < end; ++i) {
                    largest = std::max(largest, difference(mine[x + i], theirs[i]));
                }
                return largest <= most;
            });
            if (equal) continue;
            for (std::int64_t i = begin; i < end; ++i) {
                if (difference(mine[x + i], theirs[i]) > limit_) return i;
            }
        }
        return -1;
    }

    /// Chooses the probes: each is the pixel that rejects most of the sampled positions that those before it
    /// left. When none is left, all count again.
    void chooseProbes(std::int64_t firstRow) {
        const auto differed = static_cast<std::ptrdiff_t>(std::min(mismatchCount_, mismatches_.size()));
        std::vector<Probe> candidates(mismatches_.begin(), mismatches_.begin() + differed);
        for (const std::int64_t y : spread(needle_.height, gridSide)) {
            for (const std::int64_t x : spread(needle_.width, gridSide)) {
                candidates.push_back(needle_.probe(x, y));
            }
        }
        probes_.clear();
        // A sample must stay small beside the search itself.
        const std::int64_t area = columns_ * (lastRow_ - firstRow + 1);
        const std::int64_t affordable = area / 4 / static_cast<std::int64_t>(candidates.size());
        const std::int64_t count = std::clamp<std::int64_t>(affordable, 1, samples);
        std::vector<std::uint64_t> passes(
            candidates.size());  // bit s: the candidate does not reject sample s
        for (std::int64_t s = 0; s < count; ++s) {
            const std::int64_t position = (2 * s + 1) * area / (2 * count);
            const std::int64_t x = position % columns_, y = firstRow + position / columns_;
            for (std::size_t i = 0; i < candidates.size(); ++i) {
                const Probe& probe = candidates[i];
                const bool passed = difference(picture_[y + probe.y][x + probe.x], probe.color) <= limit_;
                passes[i] |= std::uint64_t{passed} << s;
            }
        }
        work_ = 0;
        workBeforeLearning_ *= 4;  // again, should these probes let too much through
        const std::uint64_t all = ~std::uint64_t{0} >> (64 - count);
        for (std::uint64_t left = all; probes_.size() < mostProbes;) {
            const auto best = std::min_element(passes.begin(), passes.end(), [=](auto a, auto b) {
                return std::popcount(a & left) < std::popcount(b & left);
            });
            if ((*best & left) == left) {
                if (left == all) break;  // no candidate rejects anything
                left = all;
                continue;
            }
            probes_.push_back(candidates[static_cast<std::size_t>(best - passes.begin())]);
            left &= *best;
            *best = all;  // once is enough
            if (left == 0) left = all;
        }
    }

    const WordRows& picture_;
    const WordRows& needle_;
    std::int64_t columns_;
    std::int64_t lastRow_;
    int limit_;
    std::vector<Probe> probes_;
    // A test of 128 positions, or of 64 pixels, counts 1. Learning tries a pixel in about an eighth of that
    // time.
    std::int64_t work_ = 0;
    std::int64_t workBeforeLearning_ =
        std::min(needle_.width, gridSide) * std::min(needle_.height, gridSide) * samples / 8;
    // The pixels, of the needle and of the picture, that differed at the position compared last.
    Probe lastMismatch_;
    std::array<Probe, 256> mismatches_{};  // the latest
    std::size_t mismatchCount_ = 0;
    std::int64_t mismatchX_ = -1;
    std::int64_t mismatchY_ = -1;
};

}  // namespace

RBBoolean FindPictureQKZ(REALpictureStruct* picture, REALpictureStruct* sought, RBInteger* x, RBInteger* y,
                         RBInteger startX, RBInteger startY, RBInteger tolerance) {
    *x = 0;
    *y = 0;
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return false;
    std::int64_t firstX = std::max<std::int64_t>(startX, 0);
    std::int64_t firstY = std::max<std::int64_t>(startY, 0);
    if (firstX >= reader.width()) {
        firstX = 0;
        if (firstY < std::numeric_limits<std::int64_t>::max()) ++firstY;
    }
    if (firstY >= reader.height()) return false;
    PictureReader soughtReader;
    if (!soughtReader.GetPictureReader(sought)) return false;
    const auto limit = static_cast<std::int32_t>(tolerance);
    const std::int64_t columns = reader.width() - soughtReader.width() + 1;
    const std::int64_t lastY = reader.height() - soughtReader.height();
    if (limit <= 0 || columns < 1 || firstY > lastY) return false;
    if (soughtReader.width() < 1 || soughtReader.height() < 1) return false;

    const WordRows self(reader), needle(soughtReader);
    if (!self.complete() || !needle.complete()) return false;
    return Search(self, needle, columns, lastY, std::min(limit, 256) - 1).run(firstX, firstY, x, y);
}
