// Sixteen bytes at a time, for the two ABIs there are: AArch64, where all of this is baseline, and
// x86-64-v2 (SSE4.1, SSSE3), which development builds are made for.
#pragma once

#include <stdint.h>
#include <string.h>

#include <type_traits>
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

/// Sixteen bytes in memory, at any address.
using bytes16 [[gnu::may_alias, gnu::aligned(1)]] = u8x16;

inline u8x16 load16(const uint8_t *from) { return *reinterpret_cast<const bytes16 *>(from); }
inline void store16(uint8_t *to, u8x16 value) { *reinterpret_cast<bytes16 *>(to) = value; }

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
/// which fits into an instruction. On AArch64 gcc moves such a computation up before a branch after
/// which it may not be needed; it does not move what is volatile.
template <class Pointed>
Pointed *opaque(Pointed *value)
{
#if defined(__aarch64__)
    asm volatile("" : "+r"(value));
#else
    asm("" : "+r"(value));
#endif
    return value;
}

/// The same for a number, which the optimiser then leaves out of a vector.
template <class Number>
requires std::is_integral_v<Number> Number opaque(Number value)
{
    asm("" : "+r"(value));
    return value;
}

/// The address of constants. AArch64 takes two instructions to make one, and one or two more for each
/// constant that a compiler makes itself; from an address that it cannot see through, it loads them.
/// On x86-64 both are part of the instructions that use them. Loops take the address as it is: then
/// the compiler makes the constants once, before the loop.
template <class Constants>
const Constants *constants_at(const Constants *constants)
{
#if defined(__aarch64__)
    asm("" : "+r"(constants));
#endif
    return constants;
}

/// Compilers do not move a store past this. x86-64 carries out stores in their order, and sooner where
/// successive ones go to the same cache line; compilers mix lines.
inline void keep_order_of_stores()
{
#if !defined(__aarch64__)
    asm volatile("" ::: "memory");
#endif
}

/// Whether a constant fits into the instruction that compares with it.
constexpr bool is_immediate(uint64_t value)
{
#if defined(__aarch64__)
    return value < 32;
#else
    return value <= INT32_MAX;
#endif
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

    [[gnu::always_inline]] u8x16 vector() const
    {
        using aligned [[gnu::may_alias]] = u8x16;
        return *reinterpret_cast<const aligned *>(bytes);
    }
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

/// Values of `Width` bytes each: 0xFF in all bytes of those that are zero, 0 in all of the others.
template <uint32_t Width>
[[gnu::always_inline]] inline u8x16 zero_values(u8x16 values)
{
    if constexpr (Width == 8)
        return u8x16(u64x2(values) == u64x2{});
    else if constexpr (Width == 4)
        return u8x16(u32x4(values) == u32x4{});
    else if constexpr (Width == 2)
        return u8x16(u16x8(values) == u16x8{});
    else
        return u8x16(values == u8x16{});
}

/// Byte i of the result is byte indices[i] of the tables, which lie one behind the other, or 0 where
/// bit 7 of the index is set.
template <size_t Count>
[[gnu::always_inline]] inline u8x16 look_up(const u8x16 (&tables)[Count], u8x16 indices)
{
    static_assert(Count <= 4);
#if defined(__aarch64__)
    const auto table = [&](size_t index) { return uint8x16_t(tables[index]); };
    if constexpr (Count == 1)
        return u8x16(vqtbl1q_u8(table(0), uint8x16_t(indices)));
    else if constexpr (Count == 2)
        return u8x16(vqtbl2q_u8({{table(0), table(1)}}, uint8x16_t(indices)));
    else if constexpr (Count == 3)
        return u8x16(vqtbl3q_u8({{table(0), table(1), table(2)}}, uint8x16_t(indices)));
    else
        return u8x16(vqtbl4q_u8({{table(0), table(1), table(2), table(3)}}, uint8x16_t(indices)));
#else
    u8x16 result = {};
    unroll<Count>([&]<size_t Table>() VORL_INLINED {
        // An index below this table wraps and yields zero; one above it is made to.
        u8x16 in_table = indices - (u8x16{} + static_cast<uint8_t>(16 * Table));
        if constexpr (Table + 1 < Count)
            in_table = above_15_to_no_byte(in_table);
        result |= shuffle(tables[Table], in_table);
    });
    return result;
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

/// The bytes Indices of some tables, as look_up takes them. They take no place of a table that they
/// also take of another one. `vector` holds them, or all that they are made from where it is enough
/// for most uses to know whether they are zero.
template <lanes Indices>
struct picked {
    u8x16 vector;

    /// `indices` is Indices, loaded.
    template <size_t Count>
    [[gnu::always_inline]] static picked from(const u8x16 (&tables)[Count],
                                              [[maybe_unused]] u8x16 indices)
    {
#if defined(__aarch64__)
        return {look_up(tables, indices)};
#else
        u8x16 merged = tables[0];
        unroll<Count - 1>([&]<size_t Before>() VORL_INLINED {
            merged = select<taken_from(Before + 1, Count)>(opaque(tables[Before + 1]), merged);
        });
        return {merged};
#endif
    }

    /// Whether all are zero, for every one of `All`.
    template <class... All>
    [[gnu::always_inline]] static bool are_zero(All... all)
    {
#if defined(__aarch64__)
        return is_zero((all.vector | ...));
#else
        return (all.is_zero_alone() && ...);
#endif
    }

    [[gnu::always_inline]] u8x16 bytes() const
    {
#if defined(__aarch64__)
        return vector;
#else
        static constexpr lanes indices = Indices;
        return shuffle(vector, indices.vector());
#endif
    }

#if !defined(__aarch64__)
    /// A mask of the places that are taken of a table. A pair of bytes is taken whole where that
    /// makes no difference, for two bytes are selected faster than one.
    static constexpr lanes taken_from(size_t table, size_t tables)
    {
        lanes result{};
        bool is_taken[16]{};
        for (const uint8_t index : Indices.bytes)
            is_taken[index % 16] |= index < 16 * tables;
        for (const uint8_t index : Indices.bytes) {
            if (index / 16 != table)
                continue;
            result.bytes[index % 16] = 0xFF;
            if (!is_taken[(index ^ 1) % 16])
                result.bytes[(index ^ 1) % 16] = 0xFF;
        }
        return result;
    }
    [[gnu::always_inline]] bool is_zero_alone() const
    {
        static constexpr lanes places = [] {
            lanes result{};
            for (const uint8_t index : Indices.bytes) {
                if (index < 0x80)
                    result.bytes[index % 16] = 0xFF;
            }
            return result;
        }();
        return _mm_testz_si128(__m128i(vector), __m128i(places.vector())) != 0;
    }
#endif
};

/// max(a - b, 0), byte by byte.
inline u8x16 subtract_saturating(u8x16 a, u8x16 b)
{
#if defined(__aarch64__)
    return u8x16(vqsubq_u8(uint8x16_t(a), uint8x16_t(b)));
#else
    return u8x16(_mm_subs_epu8(__m128i(a), __m128i(b)));
#endif
}

/// min(a + b, 255), byte by byte.
inline u8x16 add_saturating(u8x16 a, u8x16 b)
{
#if defined(__aarch64__)
    return u8x16(vqaddq_u8(uint8x16_t(a), uint8x16_t(b)));
#else
    return u8x16(_mm_adds_epu8(__m128i(a), __m128i(b)));
#endif
}

/// Sixteen words as bytes; words past 255 become 255.
inline u8x16 narrow_saturating(u16x8 low, u16x8 high)
{
#if defined(__aarch64__)
    return u8x16(vqmovn_high_u16(vqmovn_u16(uint16x8_t(low)), uint16x8_t(high)));
#else
    const __m128i most = _mm_set1_epi16(255);
    return u8x16(
        _mm_packus_epi16(_mm_min_epu16(__m128i(low), most), _mm_min_epu16(__m128i(high), most)));
#endif
}

/// min(a, b), byte by byte.
inline u8x16 smaller(u8x16 a, u8x16 b) { return a < b ? a : b; }

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
