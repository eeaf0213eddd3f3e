// Sixteen bytes at a time, for the two ABIs there are: AArch64, where all of this is baseline, and
// x86-64-v2 (SSE4.1, SSSE3), which development builds are made for.
#pragma once

#include <stdint.h>
#include <string.h>

#include <utility>

#include "serial/unroll.h"
#include "serial/wire.h"

#if defined(__aarch64__)
#include <arm_neon.h>
#elif defined(__SSE4_1__) && defined(__SSSE3__)
#include <smmintrin.h>
#else
#error "build for AArch64, or for x86-64 with -march=x86-64-v2 or later"
#endif

namespace vorl {

using u8x16 = uint8_t __attribute__((vector_size(16)));
using i16x8 = int16_t __attribute__((vector_size(16)));
using u16x8 = uint16_t __attribute__((vector_size(16)));
using u32x4 = uint32_t __attribute__((vector_size(16)));
using u64x2 = uint64_t __attribute__((vector_size(16)));

inline u8x16 load16(const uint8_t *from)
{
    u8x16 value;
    memcpy(&value, from, sizeof value);
    return value;
}
inline void store16(uint8_t *to, u8x16 value) { memcpy(to, &value, sizeof value); }

/// Returns the value in a way that hides it from the optimiser, which therefore does not load it
/// again for each use, or merge comparisons of it (docs/decisions/0004 says what compilers do
/// otherwise).
inline u8x16 opaque(u8x16 value)
{
#if defined(__aarch64__)
    asm("" : "+w"(value));
#else
    asm("" : "+x"(value));
#endif
    return value;
}

/// The same for an address. Addresses computed from it then differ from it by a constant alone,
/// which fits into an instruction.
inline uint8_t *opaque(uint8_t *value)
{
    asm("" : "+r"(value));
    return value;
}

/// The first `Size` bytes at `from`, zeros above; reads no other byte.
template <uint32_t Size>
[[gnu::always_inline]] inline u8x16 load_first(const uint8_t *from)
{
    uint64_t low = 0;
    uint64_t high = 0;
    if constexpr (Size >= 16) {
        return load16(from);
    } else if constexpr (Size >= 8) {
        low = member<uint64_t>(from, 0);
        if constexpr (Size > 8)
            high = member<uint64_t>(from, Size - 8) >> (8 * (16 - Size));
    } else if constexpr (Size >= 4) {
        low = member<uint32_t>(from, 0);
        if constexpr (Size > 4)
            low |= uint64_t{member<uint32_t>(from, Size - 4)} << (8 * (Size - 4));
    } else {
        for (uint32_t i = 0; i < Size; ++i)
            low |= uint64_t{from[i]} << (8 * i);
    }
    return u8x16(u64x2{low, high});
}

/// Stores the first `Size` bytes of `value` at `to`; writes no other byte.
template <uint32_t Size>
[[gnu::always_inline]] inline void store_first(uint8_t *to, u8x16 value)
{
    const auto halves = u64x2(value);
    if constexpr (Size >= 16)
        store16(to, value);
    else if constexpr (Size > 8) {
        memcpy(to, &value, 8);
        const uint64_t high = halves[1];
        memcpy(to + 8, &high, Size - 8);
    } else {
        const uint64_t low = halves[0];
        memcpy(to, &low, Size);
    }
}

/// Byte i of the result is values[indices[i]], or 0 where bit 7 of the index is set. Indices are
/// below 16 or have bit 7 set.
inline u8x16 shuffle(u8x16 values, u8x16 indices)
{
#if defined(__aarch64__)
    return u8x16(vqtbl1q_u8(uint8x16_t(values), uint8x16_t(indices)));
#else
    return u8x16(_mm_shuffle_epi8(__m128i(values), __m128i(indices)));
#endif
}

/// Keeps indices up to 15, and turns larger ones into indices for which shuffle yields 0.
inline u8x16 above_15_to_no_byte(u8x16 indices)
{
#if defined(__aarch64__)
    // The table look-up yields 0 for every index past 15.
    return indices;
#else
    return u8x16(_mm_adds_epu8(__m128i(indices), _mm_set1_epi8(0x70)));
#endif
}

/// Sixteen constants as a vector.
struct lanes {
    alignas(16) uint8_t bytes[16];

    [[gnu::always_inline]] u8x16 vector() const { return load16(bytes); }
    bool operator==(const lanes &) const = default;
};

/// Byte i of the result is that of `a` where byte i of the mask is 0xFF, and of `b` where it is 0.
template <lanes Mask>
[[gnu::always_inline]] inline u8x16 select(u8x16 a, u8x16 b)
{
    return [&]<size_t... I>(std::index_sequence<I...>) VORL_INLINED
    {
        return __builtin_shufflevector(a, b, (Mask.bytes[I] != 0 ? I : 16 + I)...);
    }
    (std::make_index_sequence<16>{});
}

/// max(a - b, 0), byte by byte.
inline u8x16 subtract_saturating(u8x16 a, u8x16 b)
{
#if defined(__aarch64__)
    return u8x16(vqsubq_u8(uint8x16_t(a), uint8x16_t(b)));
#else
    return u8x16(_mm_subs_epu8(__m128i(a), __m128i(b)));
#endif
}

/// max(a - b, 0), word by word.
inline u16x8 subtract_saturating(u16x8 a, u16x8 b)
{
#if defined(__aarch64__)
    return u16x8(vqsubq_u16(uint16x8_t(a), uint16x8_t(b)));
#else
    return u16x8(_mm_subs_epu16(__m128i(a), __m128i(b)));
#endif
}

/// Sixteen words, each below 256, as bytes.
inline u8x16 narrow(u16x8 low, u16x8 high)
{
#if defined(__aarch64__)
    return u8x16(vcombine_u8(vmovn_u16(uint16x8_t(low)), vmovn_u16(uint16x8_t(high))));
#else
    return u8x16(_mm_packus_epi16(__m128i(low), __m128i(high)));
#endif
}

inline bool is_zero(u8x16 value)
{
#if defined(__aarch64__)
    return vmaxvq_u32(uint32x4_t(value)) == 0;
#else
    return _mm_testz_si128(__m128i(value), __m128i(value)) != 0;
#endif
}

/// max(value, 0), word by word.
inline i16x8 at_least_zero(i16x8 value) { return value > 0 ? value : i16x8{}; }

/// Word `Lane` in all words.
template <uint32_t Lane>
inline i16x8 every_lane(i16x8 value)
{
    return __builtin_shufflevector(value, value, Lane, Lane, Lane, Lane, Lane, Lane, Lane, Lane);
}

/// Bit i is set where byte i of a mask is 0xFF. Bytes are 0xFF or 0, and 0 from the eighth on.
inline uint32_t bits_of_low(u8x16 mask)
{
#if defined(__aarch64__)
    const uint8x8_t weights = {1, 2, 4, 8, 16, 32, 64, 128};
    return vaddv_u8(vand_u8(vget_low_u8(uint8x16_t(mask)), weights));
#else
    return static_cast<uint32_t>(_mm_movemask_epi8(__m128i(mask)));
#endif
}

/// Bytes moved up by `Count`, zeros below.
template <int Count>
inline u8x16 bytes_up(u8x16 value)
{
#if defined(__aarch64__)
    return u8x16(vextq_u8(vdupq_n_u8(0), uint8x16_t(value), 16 - Count));
#else
    return u8x16(_mm_slli_si128(__m128i(value), Count));
#endif
}

} // namespace vorl
