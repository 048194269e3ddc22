#include "Surface.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace qkzhost {
namespace {

/// Applies `f` to the three colour bytes and puts `alpha` on top.
template <class F>
std::uint32_t mapColors(std::uint32_t word, std::uint32_t alpha, F f) {
    std::uint32_t result = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8) result |= f(word >> shift & 0xFF) << shift;
    return result;
}

// The storages' words. Their loops see the formula, whose kind is chosen once for all words.

constexpr std::uint32_t opaque = 0xFF000000;

std::uint32_t argbOfGd(std::uint32_t word) {
    const std::uint32_t transparency = word >> 24 & 127;  // 0 is opaque
    return (word & 0xFFFFFF) | (255 - (transparency << 1 | transparency >> 6)) << 24;
}

std::uint32_t gdOfArgb(std::uint32_t argb) { return (argb & 0xFFFFFF) | (255 - (argb >> 24)) >> 1 << 24; }

template <class F>
void each(std::span<std::uint32_t> words, F formula) {
    for (std::uint32_t& word : words) word = formula(word);
}

}  // namespace

std::uint32_t premultiplied(std::uint32_t argb) {
    const std::uint32_t a = argb >> 24;
    if (a == 255) return argb;
    return mapColors(argb, a, [a](std::uint32_t c) { return (c * a + 127) / 255; });
}

std::uint32_t straight(std::uint32_t word) {
    const std::uint32_t a = word >> 24;
    if (a == 255) return word;
    return mapColors(word, a, [a](std::uint32_t c) { return a ? std::min(255u, (c * 255 + a / 2) / a) : 0; });
}

void Surface::read(int x, int y, int count, std::uint32_t* words) {
    std::memcpy(words, row(y) + std::ptrdiff_t{x} * 4, static_cast<std::size_t>(count) * 4);
}

void Surface::write(int x, int y, int count, const std::uint32_t* words) {
    std::memcpy(row(y) + std::ptrdiff_t{x} * 4, words, static_cast<std::size_t>(count) * 4);
}

void Surface::toArgb(std::span<std::uint32_t> words) const {
    if (storage == Storage::gd) return each(words, argbOfGd);
    if (alpha) return each(words, straight);
    each(words, [](std::uint32_t word) { return word | opaque; });
}

void Surface::fromArgb(std::span<std::uint32_t> words) const {
    if (storage == Storage::gd) return each(words, gdOfArgb);
    if (storage == Storage::pixmap) return each(words, [](std::uint32_t word) { return word & ~opaque; });
    if (alpha) return each(words, premultiplied);
    each(words, [](std::uint32_t word) { return word | opaque; });
}

std::uint32_t Surface::toArgb(std::uint32_t word) const {
    toArgb({&word, 1});
    return word;
}

std::uint32_t Surface::fromArgb(std::uint32_t argb) const {
    fromArgb({&argb, 1});
    return argb;
}

std::uint32_t Surface::word(int x, int y) {
    if (x < 0 || y < 0 || x >= width || y >= height) {
        throw std::out_of_range("no pixel at " + std::to_string(x) + ", " + std::to_string(y));
    }
    std::uint32_t word = 0;
    read(x, y, 1, &word);
    return word;
}

std::vector<std::uint32_t> Surface::argb() {
    const auto count = static_cast<std::size_t>(width);
    std::vector<std::uint32_t> words(count * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) read(0, y, width, words.data() + static_cast<std::size_t>(y) * count);
    toArgb(words);
    return words;
}

}  // namespace qkzhost
