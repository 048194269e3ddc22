// Pixels and the formats they are stored in. One codec per format: how many bytes a pixel takes, how it is
// loaded and how it is stored.
#pragma once

#include <bit>
#include <cstring>

#include "HostTypes.h"

/// The channels of one pixel as stored, 0..255 each (premultiplied where the format is). The lanes are ints
/// so that loops over pixels vectorise.
struct Pixel {
    int red;
    int green;
    int blue;
    int alpha = 255;
};

/// A host colour without its top byte.
constexpr Pixel PixelOf(RBColor color) {
    return {static_cast<int>(color >> 16 & 255), static_cast<int>(color >> 8 & 255),
            static_cast<int>(color & 255)};
}

constexpr Pixel GrayPixel(int level) { return {level, level, level}; }

constexpr bool IsGray(const Pixel& p) { return p.red == p.green && p.green == p.blue; }

/// One of two pixels, chosen channel by channel: a choice between whole pixels does not vectorise.
constexpr Pixel Select(bool first, const Pixel& a, const Pixel& b) {
    return {first ? a.red : b.red, first ? a.green : b.green, first ? a.blue : b.blue,
            first ? a.alpha : b.alpha};
}

/// The pixel formats' codes.
enum PixelFormat : std::uint32_t {
    pixelUnknown = 0,  // stands for every code but those below
    pixelGD = 8,       // GD true colour: a word with 7 bits of alpha, colours as below
    pixelRGB = 11,     // three bytes: red, green, blue
    pixelARGB = 14,    // Cairo ARGB32: a word, premultiplied: alpha 24-31, red 16-23, green 8-15, blue 0-7
    pixelXRGB = 15,    // Cairo RGB24: the same without alpha; written with 255 there
};

namespace pixel {

static_assert(std::endian::native == std::endian::little);

inline std::uint32_t loadWord(const std::uint8_t* p) {
    std::uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

inline void storeWord(std::uint8_t* p, std::uint32_t word) { std::memcpy(p, &word, sizeof word); }

inline Pixel colorOf(std::uint32_t word) {
    return {static_cast<int>(word >> 16 & 255), static_cast<int>(word >> 8 & 255),
            static_cast<int>(word & 255)};
}

inline std::uint32_t wordOf(const Pixel& p) {
    return static_cast<std::uint32_t>(p.red) << 16 | static_cast<std::uint32_t>(p.green) << 8 |
           static_cast<std::uint32_t>(p.blue);
}

}  // namespace pixel

/// Compared as words, to which the loads and this fold.
inline bool SameColor(const Pixel& a, const Pixel& b) { return pixel::wordOf(a) == pixel::wordOf(b); }

/// `store` writes the pixel with its alpha; `storeOpaque` does not look at it.
template <PixelFormat format>
struct PixelCodec;

template <>
struct PixelCodec<pixelARGB> {
    static constexpr int bytes = 4;
    static constexpr std::uint32_t opaqueBits = 0xFF000000;
    static Pixel load(const std::uint8_t* p) {
        const std::uint32_t word = pixel::loadWord(p);
        Pixel result = pixel::colorOf(word);
        result.alpha = static_cast<int>(word >> 24);
        return result;
    }
    static void store(std::uint8_t* p, const Pixel& v) {
        pixel::storeWord(p, static_cast<std::uint32_t>(v.alpha) << 24 | pixel::wordOf(v));
    }
    static void storeOpaque(std::uint8_t* p, const Pixel& v) {
        pixel::storeWord(p, opaqueBits | pixel::wordOf(v));
    }
};

template <>
struct PixelCodec<pixelXRGB> {
    static constexpr int bytes = 4;
    static constexpr std::uint32_t opaqueBits = 0xFF000000;
    static Pixel load(const std::uint8_t* p) { return pixel::colorOf(pixel::loadWord(p)); }
    static void store(std::uint8_t* p, const Pixel& v) { storeOpaque(p, v); }
    static void storeOpaque(std::uint8_t* p, const Pixel& v) {
        pixel::storeWord(p, opaqueBits | pixel::wordOf(v));
    }
};

template <>
struct PixelCodec<pixelGD> {
    static constexpr int bytes = 4;
    static constexpr std::uint32_t opaqueBits = 0;  // alpha counts the other way round here
    static Pixel load(const std::uint8_t* p) {
        const std::uint32_t word = pixel::loadWord(p);
        Pixel result = pixel::colorOf(word);
        // 7 bits widened to 8, so that 127 becomes 255. A set top bit wraps, unchecked on purpose.
        const std::uint32_t alpha = word >> 24;
        result.alpha = static_cast<int>((alpha * 2 & 255) | (alpha & 1));
        return result;
    }
    static void store(std::uint8_t* p, const Pixel& v) {
        pixel::storeWord(p, static_cast<std::uint32_t>(v.alpha & 0xFE) << 23 | pixel::wordOf(v));
    }
    static void storeOpaque(std::uint8_t* p, const Pixel& v) {
        pixel::storeWord(p, opaqueBits | pixel::wordOf(v));
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

/// An unknown format reads as 0 in every channel, alpha included, takes no bytes, and nothing is written.
template <>
struct PixelCodec<pixelUnknown> {
    static constexpr int bytes = 0;
    static Pixel load(const std::uint8_t*) { return {0, 0, 0, 0}; }
    static void store(std::uint8_t*, const Pixel&) {}
    static void storeOpaque(std::uint8_t*, const Pixel&) {}
};
