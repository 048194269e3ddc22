// Eight words of four bytes at once, for the loops that bytes make shorter: one instruction works on all
// channels of a pixel. The compiler splits them where a processor has no vectors of 32 bytes.
#pragma once

#include <cstdint>
#include <cstring>

using VectorBytes [[gnu::vector_size(32)]] = std::uint8_t;
using VectorWords [[gnu::vector_size(32)]] = std::uint32_t;

inline constexpr std::int64_t vectorPixels = 8;

// Memory need not be aligned for these two: they copy to and from a local. Arguments are references: vectors
// passed by value would differ between processors.

template <class Vector>
[[gnu::always_inline]] inline void LoadVector(Vector& to, const void* from) {
    std::memcpy(&to, from, sizeof to);
}
template <class Vector>
[[gnu::always_inline]] inline void StoreVector(void* to, const Vector& from) {
    std::memcpy(to, &from, sizeof from);
}

[[gnu::always_inline]] inline void SetToLarger(VectorBytes& a, const VectorBytes& b) { a = a > b ? a : b; }
[[gnu::always_inline]] inline void SetToSmaller(VectorBytes& a, const VectorBytes& b) { a = a < b ? a : b; }

/// The difference of each byte, without sign.
[[gnu::always_inline]] inline void SetToDifference(VectorBytes& a, const VectorBytes& b) {
    VectorBytes larger = a;
    SetToLarger(larger, b);
    SetToSmaller(a, b);
    a = larger - a;
}
