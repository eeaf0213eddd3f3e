// Fixed-size record -> frame (the picture is in serial/layout.h). Every field is written whatever
// its value, padding is zero; the only input is the record, so nothing can fail.
#pragma once

#include "serial/flat.h"
#include "serial/known_form.h"

namespace vorl {

template <byte_order Order, class M>
void write_frame(uint8_t *to, const uint8_t *record);

/// A frame slot by slot: one that holds an array of tables, or tables in the other byte order.
template <byte_order Order, class M>
void write_frame_by_slot(uint8_t *__restrict to, const uint8_t *__restrict record)
{
    using layout = frame_layout<M>;
    store<Order, uint32_t>(to, frame_table_at);
    store<Order, uint32_t>(to + frame_table_at, frame_table_at - layout::vtable_at);

    each_slot(typename M::slots{}, [to, record]<class Slot, uint32_t Index>() {
        uint8_t *field = to + frame_table_at + layout::fields.slot[Index];
        const uint8_t *from = record + Slot::at;
        if constexpr (is_scalar<Slot>) {
            using value_type = typename Slot::value_type;
            store<Order>(field, member<value_type>(record, Slot::at));
        } else if constexpr (is_array<Slot>) {
            store<Order>(field, word_size);
            store<Order>(field + word_size, Slot::count);
            copy_elements<Order, typename Slot::value_type, Slot::count>(field + 2 * word_size,
                                                                         from);
        } else if constexpr (is_table<Slot>) {
            write_frame<Order, typename Slot::message>(field, from);
        } else {
            using element = typename Slot::message;
            constexpr uint32_t element_length = frame_layout<element>::length;
            store<Order>(field, word_size);
            store<Order>(field + word_size, Slot::count);
            uint8_t *word = field + 2 * word_size;
            uint8_t *frame = word + Slot::count * word_size;
            for (uint32_t i = 0; i < Slot::count; ++i) {
                store<Order>(word, static_cast<uint32_t>(frame + frame_table_at - word));
                write_frame<Order, element>(frame, from + i * sizeof(typename element::record));
                word += word_size;
                frame += element_length;
            }
        }
    });

    memset(to + layout::table_end, 0, layout::vtable_at - layout::table_end);
    uint8_t *vtable = to + layout::vtable_at;
    store<Order>(vtable, static_cast<uint16_t>(vtable_length(slot_count<M>)));
    store<Order>(vtable + entry_size, static_cast<uint16_t>(layout::table_length));
    for (uint32_t s = 0; s < slot_count<M>; ++s)
        store<Order>(vtable + (2 + s) * entry_size, layout::fields.slot[s]);
    memset(to + layout::vtable_end, 0, layout::length - layout::vtable_end);
}

/// Writes frame_layout<M>::length bytes at `to` from the M record at `record`.
template <byte_order Order, class M>
[[gnu::always_inline]] inline void write_frame(uint8_t *to, const uint8_t *record)
{
    if constexpr (Order == byte_order::native && has_known_forms<M>)
        frame_form<M>::write(to, record);
    else if constexpr (is_flat<M>)
        write_flat_frame<Order>(flat_facts<M>::message, to, record);
    else
        write_frame_by_slot<Order, M>(to, record);
}

} // namespace vorl
