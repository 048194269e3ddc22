// The walks over pictures, each written once: an operation brings its formula and nothing else.
//
// A formula is a function object over pixels, taken by value: capture by value, never by reference.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "rbCpu.h"
#include "rbPixel.h"
#include "rbpicturereader.h"

/// A half-open range of columns or rows.
struct Span {
    std::int64_t begin;
    std::int64_t end;
};

/// Where column x of an area starts in a row. At byte 4 * x, the factor being 4 for every pixel format, the
/// three-byte one included: most rectangle methods have it so, deliberately. Or at the pixel itself.
enum class ColumnStart { fourBytes, pixel };

/// Columns left..right-1 and rows top..bottom-1, within a picture; empty when an end is not above its start.
struct Area {
    std::int64_t left;
    std::int64_t top;
    std::int64_t right;
    std::int64_t bottom;
    ColumnStart columnStart = ColumnStart::fourBytes;
};

/// Which lengths of a rectangle argument stand for the whole picture's.
enum class WholeWhen { negative, notPositive };

/// The part of `size` that start and length cover. The end is computed from the start as given, before the
/// start is limited to 0; sums beyond 64 bits saturate.
Span ClipSpan(std::int64_t start, std::int64_t length, std::int64_t size, WholeWhen whole);

/// The same both ways, over an editor's picture.
Area ClipArea(const PictureEditor& editor, std::int64_t left, std::int64_t top, std::int64_t width,
              std::int64_t height, WholeWhen whole);

inline Area WholeArea(const PictureEditor& editor) { return {0, 0, editor.Width(), editor.Height()}; }

inline bool SameSize(const PictureEditor& a, const PictureEditor& b) {
    return a.Width() == b.Width() && a.Height() == b.Height();
}

/// What is read of a source pixel, and what is written of a result: the colours only (a result is then
/// opaque), or colours and alpha.
enum class Channels { color, colorAndAlpha };

namespace frame {

template <PixelFormat format>
using Codec = PixelCodec<format>;

/// The codec of a format of words. They share their colour bits: where only colours count, one serves all.
template <Channels channels, PixelFormat format>
using WordCodec = Codec<(channels == Channels::colorAndAlpha ? format : pixelXRGB)>;

/// Calls `visitor` with the codec that reads the format.
template <Channels channels, class Visitor>
void visitSource(std::uint32_t format, Visitor visitor) {
    switch (format) {
        case pixelGD:
            return visitor(WordCodec<channels, pixelGD>{});
        case pixelARGB:
            return visitor(WordCodec<channels, pixelARGB>{});
        case pixelXRGB:
            return visitor(Codec<pixelXRGB>{});
        case pixelRGB:
            return visitor(Codec<pixelRGB>{});
        default:
            return visitor(Codec<pixelUnknown>{});
    }
}

/// Calls `visitor` with the codec that writes the format; not at all for an unknown one.
template <Channels channels, class Visitor>
void visitTarget(std::uint32_t format, Visitor visitor) {
    switch (format) {
        case pixelGD:
            return visitor(Codec<pixelGD>{});
        case pixelARGB:
            return visitor(WordCodec<channels, pixelARGB>{});
        case pixelXRGB:
            return visitor(Codec<pixelXRGB>{});
        case pixelRGB:
            return visitor(Codec<pixelRGB>{});
        default:
            return;
    }
}

/// Calls `visitor` with the codecs that read all the formats.
template <Channels channels, class Visitor>
void visitSources(Visitor visitor) {
    visitor();
}

template <Channels channels, class Visitor, class... Formats>
void visitSources(Visitor visitor, std::uint32_t format, Formats... others) {
    visitSource<channels>(format, [&](auto codec) {
        visitSources<channels>([&](auto... codecs) { visitor(codec, codecs...); }, others...);
    });
}

/// A row's pixels, read by a codec.
template <class Source>
struct SourceRow {
    const std::uint8_t* bytes;
    Pixel operator[](std::int64_t x) const { return Source::load(bytes + x * Source::bytes); }
};

/// One row of results. The target may be a source itself, pixel upon pixel; it never overlaps one otherwise.
template <Channels written, class Target, class Formula, class... Sources>
void mapRow(std::uint8_t* target, std::int64_t count, Formula formula, SourceRow<Sources>... sources) {
    const auto loop = [=] {
        QKZ_INDEPENDENT_ITERATIONS
        for (std::int64_t x = 0; x < count; ++x) {
            const Pixel result = formula(sources[x]...);
            if constexpr (written == Channels::colorAndAlpha) {
                Target::store(target + x * Target::bytes, result);
            } else {
                Target::storeOpaque(target + x * Target::bytes, result);
            }
        }
    };
    if constexpr (Target::bytes == 4 &&
                  requires { formula.mapPacked(target, sources.bytes..., count, Target::opaqueBits); } &&
                  ((Sources::bytes == 3) && ...)) {
        formula.mapPacked(target, sources.bytes..., count, Target::opaqueBits);
    } else if constexpr (Target::bytes != 4 || ((Sources::bytes != 4) || ...)) {
        loop();  // pixels of three bytes do not gain from wider vectors
    } else if constexpr (requires {
                             formula.mapWords(target, sources.bytes..., count, Target::opaqueBits);
                         }) {
        formula.mapWords(target, sources.bytes..., count, Target::opaqueBits);
    } else {
        RunOnBestCpu(loop);
    }
}

template <class Editor>
std::int64_t startByte(const Editor& editor, const Area& area) {
    return area.left * (area.columnStart == ColumnStart::pixel ? editor.BytesPerPixel() : 4);
}

/// The largest measure of the pixels begin..end-1, or 0; by the measure's own loop where it has one for
/// words.
template <class Source, class Measure>
int largest(SourceRow<Source> row, std::int64_t begin, std::int64_t end, Measure measure) {
    if constexpr (Source::bytes == 4 && requires { measure.ofWords(row.bytes, end); }) {
        return measure.ofWords(row.bytes + 4 * begin, end - begin);
    } else {
        int most = 0;
        for (std::int64_t x = begin; x < end; ++x) most = std::max(most, measure(row[x]));
        return most;
    }
}

/// Where the walk over an area starts in the editor's current row.
template <class Editor>
std::uint8_t* rowStart(const Editor& editor, const Area& area) {
    return editor.CurrentRow() + startByte(editor, area);
}

/// How many of the area's pixels the editor's storage holds in the current row.
template <class Editor>
std::int64_t pixelsHeld(const Editor& editor, const Area& area) {
    const std::int64_t inStorage = (editor.BytesLeft() - startByte(editor, area)) / editor.BytesPerPixel();
    return std::min({area.right - area.left, editor.Width() - area.left, inStorage});
}

}  // namespace frame

/// Goes through an area's rows with all editors in step and calls `work(y, count)` for each row that they all
/// have, where count pixels from the area's left on lie within every storage. A `work` that returns a bool
/// ends the walk with false.
template <class Work, class... Editors>
void WalkRows(const Area& area, Work work, Editors&... editors) {
    if (area.top >= area.bottom || area.left >= area.right) return;
    for (std::int64_t y = 0; y < area.top; ++y) (editors.AddPixelRow(), ...);
    for (std::int64_t y = area.top; y < area.bottom; ++y) {
        const std::int64_t count = std::min({frame::pixelsHeld(editors, area)...});
        if (count > 0 && (editors.CurrentRow() && ...)) {
            if constexpr (std::is_void_v<decltype(work(y, count))>) {
                work(y, count);
            } else if (!work(y, count)) {
                return;
            }
        }
        (editors.AddPixelRow(), ...);
    }
}

/// Writes formula(source pixels...) over an area, where readers and writer are at their first row. A formula
/// may bring loops of its own to words from words, `mapWords(target, source, count, opaqueBits)`, or from
/// pixels of three bytes, `mapPacked`.
template <Channels read = Channels::color, Channels written = read, class Writer, class Formula,
          class... Readers>
void MapPixels(Writer& writer, const Area& area, Formula formula, Readers&... readers) {
    using namespace frame;
    visitTarget<written>(writer.Format(), [&]<class Target>(Target) {
        visitSources<read>(
            [&]<class... Sources>(Sources...) {
                WalkRows(
                    area,
                    [&](std::int64_t, std::int64_t count) {
                        mapRow<written, Target>(rowStart(writer, area), count, formula,
                                                SourceRow<Sources>{rowStart(readers, area)}...);
                    },
                    writer, readers...);
            },
            readers.Format()...);
    });
}

/// A new picture like the source (size, resolution, alpha channel), every pixel of it formula(source pixel)
/// and opaque. Null when the source cannot be read or the picture cannot be made.
template <class Formula>
REALpictureStruct* MapPicture(REALpictureStruct* source, Formula formula) {
    PictureReader reader;
    if (!reader.GetPictureReader(source)) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader)) return nullptr;
    MapPixels(writer, WholeArea(reader), formula, reader);
    return writer.RenderPictureWriter();
}

/// A new opaque picture of the first reader's size, every pixel of it formula(source pixels...). Null when it
/// cannot be made.
template <Channels read = Channels::color, class Formula, class... Readers>
REALpictureStruct* MapReaders(Formula formula, PictureReader& first, Readers&... others) {
    PictureWriter writer;
    if (!writer.NewPictureWriter(first.Width(), first.Height())) return nullptr;
    MapPixels<read, Channels::color>(writer, WholeArea(first), formula, first, others...);
    return writer.RenderPictureWriter();
}

/// Calls `work(row, width)` for each of the picture's rows, top to bottom; row[x] is a pixel.
template <class Work>
void ForEachRow(PictureReader& reader, Work work) {
    frame::visitSource<Channels::color>(reader.Format(), [&]<class Source>(Source) {
        for (std::int64_t y = 0; y < reader.Height(); ++y) {
            if (const std::uint8_t* const row = reader.GetRow(y)) {
                work(frame::SourceRow<Source>{row}, reader.Width());
            }
        }
    });
}

/// The number of pixels for which `counts(pixel)` holds.
template <class Predicate>
std::int64_t CountPixels(PictureReader& reader, Predicate counts) {
    std::int64_t total = 0;
    ForEachRow(reader, [&](auto row, std::int64_t width) {
        total += RunOnBestCpu([=] {
            int count = 0;
            for (std::int64_t x = 0; x < width; ++x) count += counts(row[x]) ? 1 : 0;
            return count;
        });
    });
    return total;
}

/// Is `measure(pixel)`, an int, at most `limit` for every pixel inside the rectangle? A negative width or
/// height means the picture's. True for an empty rectangle, false when the picture cannot be read. Stops soon
/// after the first pixel beyond. A measure may bring `ofWords(bytes, count)`: the largest of a row of words.
template <class Measure>
bool AllWithin(REALpictureStruct* picture, std::int64_t left, std::int64_t top, std::int64_t width,
               std::int64_t height, int limit, Measure measure) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return false;
    const Area area = ClipArea(reader, left, top, width, height, WholeWhen::negative);
    bool all = true;
    frame::visitSource<Channels::color>(reader.Format(), [&]<class Source>(Source) {
        WalkRows(
            area,
            [&](std::int64_t, std::int64_t count) {
                constexpr std::int64_t stretch = 4096;  // pixels between looks at the outcome
                const frame::SourceRow<Source> row{frame::rowStart(reader, area)};
                for (std::int64_t begin = 0; all && begin < count; begin += stretch) {
                    const std::int64_t end = std::min(begin + stretch, count);
                    const int largest =
                        RunOnBestCpu([=] { return frame::largest(row, begin, end, measure); });
                    all = largest <= limit;
                }
                return all;
            },
            reader);
    });
    return all;
}

/// Fills columns begin..end-1 of row y with an opaque colour, as far as the picture has them.
void FillPixels(PictureWriter& writer, std::int64_t y, std::int64_t begin, std::int64_t end, Pixel color);
