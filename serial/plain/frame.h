// Fixed-size record -> frame: every slot at its place, whatever its value (serial/layout.h has the
// drawing).
#pragma once

#include "serial/layout.h"

namespace vorl {

/// A frame that is being written, field by field.
template <byte_order Order>
struct frame_writer {
    uint8_t *table;
    uint8_t *vtable;
    uint8_t *at; ///< where the next field goes

    /// Writes all of a frame at `frame` but the fields and their entries. Padding is zero.
    [[gnu::always_inline]] frame_writer(uint8_t *frame, const frame_layout &layout,
                                        const message &m)
        : table(frame + frame_table_at), vtable(frame + layout.vtable_at), at(table + word_size)
    {
        uint8_t *const fields_end = table + layout.table_length;
        uint8_t *const vtable_end = vtable + vtable_length(m);
        store<Order>(frame, frame_table_at);
        store<Order>(table, frame_table_at - layout.vtable_at);
        memset(fields_end, 0, static_cast<size_t>(vtable - fields_end));
        store<Order>(vtable, static_cast<uint16_t>(vtable_length(m)));
        store<Order>(vtable + entry_size, static_cast<uint16_t>(layout.table_length));
        memset(vtable_end, 0, static_cast<size_t>(frame + layout.length - vtable_end));
    }

    /// Writes a field and its entry. `frames(to, count, records)` writes the frames of nested
    /// records, one behind the other.
    template <class Frames>
    [[gnu::always_inline]] void put_field(uint32_t index, const slot &s, const uint8_t *record,
                                          Frames &&frames)
    {
        const uint8_t *const from = record + s.record_at;
        store<Order>(vtable + entry_at(index), static_cast<uint16_t>(at - table));
        if (s.shape == slot_shape::scalar) {
            copy_values<Order>(at, from, 1, s.width);
        } else if (s.shape == slot_shape::table) {
            frames(at, 1, from);
        } else {
            uint8_t *const elements = at + 2 * word_size;
            store<Order>(at, word_size);
            store<Order>(at + word_size, s.count);
            if (s.nested == nullptr)
                copy_values<Order>(elements, from, s.count, s.width);
            else
                put_elements(elements, s, from, frames);
        }
        at += frame_field_size(s);
    }

  private:
    /// Writes offset words, then frames. Each word leads to the table in its frame.
    template <class Frames>
    [[gnu::always_inline]] static void put_elements(uint8_t *words, const slot &s,
                                                    const uint8_t *records, Frames &&frames)
    {
        const uint32_t length = frame_layout_of(*s.nested).length;
        for (uint32_t i = 0; i < s.count; ++i)
            store<Order>(words + i * word_size,
                         (s.count - i) * word_size + i * length + frame_table_at);
        frames(words + s.count * word_size, s.count, records);
    }
};

namespace plain {

/// Writes the frames of `count` records, one behind the other.
template <byte_order Order>
void write_frames(uint8_t *to, uint32_t count, const uint8_t *records, const message &m);

} // namespace plain
} // namespace vorl
