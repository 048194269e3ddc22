// Vectors of 32 bytes, for loops that the compiler makes no good ones of: eight words, or their 32 bytes, in
// one instruction. Where a processor has no vectors of that length, the compiler splits them.
#pragma once

#include <cstdint>
#include <cstring>

using VectorBytes [[gnu::vector_size(32)]] = std::uint8_t;
using VectorWords [[gnu::vector_size(32)]] = std::uint32_t;

/// How many words of four bytes a vector holds.
inline constexpr std::int64_t vectorPixels = 8;

// Vectors are passed by reference, never by value: which registers a value travels in depends on the
// processor that a function is compiled for.

/// From and to any address, aligned or not.
template <class Vector>
[[gnu::always_inline]] inline void loadVector(Vector& to, const void* from) {
    std::memcpy(&to, from, sizeof to);
}
template <class Vector>
[[gnu::always_inline]] inline void storeVector(void* to, const Vector& from) {
    std::memcpy(to, &from, sizeof from);
}

[[gnu::always_inline]] inline void setToLarger(VectorBytes& a, const VectorBytes& b) { a = a > b ? a : b; }
[[gnu::always_inline]] inline void setToSmaller(VectorBytes& a, const VectorBytes& b) { a = a < b ? a : b; }

/// |a - b| of each byte.
[[gnu::always_inline]] inline void setToDifference(VectorBytes& a, const VectorBytes& b) {
    VectorBytes larger = a;
    setToLarger(larger, b);
    setToSmaller(a, b);
    a = larger - a;
}
