// Sizes and places that follow from a message's slots alone.
//
// The frame of a fixed-size message has one layout:
//
//   OFFSET              SIZE  CONTENT
//   0                   4     root offset, always 4
//   4                   4     soffset, 4 - vtable_at: always negative
//   8                         the fields in slot order, back to back at any alignment
//   4 + table_length    0-3   zero, up to a multiple of 4
//   vtable_at           2     vtable length
//   vtable_at + 2       2     table length: soffset and fields
//   vtable_at + 4       2     for each slot: offset of its field from the table, never 0
//   ...                 0-7   zero, up to a multiple of 8
//
//   FIELD               SIZE                      CONTENT
//   scalar              its width
//   array of N          4 + 4 + N values          the offset word, always 4, then at once the body
//   nested table        the nested frame          its root offset doubles as the offset word
//   array of N tables   4 + 4 + 4N + N frames     offset i leads to the table (byte 4) of frame i
//
// A packed table has one size when no scalar is left out and there is no vector: its full size.
#pragma once

#include "serial/slot.h"
#include "serial/wire.h"

namespace vorl {

constexpr uint32_t vtable_length(const message &m) { return vtable_length(m.slots.size); }

/// Bytes of a slot in the field area of a packed table: a scalar's value, otherwise an offset word.
constexpr uint32_t field_size(const slot &s)
{
    return s.shape == slot_shape::scalar ? s.width : word_size;
}

/// Bytes of one element behind the count of a body: a value, or the offset word of a table.
constexpr uint32_t element_size(const slot &s) { return s.nested != nullptr ? word_size : s.width; }

/// Bytes of the body of an array: its count, then its values, or the offset words of its tables.
constexpr uint32_t array_body_size(const slot &s) { return word_size + s.count * element_size(s); }

/// Where the table of a frame lies. A nested table's offset word in a frame holds the same number.
inline constexpr uint32_t frame_table_at = word_size;

struct frame_layout {
    uint32_t table_length;
    uint32_t vtable_at;
    uint32_t length;
};

/// The layout of all frames of a message. Only a message with is_fixed_size(m) has one.
constexpr frame_layout frame_layout_of(const message &m);

/// Bytes of a slot in the table of a frame.
constexpr uint32_t frame_field_size(const slot &s)
{
    switch (s.shape) {
    case slot_shape::array: return word_size + array_body_size(s);
    case slot_shape::table: return frame_layout_of(*s.nested).length;
    case slot_shape::table_array:
        return word_size + array_body_size(s) + s.count * frame_layout_of(*s.nested).length;
    default: return s.width;
    }
}

constexpr frame_layout frame_layout_of(const message &m)
{
    frame_layout layout{};
    layout.table_length = word_size;
    for (const slot &s : m.slots)
        layout.table_length += frame_field_size(s);
    layout.vtable_at = (frame_table_at + layout.table_length + 3) / 4 * 4;
    layout.length = (layout.vtable_at + vtable_length(m) + 7) / 8 * 8;
    return layout;
}

/// Bytes of a packed table from its vtable on, with all that it leads to and every scalar present.
/// Of a vector only the offset word is counted.
constexpr uint32_t full_table_size(const message &m)
{
    uint32_t size = vtable_length(m) + word_size;
    for (const slot &s : m.slots) {
        size += field_size(s);
        if (s.shape == slot_shape::array || s.shape == slot_shape::table_array)
            size += array_body_size(s);
        if (s.shape == slot_shape::table)
            size += full_table_size(*s.nested);
        if (s.shape == slot_shape::table_array)
            size += s.count * full_table_size(*s.nested);
    }
    return size;
}

} // namespace vorl
