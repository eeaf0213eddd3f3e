// Record -> packed bytes: vtable, table, bodies, then the tables that it leads to.
//
//   vtable   2 + 2        its length, the table's length
//            2 each       for each slot: where its field lies in the table, 0 when it is left out
//   table    4            soffset: the vtable's length, for the vtable lies just before
//   fields                of slots that are present, in slot order: a scalar, or an offset word
//   bodies                of arrays and vectors, in slot order: count, then values or offset words
//   -- the table's length counts to here --
//   tables                that the offset words lead to, in slot order, each with its vtable first
//
// No byte is padding. A slot is packed in three steps: its field, its body, its tables. Each step
// is written once, and is called by a loop over the slots (pack.cpp) or by code that is made for
// one message (serial/unrolled.h).
#pragma once

#include "serial/layout.h"
#include "serial/plain/present.h"

namespace vorl {

/// A packed table that is being written.
template <byte_order Order>
struct table_writer {
    uint8_t *vtable;
    uint8_t *table;
    uint8_t *at; ///< where the next byte goes

    /// Begins a table whose vtable is at `vtable_at`. All its slots are absent so far.
    [[gnu::always_inline]] table_writer(uint8_t *vtable_at, const message &m)
        : vtable(vtable_at), table(vtable_at + vtable_length(m)), at(table + word_size)
    {
        memset(vtable, 0, vtable_length(m));
        store<Order>(vtable, static_cast<uint16_t>(vtable_length(m)));
        store<Order>(table, vtable_length(m));
    }

    /// First step: the vtable entry, and the scalar, or room for the offset word. Returns where the
    /// field lies; null when it is left out.
    [[gnu::always_inline]] uint8_t *put_field(uint32_t index, const slot &s, const uint8_t *record)
    {
        if (!is_present(s, record))
            return nullptr;
        uint8_t *const field = at;
        store<Order>(vtable + entry_at(index), static_cast<uint16_t>(field - table));
        if (s.shape == slot_shape::scalar)
            copy_values<Order>(field, record + s.record_at, 1, s.width);
        at += field_size(s);
        return field;
    }

    /// Second step: the body of an array or a vector, and the word at `field` that leads to it.
    /// Returns where the elements of the body begin; `field` for a slot that has no body. Offset
    /// words that lead to tables are not written yet.
    [[gnu::always_inline]] uint8_t *put_body(uint8_t *field, const slot &s, const uint8_t *record)
    {
        if (field == nullptr || s.shape == slot_shape::scalar || s.shape == slot_shape::table)
            return field;
        const uint32_t count = element_count(s, record);
        store<Order>(field, static_cast<uint32_t>(at - field));
        store<Order>(at, count);
        uint8_t *const elements = at + word_size;
        if (s.nested == nullptr)
            copy_values<Order>(elements, elements_of(s, record), count, s.width);
        at = elements + size_t{count} * element_size(s);
        return elements;
    }

    /// Between the second step and the third: writes the table's length, which is then known.
    [[gnu::always_inline]] void close() const
    {
        store<Order>(vtable + entry_size, static_cast<uint16_t>(at - table));
    }

    /// Third step: the tables that a slot leads to, where it leads to any. `tables(words, at,
    /// count, records)` writes them at `at`, and their offset words at `words`; it returns the end
    /// of the tables.
    template <class Tables>
    [[gnu::always_inline]] void put_tables(uint8_t *words, const slot &s, const uint8_t *record,
                                           Tables &&tables)
    {
        if (words == nullptr)
            return;
        if (s.shape == slot_shape::table)
            at = tables(words, at, 1, record + s.record_at);
        else
            at = tables(words, at, element_count(s, record), elements_of(s, record));
    }

    /// What put_field returned for a slot, found in the table again.
    uint8_t *field_of(uint32_t index) const
    {
        const auto entry = load<Order, uint16_t>(vtable + entry_at(index));
        return entry == 0 ? nullptr : table + entry;
    }
    /// What put_body returned for a slot that leads to tables.
    uint8_t *words_of(uint32_t index, const slot &s) const
    {
        uint8_t *const field = field_of(index);
        if (field == nullptr || s.shape == slot_shape::table)
            return field;
        return field + load<Order, uint32_t>(field) + word_size;
    }
};

/// Makes the offset word at `word` lead to the table whose vtable is at `vtable`.
template <byte_order Order>
[[gnu::always_inline]] inline void lead_to(uint8_t *word, const uint8_t *vtable, const message &m)
{
    store<Order>(word, static_cast<uint32_t>(vtable + vtable_length(m) - word));
}

namespace plain {

/// Packs `count` records at `at`, one table behind the other, each with all that it leads to, and
/// makes word i at `words` lead to table i. Returns the end.
template <byte_order Order>
uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count, const uint8_t *records,
                     const message &m);

/// Packs a record with its root offset: packed_size(record, m) bytes, for which there is room.
template <byte_order Order>
void pack(uint8_t *to, const uint8_t *record, const message &m);

} // namespace plain
} // namespace vorl
