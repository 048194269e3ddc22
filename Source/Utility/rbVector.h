// Eight words of four bytes at once, for the loops that bytes make shorter: one instruction works on all
// channels of a pixel. The compiler splits them where a processor has no vectors of 32 bytes.
#pragma once

#include <cstdint>

using VectorBytes [[gnu::vector_size(32), gnu::aligned(1), gnu::may_alias]] = std::uint8_t;
using VectorWords [[gnu::vector_size(32), gnu::aligned(1), gnu::may_alias]] = std::uint32_t;

inline constexpr std::int64_t vectorPixels = 8;

// Name the types where one is referred to: what `auto&` deduces has forgotten that it need not be aligned.
// Arguments are references: vectors passed by value would differ between processors.

/// The eight words from `bytes` on.
[[gnu::always_inline]] inline const VectorWords& VectorAt(const std::uint8_t* bytes) {
    return *reinterpret_cast<const VectorWords*>(bytes);
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
