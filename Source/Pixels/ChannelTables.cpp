#include "ChannelTables.h"

#include <limits>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace {

#ifdef __x86_64__

// Measured on a 3840 x 2160 picture, where memcpy takes 2.4 ms: 10 ms one pixel at a time, 4.6 ms with AVX2.

#define QKZ_AVX2 gnu::target("avx2"), gnu::always_inline

/// One channel's table as AVX2 looks it up: sixteen lookups by the low four bits of the value, of which a
/// tree of blends picks one by the high four.
using Parts = __m128i[16];

[[QKZ_AVX2]] inline __m256i part(const Parts& table, int index, __m256i low) {
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table[index]), low);
}

/// The table's values for 32 channel values.
[[QKZ_AVX2]] inline __m256i lookUp(const Parts& table, __m256i values) {
    const __m256i low = _mm256_and_si256(values, _mm256_set1_epi8(15));
    // A blend looks at the top bit of each byte: move bits 4, 5 and 6 there; bit 7 is there.
    const __m256i bit4 = _mm256_slli_epi16(values, 3);
    const __m256i bit5 = _mm256_slli_epi16(values, 2);
    const __m256i bit6 = _mm256_slli_epi16(values, 1);
    __m256i quarters[4];
    for (int i = 0; i < 4; ++i) {
        const __m256i even = _mm256_blendv_epi8(part(table, 4 * i, low), part(table, 4 * i + 1, low), bit4);
        const __m256i odd =
            _mm256_blendv_epi8(part(table, 4 * i + 2, low), part(table, 4 * i + 3, low), bit4);
        quarters[i] = _mm256_blendv_epi8(even, odd, bit5);
    }
    return _mm256_blendv_epi8(_mm256_blendv_epi8(quarters[0], quarters[1], bit6),
                              _mm256_blendv_epi8(quarters[2], quarters[3], bit6), values);
}

[[QKZ_AVX2]] inline void loadParts(Parts& parts, const ChannelTable& table) {
    for (std::size_t i = 0; i < 16; ++i) {
        parts[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * i));
    }
}

/// Four vectors of words taken apart into planes of blue, green and red (and back again), in one order of
/// pixels that both directions share.
[[QKZ_AVX2]] inline __m256i loadGrouped(const std::uint8_t* words) {
    const __m256i byChannel =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(words)), byChannel);
}

[[QKZ_AVX2]] inline void store(std::uint8_t* words, __m256i vector) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), vector);
}

/// As many whole groups of 32 pixels as there are; returns how many pixels that was.
[[gnu::target("avx2")]] std::int64_t mapWordsAvx2(std::uint8_t* target, const std::uint8_t* source,
                                                  std::int64_t count, const ChannelTables& tables,
                                                  std::uint32_t opaqueBits) {
    alignas(16) Parts red, green, blue;
    loadParts(red, tables.red);
    loadParts(green, tables.green);
    loadParts(blue, tables.blue);
    const __m256i alpha = _mm256_set1_epi8(static_cast<char>(opaqueBits >> 24));
    std::int64_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const std::uint8_t* const in = source + 4 * x;
        std::uint8_t* const out = target + 4 * x;
        const __m256i words0 = loadGrouped(in), words1 = loadGrouped(in + 32);
        const __m256i words2 = loadGrouped(in + 64), words3 = loadGrouped(in + 96);
        const __m256i blueGreen01 = _mm256_unpacklo_epi32(words0, words1);
        const __m256i blueGreen23 = _mm256_unpacklo_epi32(words2, words3);
        const __m256i red01 = _mm256_unpackhi_epi32(words0, words1);
        const __m256i red23 = _mm256_unpackhi_epi32(words2, words3);
        const __m256i b = lookUp(blue, _mm256_unpacklo_epi64(blueGreen01, blueGreen23));
        const __m256i g = lookUp(green, _mm256_unpackhi_epi64(blueGreen01, blueGreen23));
        const __m256i r = lookUp(red, _mm256_unpacklo_epi64(red01, red23));
        const __m256i blueGreenLow = _mm256_unpacklo_epi8(b, g), blueGreenHigh = _mm256_unpackhi_epi8(b, g);
        const __m256i redAlphaLow = _mm256_unpacklo_epi8(r, alpha);
        const __m256i redAlphaHigh = _mm256_unpackhi_epi8(r, alpha);
        store(out, _mm256_unpacklo_epi16(blueGreenLow, redAlphaLow));
        store(out + 32, _mm256_unpackhi_epi16(blueGreenLow, redAlphaLow));
        store(out + 64, _mm256_unpacklo_epi16(blueGreenHigh, redAlphaHigh));
        store(out + 96, _mm256_unpackhi_epi16(blueGreenHigh, redAlphaHigh));
    }
    return x;
}

#define QKZ_VBMI gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi")

using Quarters = __m512i[4];

[[QKZ_VBMI, gnu::always_inline]] inline void loadQuarters(Quarters& quarters, const ChannelTable& table) {
    for (std::size_t i = 0; i < 4; ++i) quarters[i] = _mm512_loadu_si512(table + 64 * i);
}

/// The table's values for the bytes of `values` that the mask selects; `others` elsewhere.
[[QKZ_VBMI, gnu::always_inline]] inline __m512i lookUp(const Quarters& table, __m512i values,
                                                       __mmask64 selected, __m512i others) {
    // The low seven bits index two quarters at once, the top bit says which two.
    const __m512i low = _mm512_permutex2var_epi8(table[0], values, table[1]);
    const __m512i high = _mm512_permutex2var_epi8(table[2], values, table[3]);
    const __m512i result = _mm512_mask_blend_epi8(_mm512_movepi8_mask(values), low, high);
    return _mm512_mask_blend_epi8(selected, others, result);
}

/// The whole row, 16 pixels at a time.
[[QKZ_VBMI]] void mapWordsVbmi(std::uint8_t* target, const std::uint8_t* source, std::int64_t count,
                               const ChannelTables& tables, std::uint32_t opaqueBits) {
    Quarters red, green, blue;
    loadQuarters(red, tables.red);
    loadQuarters(green, tables.green);
    loadQuarters(blue, tables.blue);
    constexpr __mmask64 blueBytes = 0x1111111111111111, greenBytes = blueBytes << 1,
                        redBytes = blueBytes << 2;
    const __m512i alpha = _mm512_set1_epi32(static_cast<int>(opaqueBits));
    for (std::int64_t x = 0; x < count; x += 16) {
        const std::int64_t rest = count - x;
        const auto present = static_cast<__mmask16>(rest >= 16 ? 0xFFFF : (1 << rest) - 1);
        const __m512i values = _mm512_maskz_loadu_epi32(present, source + 4 * x);
        __m512i result = lookUp(blue, values, blueBytes, alpha);
        result = lookUp(green, values, greenBytes, result);
        result = lookUp(red, values, redBytes, result);
        _mm512_mask_storeu_epi32(target + 4 * x, present, result);
    }
}

/// Maps pixels of the row from its first on, as many as vectors of this processor take; returns how many.
std::int64_t mapByVectors(std::uint8_t* target, const std::uint8_t* source, std::int64_t count,
                          const ChannelTables& tables, std::uint32_t opaqueBits) {
    static const bool hasVbmi = __builtin_cpu_supports("avx512vbmi");
    const CpuLevel level = currentCpuLevel();
    if (level == CpuLevel::baseline) return 0;
    if (level == CpuLevel::avx2 || !hasVbmi) return mapWordsAvx2(target, source, count, tables, opaqueBits);
    mapWordsVbmi(target, source, count, tables, opaqueBits);
    return count;
}

#else

std::int64_t mapByVectors(std::uint8_t*, const std::uint8_t*, std::int64_t, const ChannelTables&,
                          std::uint32_t) {
    return 0;
}

#endif

}  // namespace

void TableLookup::mapWords(std::uint8_t* target, const std::uint8_t* source, std::int64_t count,
                           std::uint32_t opaqueBits) const {
    std::int64_t x = mapByVectors(target, source, count, *tables_, opaqueBits);
    for (; x < count; ++x) {
        const Pixel result = (*this)(PixelCodec<pixelXRGB>::load(source + 4 * x));
        storeWord(target + 4 * x, opaqueBits | colorWord(result));
    }
}

std::int32_t truncateToInt32(double value) {
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<std::int32_t>(value);
    return std::numeric_limits<std::int32_t>::min();
}

std::uint8_t channelByte(double value) {
    return static_cast<std::uint8_t>(std::clamp(truncateToInt32(value), 0, 255));
}
