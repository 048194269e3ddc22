// How each pixel format is loaded and stored, and the choice among them.
#pragma once

#include <bit>
#include <cstring>

#include "Pixel.h"
#include "rbpicturereader.h"

static_assert(std::endian::native == std::endian::little);

inline std::uint32_t loadWord(const std::uint8_t* p) {
    std::uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

inline void storeWord(std::uint8_t* p, std::uint32_t word) { std::memcpy(p, &word, sizeof word); }

/// One format: `bytes` a pixel takes, `load`, `store` with the pixel's alpha, and `storeOpaque`, which does
/// not look at it. For formats of words, `opaqueBits` is the top byte of an opaque pixel, in place.
template <PixelFormat format>
struct PixelCodec;

/// The formats of words share their colour bits.
template <std::uint32_t opaque>
struct WordCodec {
    static constexpr int bytes = 4;
    static constexpr std::uint32_t opaqueBits = opaque;
    static Pixel load(const std::uint8_t* p) { return pixelOf(loadWord(p)); }
    static void storeOpaque(std::uint8_t* p, const Pixel& v) { storeWord(p, opaqueBits | colorWord(v)); }
};

template <>
struct PixelCodec<pixelARGB> : WordCodec<0xFF000000> {
    static Pixel load(const std::uint8_t* p) {
        Pixel result = WordCodec::load(p);
        result.alpha = static_cast<int>(loadWord(p) >> 24);
        return result;
    }
    static void store(std::uint8_t* p, const Pixel& v) {
        storeWord(p, static_cast<std::uint32_t>(v.alpha) << 24 | colorWord(v));
    }
};

template <>
struct PixelCodec<pixelXRGB> : WordCodec<0xFF000000> {
    static void store(std::uint8_t* p, const Pixel& v) { storeOpaque(p, v); }
};

/// Alpha counts the other way round here: 0 is opaque, 127 transparent.
template <>
struct PixelCodec<pixelGD> : WordCodec<0> {
    /// 7 bits of alpha are widened to 8, so that 127 becomes 255. A set top bit drops out
    /// (compatibility.md#gd-alpha-wraps).
    static Pixel load(const std::uint8_t* p) {
        Pixel result = WordCodec::load(p);
        const std::uint32_t alpha = loadWord(p) >> 24;
        result.alpha = static_cast<int>((alpha * 2 & 255) | (alpha & 1));
        return result;
    }
    static void store(std::uint8_t* p, const Pixel& v) {
        storeWord(p, static_cast<std::uint32_t>(v.alpha & 0xFE) << 23 | colorWord(v));
    }
};

template <>
struct PixelCodec<pixelRGB> {
    static constexpr int bytes = 3;
    static Pixel load(const std::uint8_t* p) { return {p[0], p[1], p[2]}; }
    static void store(std::uint8_t* p, const Pixel& v) { storeOpaque(p, v); }
    static void storeOpaque(std::uint8_t* p, const Pixel& v) {
        p[0] = static_cast<std::uint8_t>(v.red);
        p[1] = static_cast<std::uint8_t>(v.green);
        p[2] = static_cast<std::uint8_t>(v.blue);
    }
};

/// Reads whatever the format is, asking for each pixel: for pictures of different formats side by side, and
/// for an unknown format, of which every pixel is 0 in every channel, alpha included.
struct AnyCodec {
    static constexpr int bytes = 0;  // depends on the format
    PixelFormat format;
    [[gnu::noinline]] Pixel load(const std::uint8_t* row, std::int64_t x) const;
};

/// What is read of a source pixel, and what is written of a result: the colours only (a result is then
/// opaque), or colours and alpha.
enum class Channels { color, colorAndAlpha };

/// The format whose codec reads a format. Where only colours count, one reads all formats of words.
template <Channels channels>
constexpr PixelFormat readAs(PixelFormat format) {
    const bool words = format == pixelGD || format == pixelARGB || format == pixelXRGB;
    return channels == Channels::color && words ? pixelXRGB : format;
}

/// The format whose codec writes a format. Opaque pixels are the same in both of Cairo's.
template <Channels channels>
constexpr PixelFormat writeAs(PixelFormat format) {
    return channels == Channels::color && format == pixelARGB ? pixelXRGB : format;
}

/// Calls `visitor` with the format's codec; not at all for an unknown one.
template <PixelFormat (*as)(PixelFormat), class Visitor>
void visitFormat(PixelFormat format, Visitor visitor) {
    switch (format) {
        case pixelGD:
            return visitor(PixelCodec<as(pixelGD)>{});
        case pixelARGB:
            return visitor(PixelCodec<as(pixelARGB)>{});
        case pixelXRGB:
            return visitor(PixelCodec<as(pixelXRGB)>{});
        case pixelRGB:
            return visitor(PixelCodec<as(pixelRGB)>{});
        case pixelUnknown:
            break;
    }
}

/// Calls `visitor` with the codec that writes the format; not at all for an unknown one: nothing is written
/// then.
template <Channels channels, class Visitor>
void visitTarget(PixelFormat format, Visitor visitor) {
    visitFormat<writeAs<channels>>(format, visitor);
}

/// Calls `visitor` with a codec for each format: where one codec reads them all, with that, else with
/// AnyCodec.
template <Channels channels, class Visitor, class... Formats>
void visitSources(Visitor visitor, PixelFormat first, Formats... others) {
    bool visited = false;
    if (((readAs<channels>(others) == readAs<channels>(first)) && ...)) {
        visitFormat<readAs<channels>>(first, [&](auto codec) {
            visited = true;
            visitor(codec, (static_cast<void>(others), codec)...);
        });
    }
    if (!visited) visitor(AnyCodec{first}, AnyCodec{others}...);
}
