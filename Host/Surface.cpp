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

}  // namespace

std::uint32_t premultiplied(std::uint32_t argb) {
    const std::uint32_t a = argb >> 24;
    return mapColors(argb, a, [a](std::uint32_t c) { return (c * a + 127) / 255; });
}

std::uint32_t straight(std::uint32_t word) {
    const std::uint32_t a = word >> 24;
    return mapColors(word, a, [a](std::uint32_t c) { return a ? std::min(255u, (c * 255 + a / 2) / a) : 0; });
}

void Surface::read(int x, int y, int count, std::uint32_t* words) {
    std::memcpy(words, row(y) + std::ptrdiff_t{x} * 4, static_cast<std::size_t>(count) * 4);
}

void Surface::write(int x, int y, int count, const std::uint32_t* words) {
    std::memcpy(row(y) + std::ptrdiff_t{x} * 4, words, static_cast<std::size_t>(count) * 4);
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
    for (std::uint32_t& word : words) word = toArgb(word);
    return words;
}

}  // namespace qkzhost
