// Bytes -> record, checking every offset before it is followed. The bytes come from another process
// and may have any content and any alignment. For any `len` bytes, nothing outside them is read,
// nothing outside the record and the allocated blocks is written, and every read is checked against
// `len` once.
//
//    root offset ----> table ---- soffset ----> vtable
//                        |                       entry of slot 0
//                        +-- entry --> field <-- entry of slot 1 ...
//                                       |
//                          offset word -+--> count, elements
//
// What is not checked: that fields lie inside the table, that vtable, fields and bodies do not
// overlap, that the table length is right, that the vtable ends with the message's own slots. The
// reads are safe without these checks, and a newer sender may add slots.
//
// A record is zeroed before its table is read, so nothing is done for an absent slot. Reading stops
// at the first field that fails; what was read before it stays. The listener is told of that field,
// of a table whose position, vtable position or vtable length is out of range, and of memory that
// could not be had. It is told of what passes only when it watches.
#pragma once

#include "serial/layout.h"
#include "serial/plain/listener.h"

namespace vorl {

/// What was received. `len` is 4 to 2^31 - 1.
struct received {
    const uint8_t *bytes;
    uint32_t len;
};

/// A table whose position and vtable are in range.
struct checked_table {
    uint32_t at;            ///< 4 <= at <= len - 4
    uint32_t vtable;        ///< 4 <= vtable <= len - 4
    uint32_t vtable_length; ///< vtable + vtable_length <= len
};

namespace plain {

/// Makes the three checks of the table at `position`, and fills `table` when they pass.
template <byte_order Order>
bool find_table(uint32_t position, checked_table &table, table_role role, received from,
                const listener &to, const message &m);

/// Reads the slots of a table into a zeroed record, in slot order. False: a field failed, or
/// something that it leads to.
template <byte_order Order>
bool read_slots(const checked_table &table, uint8_t *record, table_role role, received from,
                const listener &to, const message &m);

/// Checks `count` tables and reads them into zeroed records. Each has an offset word of its own;
/// the words begin at `words` and lie inside the bytes.
template <byte_order Order>
bool read_tables(uint32_t words, uint32_t count, uint8_t *records, received from,
                 const listener &to, const message &m);

/// Checks one table and reads it into a zeroed record, in the role non_root.
template <byte_order Order>
bool read_table(uint32_t position, uint8_t *record, received from, const listener &to,
                const message &m);

// What tells the listener of a refusal, and returns false. Apart from the readers, so that what
// passes costs nothing for it.

/// Of slot `index` of a table: makes its checks once more, to say which fails.
template <byte_order Order>
[[gnu::cold, gnu::noinline]] bool refuse_field(const checked_table &table, uint32_t index,
                                               const received &from, const listener &to,
                                               const message &m);
/// Of the word that leads to a table of the message.
[[gnu::cold, gnu::noinline]] bool refuse_position(uint32_t word, uint64_t position,
                                                  const listener &to, const message &m);
/// Of the elements of slot `index`, which need `size` bytes.
[[gnu::cold, gnu::noinline]] bool refuse_memory(uint32_t index, uint32_t elements, uint64_t size,
                                                table_role role, const listener &to,
                                                const message &m);

} // namespace plain

/// Where the body of a slot is.
struct found_body {
    uint32_t at;
    uint32_t elements;
    uint32_t count;
};

/// Reads one slot of a table. The steps are written once, and are called by a loop over the slots
/// (read.cpp) or by code that is made for one message (serial/unrolled.h).
template <byte_order Order>
struct slot_reader {
    const received &from;
    const listener &to;
    const message &m;
    table_role role;

    /// A slot's vtable entry; 0 where the vtable ends before it.
    [[gnu::always_inline]] uint32_t entry_of(const checked_table &table, uint32_t index) const
    {
        if (table.vtable_length < entry_at(index) + entry_size)
            return 0;
        return load<Order, uint16_t>(from.bytes + table.vtable + entry_at(index));
    }

    /// Whether the field with that entry is inside.
    [[gnu::always_inline]] bool has_field(const checked_table &table, uint32_t entry,
                                          const slot &s) const
    {
        return entry + field_size(s) <= from.len - table.at;
    }

    /// Follows the offset word at `at`. `refused(check, at, leads_to)` is called for a check that
    /// fails, and its result returned.
    template <class Refused>
    [[gnu::always_inline]] bool find_body(uint32_t at, const slot &s, found_body &body,
                                          Refused &&refused) const
    {
        const uint32_t offset = load<Order, uint32_t>(from.bytes + at);
        if (offset > from.len - at || word_size > from.len - at - offset)
            return refused(field_check::body, at, uint64_t{at} + offset);
        body.at = at + offset;
        body.elements = body.at + word_size;
        body.count = load<Order, uint32_t>(from.bytes + body.at);
        if (body.count >= count_limit || body.count * element_size(s) > from.len - body.elements)
            return refused(field_check::elements, body.at, body.elements);
        if (!s.is_vector() && body.count != s.count)
            return refused(field_check::count, body.at, body.elements);
        return true;
    }

    /// Reads a slot into a zeroed record. `tables(words, count, records)` reads the tables that the
    /// slot leads to. `s` is slot `index` of the message.
    template <class Tables>
    [[gnu::always_inline]] bool read(const checked_table &table, uint32_t index, const slot &s,
                                     uint8_t *record, Tables &&tables) const
    {
        const uint32_t entry = entry_of(table, index);
        if (entry == 0)
            return true; // absent: the record has its zero already
        uint8_t *const into = record + s.record_at;
        const uint32_t at = table.at + entry; // below 2^31 and 2^16: no wrap
        if (!has_field(table, entry, s))
            return plain::refuse_field<Order>(table, index, from, to, m);
        passed(reading_step::kind::field, index, at, at, field_size(s));
        if (s.shape == slot_shape::scalar) {
            copy_values<Order>(into, from.bytes + at, 1, s.width);
            return true;
        }
        // `tables` checks where the nested table lies.
        if (s.shape == slot_shape::table)
            return tables(at, 1, into);

        found_body body{};
        if (!find_body(at, s, body, [](field_check, uint32_t, uint64_t) { return false; }))
            return plain::refuse_field<Order>(table, index, from, to, m);
        passed(reading_step::kind::body, index, body.at, body.elements, body.count);
        if (s.shape == slot_shape::array) {
            copy_values<Order>(into, from.bytes + body.elements, s.count, s.width);
            return true;
        }
        if (s.shape == slot_shape::table_array)
            return tables(body.elements, s.count, into);
        return read_vector(index, s, record, body.elements, body.count, tables);
    }

  private:
    [[gnu::always_inline]] void passed(reading_step::kind what, uint32_t index, uint32_t at,
                                       uint32_t leads_to, uint32_t size) const
    {
        if (to.watch != nullptr)
            to.watch(to, {what, &m, index, at, leads_to, size, {}});
    }

    template <class Tables>
    [[gnu::always_inline]] bool read_vector(uint32_t index, const slot &s, uint8_t *record,
                                            uint32_t elements, uint32_t count,
                                            Tables &&tables) const
    {
        set_member(record, s.count_at, count);
        if (count == 0)
            return true;
        const uint64_t size = uint64_t{count} * (s.nested == nullptr ? 1 : s.nested->record_size);
        // A size past 32 bits counts as a failed allocation; the allocator is not asked.
        void *block =
            size > UINT32_MAX ? nullptr : to.allocate(to, static_cast<uint32_t>(size), role, m);
        if (block == nullptr)
            return plain::refuse_memory(index, elements, size, role, to, m);
        set_member(record, s.record_at, block);
        if (s.nested == nullptr) {
            if (to.copy_bytes(block, from.bytes + elements, count) != 0)
                memcpy(block, from.bytes + elements, count);
            return true;
        }
        if (to.set_zero(block, size) != 0)
            memset(block, 0, size);
        // The count from where it is: to keep it past both calls costs more.
        return tables(elements, member<uint32_t>(record, s.count_at),
                      static_cast<uint8_t *>(block));
    }
};

} // namespace vorl
