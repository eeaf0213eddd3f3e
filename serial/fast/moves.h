// Copies whose shape is known at compile time: a destination that is partly constant, partly copied
// from a source, written by as few moves as it takes.
//
// Moves are 16, 8, 4, 2 or 1 bytes wide, or one memcpy for a long piece, and go in ascending order.
// A move may write past the end of its piece; later moves then overwrite those bytes. So may the move
// of the last piece begin before it, if it goes first and no other reaches its piece:
//
//   destination    [constant 4][copied 12         ][constant 16       ][copied 12      ]
//   first move                                                  [source, 16 bytes      ]
//   second move    [constants 0 to 3]
//   third move                 [source, 16 bytes     ....]
//   fourth move                                    [constants, 16     ]
//
// No move writes outside the destination or reads outside the source.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "serial/fast/simd.h"
#include "serial/unroll.h"
#include "serial/wire.h"

namespace vorl {

/// A piece longer than this moves as one memcpy.
inline constexpr uint32_t long_piece = 128;

/// piece::from of a piece whose bytes come from the constant image, not from the source.
inline constexpr int32_t from_constants = -1;

/// The constant bytes of a destination or a source. The bytes between them have no meaning.
template <uint32_t Size>
struct byte_image {
    uint8_t bytes[Size];
};

/// `size` bytes at `at` of a destination, which come from offset `from` of the source.
struct piece {
    uint32_t at;
    uint32_t size;
    int32_t from;
};

template <size_t Capacity>
struct piece_list {
    piece pieces[Capacity]{};
    size_t count = 0;

    constexpr uint32_t end() const
    {
        return count == 0 ? 0 : pieces[count - 1].at + pieces[count - 1].size;
    }

    /// Appends a piece, or lengthens the last one when these bytes continue it.
    constexpr void add(uint32_t size, int32_t from)
    {
        if (size == 0)
            return;
        if (count != 0) {
            piece &last = pieces[count - 1];
            const int32_t next =
                last.from < 0 ? last.from : last.from + static_cast<int32_t>(last.size);
            if (from == next) {
                last.size += size;
                return;
            }
        }
        pieces[count] = {end(), size, from};
        ++count;
    }
};

/// Whether the last piece of a destination is made by one move that begins before it and goes before
/// the moves of the others, instead of by several.
template <size_t Capacity>
constexpr bool goes_first(const piece &last, uint32_t source_size,
                          const piece_list<Capacity> &others)
{
    const auto size = static_cast<int32_t>(last.size);
    if (size >= 16 || (size & (size - 1)) == 0 || last.at + last.size < 16)
        return false;
    if (last.from >= 0 &&
        (last.from + size < 16 || static_cast<uint32_t>(last.from + size) > source_size))
        return false;
    for (size_t i = 0; i < others.count; ++i) {
        if (others.pieces[i].at + others.pieces[i].size > last.at)
            return false;
    }
    return true;
}

/// The moves that make the pieces of a destination, from a source of `source_size` bytes. Each move
/// is a piece itself. Its constants come from the same place in the destination's image.
template <size_t Capacity>
constexpr piece_list<Capacity> plan_moves(const piece_list<Capacity> &pieces, uint32_t source_size)
{
    piece_list<Capacity> moves;
    for (size_t i = 0; i < pieces.count; ++i) {
        const piece &p = pieces.pieces[i];
        const auto source_of = [&p](uint32_t at) {
            return p.from < 0 ? p.from : p.from + static_cast<int32_t>(at - p.at);
        };
        const auto is_inside = [&](uint32_t at, uint32_t size) {
            return at + size <= pieces.end() &&
                   (p.from < 0 || static_cast<uint32_t>(source_of(at)) + size <= source_size);
        };
        const uint32_t end = p.at + p.size;
        if (i + 1 == pieces.count && goes_first(p, source_size, moves)) {
            for (size_t m = moves.count++; m > 0; --m)
                moves.pieces[m] = moves.pieces[m - 1];
            moves.pieces[0] = {end - 16, 16, source_of(end - 16)};
            break;
        }
        for (uint32_t at = p.at; at < end;) {
            const uint32_t left = end - at;
            // The smallest width that finishes the piece, running past its end or starting early;
            // failing that, the largest that fits.
            uint32_t width = left > long_piece ? left : 16;
            while (width <= 16 && width > 1 && width / 2 >= left)
                width /= 2;
            uint32_t start = at;
            if (width > left && !is_inside(at, width)) {
                if (width <= p.size)
                    start = end - width;
                else
                    while (width > left)
                        width /= 2;
            }
            moves.pieces[moves.count++] = {start, width, source_of(start)};
            at = start + width;
        }
    }
    return moves;
}

/// Copies bytes that do not overlap. Sixteen go through one vector register, where memcpy takes two
/// general ones.
template <uint32_t Size>
[[gnu::always_inline]] inline void move(uint8_t *__restrict to, const uint8_t *__restrict from)
{
    if constexpr (Size == 16)
        store16(to, load16(from));
    else
        memcpy(to, from, Size);
}

/// Runs moves (a constant piece_list). `image` has the constants of the destination. They are loaded
/// from it, unless `AreMade`: then the compiler may make them as part of its instructions. Neither of
/// the sources overlaps the destination.
template <const auto &Moves, bool AreMade>
[[gnu::always_inline]] inline void run_moves(uint8_t *__restrict to, const uint8_t *__restrict from,
                                             const uint8_t *__restrict image)
{
    unroll<Moves.count>([to, from, image]<size_t Index>() VORL_INLINED {
        constexpr piece m = Moves.pieces[Index];
        if constexpr (m.from >= 0)
            move<m.size>(to + m.at, from + m.from);
        else if constexpr (AreMade)
            memcpy(to + m.at, image + m.at, m.size);
        else
            move<m.size>(to + m.at, image + m.at);
    });
}

/// Little-endian, for a constant expression.
template <uint32_t Size>
constexpr uint64_t word_of(const uint8_t *bytes)
{
    uint64_t word = 0;
    for (uint32_t i = Size; i-- > 0;)
        word = word << 8 | bytes[i];
    return word;
}
template <uint32_t Size>
[[gnu::always_inline]] inline uint64_t word_at(const uint8_t *bytes)
{
    uint64_t word = 0;
    memcpy(&word, bytes, Size);
    return word;
}

/// Whether the bytes at `bytes` equal the image in all loads (a constant piece_list whose `from` is
/// not used); no other byte is read. `image` is Image.bytes, as constants_at passes it on.
template <const auto &Loads, const auto &Image>
[[gnu::always_inline]] inline bool equals(const uint8_t *bytes, const uint8_t *image)
{
    u8x16 wide = {};
    unroll<Loads.count>([&]<size_t Index>() VORL_INLINED {
        constexpr piece p = Loads.pieces[Index];
        if constexpr (p.size == 16)
            wide |= load16(bytes + p.at) ^ load16(image + p.at);
    });
    return is_zero(wide) && all_equal<Loads.count>([&]<size_t Index>() VORL_INLINED {
               constexpr piece p = Loads.pieces[Index];
               if constexpr (p.size == 16) {
                   return comparison<uint64_t>{};
               } else {
                   constexpr uint64_t value = word_of<p.size>(Image.bytes + p.at);
                   const uint64_t found = word_at<p.size>(bytes + p.at);
                   if constexpr (is_immediate(value))
                       return comparison<uint64_t>{found, value};
                   else
                       return comparison<uint64_t>{found, word_at<p.size>(image + p.at)};
               }
           });
}

/// Cuts regions into loads of 16, 8, 4, 2 and 1 bytes that cover them and nothing else.
template <size_t Capacity>
constexpr piece_list<Capacity> plan_loads(const piece_list<Capacity> &regions)
{
    piece_list<Capacity> loads;
    for (size_t i = 0; i < regions.count; ++i) {
        const piece &region = regions.pieces[i];
        const uint32_t end = region.at + region.size;
        uint32_t largest = 16;
        while (largest > region.size)
            largest /= 2;
        for (uint32_t at = region.at; at < end;) {
            uint32_t width = largest;
            while (width > 1 && width / 2 >= end - at)
                width /= 2;
            const uint32_t start = at + width <= end ? at : end - width;
            loads.pieces[loads.count++] = {start, width, 0};
            at = start + width;
        }
    }
    return loads;
}

} // namespace vorl
