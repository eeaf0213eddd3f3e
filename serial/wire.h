// Bytes and values. A message is one self-contained run of bytes. A reader may not assume any
// alignment. A position counts from the first byte, in 32 bits (docs/format.md has the whole format).
//
//   OFFSET       SIZE  CONTENT
//   0            4     root offset: position of the root table
//
//   table        4     soffset: the vtable lies at table - soffset, before or behind the table
//   table + e    w     the field of a slot whose vtable entry is e
//
//   vtable       2     length of the vtable in bytes: 4 + 2 for each slot
//   vtable + 2   2     length of the table in bytes; it changes no result
//   vtable + 4   2     entry of slot 0: offset of its field from the table, 0 when absent
//   ...
//
// A field whose content stands elsewhere is an offset word: what it leads to, a body or a table,
// lies at the word's own position plus its value. The body of an array or a vector opens with its
// element count. All numbers are little-endian; a side whose byte-swap flag is set reverses them all.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace vorl {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "native order is the wire's order");

enum class byte_order : uint8_t { native, swapped };
using enum byte_order;

/// Bytes of an offset word, a count, an soffset or a root offset.
inline constexpr uint32_t word_size = 4;
/// Bytes of a vtable entry, a vtable length or a table length.
inline constexpr uint32_t entry_size = 2;
/// Bytes of a vtable of `slots` slots: two lengths, and an entry for each slot.
constexpr uint32_t vtable_length(uint32_t slots) { return 2 * entry_size + entry_size * slots; }
/// Offset in a vtable of a slot's entry.
constexpr uint32_t entry_at(uint32_t slot) { return vtable_length(slot); }
/// Readers refuse this count and larger ones, so that 4 times an accepted count fits 32 bits.
inline constexpr uint32_t count_limit = 1U << 30;

inline uint16_t reversed(uint16_t value) { return __builtin_bswap16(value); }
inline uint32_t reversed(uint32_t value) { return __builtin_bswap32(value); }

/// Loads an entry, a length, a word or a count.
template <byte_order Order, class T>
T load(const uint8_t *from)
{
    T value;
    memcpy(&value, from, sizeof value);
    return Order == swapped ? reversed(value) : value;
}

template <byte_order Order, class T>
void store(uint8_t *to, T value)
{
    if constexpr (Order == swapped)
        value = reversed(value);
    memcpy(to, &value, sizeof value);
}

/// Copies `count` values of `width` bytes from record to wire or back: unchanged, or each with its
/// bytes reversed.
template <byte_order Order>
[[gnu::always_inline]] inline void copy_values(uint8_t *to, const uint8_t *from, uint32_t count,
                                               uint32_t width)
{
    if constexpr (Order == native) {
        memcpy(to, from, size_t{count} * width);
    } else {
        for (uint32_t at = 0; at < count * width; at += width) {
            for (uint32_t i = 0; i < width; ++i)
                to[at + i] = from[at + width - 1 - i];
        }
    }
}

/// The member at offset `at` of the record at `record`, which may have any alignment.
template <class T>
T member(const uint8_t *record, size_t at)
{
    T value;
    memcpy(&value, record + at, sizeof value);
    return value;
}
template <class T>
void set_member(uint8_t *record, size_t at, T value)
{
    memcpy(record + at, &value, sizeof value);
}

} // namespace vorl
