// One pixel, whatever it is stored as.
#pragma once

#include <cstdint>

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
constexpr Pixel pixelOf(RBColor color) {
    return {static_cast<int>(color >> 16 & 255), static_cast<int>(color >> 8 & 255),
            static_cast<int>(color & 255)};
}

constexpr Pixel grayPixel(int level) { return {level, level, level}; }

constexpr bool isGrayPixel(const Pixel& p) { return p.red == p.green && p.green == p.blue; }

inline constexpr std::uint32_t colorBits = 0xFFFFFF;

/// The colours as a word: red in bits 16-23, green 8-15, blue 0-7.
constexpr std::uint32_t colorWord(const Pixel& p) {
    return static_cast<std::uint32_t>(p.red) << 16 | static_cast<std::uint32_t>(p.green) << 8 |
           static_cast<std::uint32_t>(p.blue);
}

/// The same of a colour as a word: each channel equals its neighbour.
constexpr bool isGrayColor(std::uint32_t color) { return ((color ^ color >> 8) & 0xFFFF) == 0; }

/// Compared as words: together with a load from a word the compiler makes one comparison of it.
constexpr bool sameColor(const Pixel& a, const Pixel& b) { return colorWord(a) == colorWord(b); }

/// One of two pixels, chosen channel by channel: a choice between whole pixels does not vectorise.
constexpr Pixel select(bool first, const Pixel& a, const Pixel& b) {
    return {first ? a.red : b.red, first ? a.green : b.green, first ? a.blue : b.blue,
            first ? a.alpha : b.alpha};
}
