// The walks over pictures, each written once: an operation brings its formula and nothing else.
//
// A formula is a function object from pixels to a pixel (or a number), taken by value: capture by value,
// never by reference. One that has a loop of its own for whole rows derives from one of the kinds below.
#pragma once

#include <algorithm>
#include <concepts>
#include <type_traits>

#include "Area.h"
#include "Codecs.h"
#include "CpuLevel.h"

/// A formula with `mapWords(target, sources..., count, opaqueBits)`: rows of words to a row of opaque words.
struct MapsWords {};
/// A formula with `mapPacked(target, source, count, opaqueBits)`: pixels of three bytes to opaque words.
struct MapsPacked {};
/// A measure with `largestOfWords(source, count)`: the largest of a row of words.
struct MeasuresWords {};

/// A formula from colours as words (colorWord) to one, where it can be told so: fewer instructions than
/// channels taken apart, and one load of each word where GCC makes one for each channel.
template <class Formula>
struct OnColorWords {
    Formula formula;
    template <std::same_as<Pixel>... Pixels>
    Pixel operator()(const Pixels&... pixels) const {
        return pixelOf(formula(colorWord(pixels)...));
    }
};
template <class Formula>
OnColorWords(Formula) -> OnColorWords<Formula>;  // Clang 14 cannot tell by itself

/// A row's pixels, read by a codec.
template <class Codec>
struct PixelRow {
    const std::uint8_t* bytes;
    [[no_unique_address]] Codec codec{};

    Pixel operator[](std::int64_t x) const {
        if constexpr (Codec::bytes == 0) {
            return codec.load(bytes, x);
        } else {
            return Codec::load(bytes + x * Codec::bytes);
        }
    }
};

namespace walk {

template <class Formula>
inline constexpr bool isOnColorWords = false;
template <class Formula>
inline constexpr bool isOnColorWords<OnColorWords<Formula>> = true;

template <class Editor>
std::int64_t startByte(const Editor& editor, const Area& area) {
    return area.left * (area.columnStart == ColumnStart::pixel ? editor.bytesPerPixel() : 4);
}

/// The area's first pixel in the editor's current row.
template <class Editor>
std::uint8_t* rowStart(const Editor& editor, const Area& area) {
    return editor.currentRow() + startByte(editor, area);
}

/// How many of the area's pixels the editor's storage holds in the current row.
template <class Editor>
std::int64_t pixelsHeld(const Editor& editor, const Area& area) {
    const std::int64_t pixels = std::min(area.right, editor.width()) - area.left;
    if (editor.format() == pixelUnknown) return pixels;
    return std::min(pixels, (editor.bytesLeft() - startByte(editor, area)) / editor.bytesPerPixel());
}

/// How many pixels of four bytes lie before the next whole cache line; 0 where a row is too short to gain. A
/// wide store across two lines costs two.
inline std::int64_t pixelsToLine(const std::uint8_t* target, std::int64_t count) {
    constexpr std::uintptr_t line = 64;
    const auto over = reinterpret_cast<std::uintptr_t>(target) % line;
    return count < 512 || over % 4 != 0 ? 0 : static_cast<std::int64_t>((line - over) % line / 4);
}

/// One row of results. The target may be a source itself, pixel upon pixel; it never overlaps one otherwise.
template <Channels written, class Target, class Formula, class... Sources>
void mapRow(std::uint8_t* target, std::int64_t count, Formula formula, PixelRow<Sources>... sources) {
    constexpr bool fromWords = Target::bytes == 4 && ((Sources::bytes == 4) && ...);
    constexpr bool fromPacked = Target::bytes == 4 && ((Sources::bytes == 3) && ...);
    if constexpr (fromWords) {
        if (const std::int64_t head = pixelsToLine(target, count)) {
            mapRow<written, Target>(target, head, formula, sources...);
            return mapRow<written, Target>(target + 4 * head, count - head, formula,
                                           PixelRow<Sources>{sources.bytes + 4 * head, sources.codec}...);
        }
    }
    if constexpr (fromWords && std::derived_from<Formula, MapsWords>) {
        formula.mapWords(target, sources.bytes..., count, Target::opaqueBits);
    } else if constexpr (fromPacked && std::derived_from<Formula, MapsPacked>) {
        formula.mapPacked(target, sources.bytes..., count, Target::opaqueBits);
    } else {
        const auto loop = [=] {
            QKZ_INDEPENDENT_ITERATIONS
            for (std::int64_t x = 0; x < count; ++x) {
                if constexpr (fromWords && written == Channels::color && isOnColorWords<Formula>) {
                    const std::uint32_t color =
                        formula.formula((loadWord(sources.bytes + 4 * x) & colorBits)...);
                    storeWord(target + 4 * x, Target::opaqueBits | color);
                    continue;
                }
                const Pixel result = formula(sources[x]...);
                if constexpr (written == Channels::colorAndAlpha) {
                    Target::store(target + x * Target::bytes, result);
                } else {
                    Target::storeOpaque(target + x * Target::bytes, result);
                }
            }
        };
        if constexpr (fromWords) {
            runOnBestCpu(loop);
        } else {
            loop();  // pixels of three bytes do not gain from wider vectors
        }
    }
}

/// The largest measure of the pixels begin..end-1; 0 when there are none.
template <class Source, class Measure>
int largest(PixelRow<Source> row, std::int64_t begin, std::int64_t end, Measure measure) {
    if constexpr (Source::bytes == 4 && std::derived_from<Measure, MeasuresWords>) {
        return measure.largestOfWords(row.bytes + 4 * begin, end - begin);
    } else {
        int most = 0;
        for (std::int64_t x = begin; x < end; ++x) most = std::max(most, measure(row[x]));
        return most;
    }
}

}  // namespace walk

/// Goes through an area's rows, from the pictures' first row on, with all editors in step, and calls
/// `work(y, count)` for each row that they all have, where count pixels from the area's left on lie within
/// every storage. A `work` that returns a bool ends the walk with false.
template <class Work, class... Editors>
void walkRows(const Area& area, Work work, Editors&... editors) {
    if (area.top >= area.bottom || area.left >= area.right) return;
    (editors.rewind(), ...);
    for (std::int64_t y = 0; y < area.top; ++y) (editors.AddPixelRow(), ...);
    for (std::int64_t y = area.top; y < area.bottom; ++y) {
        const std::int64_t count = std::min({walk::pixelsHeld(editors, area)...});
        if (count > 0 && (editors.currentRow() && ...)) {
            if constexpr (std::is_void_v<decltype(work(y, count))>) {
                work(y, count);
            } else if (!work(y, count)) {
                return;
            }
        }
        (editors.AddPixelRow(), ...);
    }
}

/// Goes through an area's rows of a picture, with other editors in step, and calls `work(y, row, count)` for
/// each: row[x] is a pixel of the reader's, x counted from the area's left column.
template <class Work, class... Others>
void readRows(PictureReader& reader, const Area& area, Work work, Others&... others) {
    const auto read = [&]<class Source>(Source source) {
        walkRows(
            area,
            [&](std::int64_t y, std::int64_t count) {
                return work(y, PixelRow<Source>{walk::rowStart(reader, area), source}, count);
            },
            reader, others...);
    };
    visitSources<Channels::color>(read, reader.format());
}

/// Writes formula(source pixels...) over an area. Nothing is written in an unknown format.
template <Channels read = Channels::color, Channels written = read, class Writer, class Formula,
          class... Readers>
void mapPixels(Writer& writer, const Area& area, Formula formula, Readers&... readers) {
    visitTarget<written>(writer.format(), [&]<class Target>(Target) {
        const auto map = [&]<class... Sources>(Sources... sources) {
            walkRows(
                area,
                [&](std::int64_t, std::int64_t count) {
                    walk::mapRow<written, Target>(
                        walk::rowStart(writer, area), count, formula,
                        PixelRow<Sources>{walk::rowStart(readers, area), sources}...);
                },
                writer, readers...);
        };
        visitSources<read>(map, readers.format()...);
    });
}

/// A new picture like the source (size, resolution, alpha channel), every pixel of it formula(source pixel)
/// and opaque. Null when the source cannot be read or the picture cannot be made.
template <class Formula>
REALpictureStruct* mapPicture(REALpictureStruct* source, Formula formula) {
    PictureReader reader;
    if (!reader.GetPictureReader(source)) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader)) return nullptr;
    mapPixels(writer, wholeArea(reader), formula, reader);
    return writer.RenderPictureWriter();
}

/// A new opaque picture of the first reader's size, every pixel of it formula(source pixels...). Null when it
/// cannot be made.
template <Channels read = Channels::color, class Formula, class... Readers>
REALpictureStruct* mapReaders(Formula formula, PictureReader& first, Readers&... others) {
    PictureWriter writer;
    if (!writer.NewPictureWriter(first.width(), first.height())) return nullptr;
    mapPixels<read, Channels::color>(writer, wholeArea(first), formula, first, others...);
    return writer.RenderPictureWriter();
}

/// Calls `work(row, width)` for each of the picture's rows, top to bottom; row[x] is a pixel.
template <class Work>
void forEachRow(PictureReader& reader, Work work) {
    const auto read = [&]<class Source>(Source source) {
        for (std::int64_t y = 0; y < reader.height(); ++y) {
            const std::uint8_t* const row = reader.GetRow(y);
            if (row) work(PixelRow<Source>{row, source}, reader.width());
        }
    };
    visitSources<Channels::color>(read, reader.format());
}

/// The number of pixels for which `counts(pixel)` holds.
template <class Predicate>
std::int64_t countPixels(PictureReader& reader, Predicate counts) {
    std::int64_t total = 0;
    forEachRow(reader, [&](auto row, std::int64_t width) {
        total += runOnBestCpu([=] {
            int count = 0;
            for (std::int64_t x = 0; x < width; ++x) count += counts(row[x]) ? 1 : 0;
            return count;
        });
    });
    return total;
}

/// Is `measure(pixel)`, an int, at most `limit` for every pixel inside the rectangle? A negative width or
/// height means the picture's. True for an empty rectangle, false when the picture cannot be read. Stops soon
/// after the first pixel beyond.
template <class Measure>
bool allWithin(REALpictureStruct* picture, std::int64_t left, std::int64_t top, std::int64_t width,
               std::int64_t height, int limit, Measure measure) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return false;
    const Area area = clipArea(reader, left, top, width, height, WholeWhen::negative);
    bool all = true;
    readRows(reader, area, [&](std::int64_t, auto row, std::int64_t count) {
        constexpr std::int64_t stretch = 4096;  // pixels between looks at the outcome
        for (std::int64_t begin = 0; all && begin < count; begin += stretch) {
            const std::int64_t end = std::min(begin + stretch, count);
            all = runOnBestCpu([=] { return walk::largest(row, begin, end, measure); }) <= limit;
        }
        return all;
    });
    return all;
}

/// Writes formula(x), opaque, to every column of row y.
template <class Formula>
void paintRow(PictureWriter& writer, std::int64_t y, Formula formula) {
    std::uint8_t* const row = writer.GetRow(y);
    if (!row) return;
    const std::int64_t width = writer.width();
    visitTarget<Channels::color>(writer.format(), [=]<class Target>(Target) {
        runOnBestCpu([=] {
            QKZ_INDEPENDENT_ITERATIONS
            for (std::int64_t x = 0; x < width; ++x) Target::storeOpaque(row + x * Target::bytes, formula(x));
        });
    });
}
