#include "FindPicture.h"

#include <bit>
#include <cstdlib>
#include <limits>
#include <vector>

#include "rbFrame.h"
#include "rbVector.h"

// A candidate place is refuted by any one pixel, so the search asks first at the pixels of the sought picture
// that refute most. Which these are is learnt from a sample of places. They are asked for many places at
// once; only what is left is compared whole.

namespace {

/// One pixel of the sought picture.
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

/// A picture's pixels in reach by column and row.
template <class Source>
struct Rows {
    std::vector<const std::uint8_t*> first;

    frame::SourceRow<Source> operator[](std::int64_t y) const { return {first[static_cast<std::size_t>(y)]}; }
};

/// The addresses of all rows; none when one is missing.
std::vector<const std::uint8_t*> rowAddresses(PictureReader& reader) {
    std::vector<const std::uint8_t*> rows;
    rows.reserve(static_cast<std::size_t>(reader.Height()));
    for (std::int64_t y = 0; y < reader.Height(); ++y) {
        const std::uint8_t* const row = reader.GetRow(y);
        if (!row) return {};
        rows.push_back(row);
    }
    return rows;
}

/// The sought picture as words of one format, without padding, whatever its own is.
struct Needle {
    std::int64_t width;
    std::int64_t height;
    std::vector<std::uint32_t> words;

    explicit Needle(PictureReader& reader) : width(reader.Width()), height(reader.Height()) {
        words.reserve(static_cast<std::size_t>(width * height));
        ForEachRow(reader, [&](auto row, std::int64_t count) {
            for (std::int64_t x = 0; x < count; ++x) words.push_back(pixel::wordOf(row[x]));
        });
        words.resize(static_cast<std::size_t>(width * height));
    }

    frame::SourceRow<PixelCodec<pixelXRGB>> operator[](std::int64_t y) const {
        return {reinterpret_cast<const std::uint8_t*>(words.data() + y * width)};
    }
    Probe probe(std::int64_t x, std::int64_t y) const { return {x, y, (*this)[y][x]}; }
};

/// `count` numbers of 0..size-1, evenly spread, with both ends.
std::vector<std::int64_t> spread(std::int64_t size, std::int64_t count) {
    std::vector<std::int64_t> numbers;
    count = std::min(size, count);
    for (std::int64_t i = 0; i < count; ++i) numbers.push_back(count == 1 ? 0 : i * (size - 1) / (count - 1));
    return numbers;
}

template <class Source>
class Search {
 public:
    Search(Rows<Source> rows, const Needle& sought, std::int64_t columns, std::int64_t lastRow,
           int mostDifference)
        : self(std::move(rows)),
          needle(sought),
          places(columns),
          last(lastRow),
          limit(mostDifference),
          latest(sought.probe(0, 0)) {}

    /// The first match in reading order from (x, y) on.
    bool run(std::int64_t x, std::int64_t y, RBInteger* foundX, RBInteger* foundY) {
        chooseProbes(y);
        for (; y <= last; ++y, x = 0) {
            for (; x < places; x += chunk) {
                const std::int64_t match = firstInChunk(x, y, std::min(chunk, places - x));
                if (match < 0) continue;
                *foundX = match;
                *foundY = y;
                return true;
            }
        }
        return false;
    }

 private:
    static constexpr std::int64_t chunk = 128;   // places asked at once
    static constexpr std::int64_t samples = 64;  // sampled places, one bit each
    static constexpr std::size_t mostProbes = 12;
    using Flags = std::uint32_t[chunk];  // not 0: the place is not refuted

    /// The column of the first match among `count` places from (x, y) on, or -1.
    std::int64_t firstInChunk(std::int64_t x, std::int64_t y, std::int64_t count) {
        Flags left;
        std::fill_n(left, count, 1U);
        for (const Probe& probe : probes) {
            if (!ask(left, probe, x, y, count)) return -1;
        }
        if (!ask(left, latest, x, y, count)) return -1;
        for (std::int64_t i = 0; i < count; ++i) {
            if (!left[i] || refutedAgain(x + i, y)) continue;
            if (matches(x + i, y)) return x + i;
            // What refuted this place often refutes those beside it as well.
            if (!ask(left, latest, x, y, count)) return -1;
        }
        return -1;
    }

    /// Clears the flags of the places that the probe refutes; false when none is left.
    bool ask(Flags& flags, const Probe& probe, std::int64_t x, std::int64_t y, std::int64_t count) const {
        const frame::SourceRow<Source> row = self[y + probe.y];
        const std::int64_t begin = x + probe.x;
        std::uint32_t* const left = flags;
        return RunOnBestCpu([=, color = probe.color, most = limit] {
            std::uint32_t any = 0;
            std::int64_t i = 0;
            if constexpr (Source::bytes == 4) {
                const auto wanted = reinterpret_cast<VectorBytes>(VectorWords{} + pixel::wordOf(color));
                const VectorBytes limits = VectorBytes{} + static_cast<std::uint8_t>(most);
                VectorWords anyOf{};
                for (; i + vectorPixels <= count; i += vectorPixels) {
                    VectorBytes bytes;
                    LoadVector(bytes, row.bytes + 4 * (begin + i));
                    SetToDifference(bytes, wanted);
                    SetToLarger(bytes, limits);
                    // Where every colour byte is the limit, none was above it.
                    const auto above = reinterpret_cast<VectorWords>(bytes ^ limits) & 0xFFFFFFU;
                    VectorWords flagsHere;
                    LoadVector(flagsHere, left + i);
                    flagsHere &= reinterpret_cast<VectorWords>(above == 0);
                    StoreVector(left + i, flagsHere);
                    anyOf |= flagsHere;
                }
                for (std::int64_t lane = 0; lane < vectorPixels; ++lane) any |= anyOf[lane];
            }
            for (; i < count; ++i) {
                left[i] = difference(row[begin + i], color) <= most ? left[i] : 0;
                any |= left[i];
            }
            return any != 0;
        });
    }

    /// Does the very pixel of the searched picture that refuted the last place refute this one?
    bool refutedAgain(std::int64_t x, std::int64_t y) const {
        const std::int64_t dx = refutedX - x, dy = refutedY - y;
        return dx >= 0 && dx < needle.width && dy >= 0 && dy < needle.height &&
               difference(self[refutedY][refutedX], needle[dy][dx]) > limit;
    }

    /// Compares the whole picture at one place; keeps what refuted it.
    bool matches(std::int64_t x, std::int64_t y) {
        for (std::int64_t row = 0; row < needle.height; ++row) {
            const std::int64_t column = firstMismatch(x, y + row, row);
            if (column < 0) continue;
            latest = needle.probe(column, row);
            refutedX = x + column;
            refutedY = y + row;
            return false;
        }
        return true;
    }

    /// The first column of the sought row that differs from the picture's row at (x, y), or -1.
    std::int64_t firstMismatch(std::int64_t x, std::int64_t y, std::int64_t soughtRow) const {
        constexpr std::int64_t stretch = 64;
        const frame::SourceRow<Source> mine = self[y];
        const auto theirs = needle[soughtRow];
        for (std::int64_t begin = 0; begin < needle.width; begin += stretch) {
            const std::int64_t end = std::min(begin + stretch, needle.width);
            const bool equal = RunOnBestCpu([=, most = limit] {
                int largest = 0;
                for (std::int64_t i = begin; i < end; ++i) {
                    largest = std::max(largest, difference(mine[x + i], theirs[i]));
                }
                return largest <= most;
            });
            if (equal) continue;
            for (std::int64_t i = begin; i < end; ++i) {
                if (difference(mine[x + i], theirs[i]) > limit) return i;
            }
        }
        return -1;
    }

    /// Chooses the probes, the most refuting first: each is the pixel that refutes most of the sampled places
    /// that those before it left, until none is left, and then anew.
    void chooseProbes(std::int64_t firstRow) {
        std::vector<Probe> candidates;
        for (const std::int64_t y : spread(needle.height, 32)) {
            for (const std::int64_t x : spread(needle.width, 32)) candidates.push_back(needle.probe(x, y));
        }
        // A sample must stay small beside the search itself.
        const std::int64_t area = places * (last - firstRow + 1);
        const std::int64_t affordable = area / 4 / static_cast<std::int64_t>(candidates.size());
        const std::int64_t count = std::clamp<std::int64_t>(affordable, 1, samples);
        std::vector<std::uint64_t> passes(candidates.size());  // bit s: the candidate does not refute place s
        for (std::int64_t s = 0; s < count; ++s) {
            const std::int64_t place = (2 * s + 1) * area / (2 * count);
            const std::int64_t x = place % places, y = firstRow + place / places;
            for (std::size_t i = 0; i < candidates.size(); ++i) {
                const Probe& probe = candidates[i];
                const bool passed = difference(self[y + probe.y][x + probe.x], probe.color) <= limit;
                passes[i] |= std::uint64_t{passed} << s;
            }
        }
        const std::uint64_t all = ~std::uint64_t{0} >> (64 - count);
        for (std::uint64_t left = all; probes.size() < mostProbes;) {
            const auto best = std::min_element(passes.begin(), passes.end(), [=](auto a, auto b) {
                return std::popcount(a & left) < std::popcount(b & left);
            });
            if ((*best & left) == left) {
                if (left == all) break;  // no candidate refutes anything
                left = all;
                continue;
            }
            probes.push_back(candidates[static_cast<std::size_t>(best - passes.begin())]);
            left &= *best;
            *best = all;  // once is enough
            if (left == 0) left = all;
        }
    }

    Rows<Source> self;
    const Needle& needle;
    std::int64_t places;  // columns in which the sought picture fits
    std::int64_t last;    // last row in which it fits
    int limit;            // largest difference of a channel that matches
    std::vector<Probe> probes;
    Probe latest;                // the pixel sought that refuted the place compared last
    std::int64_t refutedX = -1;  // and that of the picture
    std::int64_t refutedY = -1;
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
    if (firstX >= reader.Width()) {
        firstX = 0;
        if (firstY < std::numeric_limits<std::int64_t>::max()) ++firstY;
    }
    if (firstY >= reader.Height()) return false;
    PictureReader soughtReader;
    if (!soughtReader.GetPictureReader(sought)) return false;
    const auto limit = static_cast<std::int32_t>(tolerance);
    const std::int64_t places = reader.Width() - soughtReader.Width() + 1;
    const std::int64_t lastY = reader.Height() - soughtReader.Height();
    if (limit <= 0 || places < 1 || firstY > lastY) return false;
    if (soughtReader.Width() < 1 || soughtReader.Height() < 1) return false;

    const std::vector<const std::uint8_t*> rows = rowAddresses(reader);
    if (rows.empty() || rowAddresses(soughtReader).empty()) return false;
    const Needle needle(soughtReader);
    bool found = false;
    frame::visitSource<Channels::color>(reader.Format(), [&]<class Source>(Source) {
        Search<Source> search({rows}, needle, places, lastY, std::min(limit, 256) - 1);
        found = search.run(firstX, firstY, x, y);
    });
    return found;
}
