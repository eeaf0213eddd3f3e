// Record -> packed bytes: the compact encoding, vtable first, zero scalars left out.
//
//   0        4       root offset: 8 + 2n for n slots
//   4                vtable, all n entries: 0 for a field left out
//   8 + 2n   4       soffset: 4 + 2n, the vtable's length
//   12 + 2n          fields in slot order, back to back; of arrays, vectors and tables only the
//                    offset word
//                    bodies in slot order: arrays (count, elements), byte vectors (count, bytes),
//                    vectors of tables (count, an offset word an element)
//                    tables in slot order, nested and elements, each as vtable then table again
//
// The table length counts soffset, fields and bodies, modulo 65536; tables are not counted. Arrays,
// arrays of tables and nested tables are always written; a vector is written when it has elements.
//
// Measuring and writing visit the same slots by the same rules. A record measures before it is
// written, and measuring is what refuses: a writer is only ever given a record that measured, and
// as many bytes as it measured.
#pragma once

#include "serial/flat.h"
#include "serial/sparse.h"

namespace vorl {

template <class Slot>
uint32_t element_count(const uint8_t *record)
{
    if constexpr (is_vector<Slot>)
        return member<uint32_t>(record, Slot::count_at);
    else
        return Slot::count;
}

/// Where the elements of a vector, or of an array of tables, lie.
template <class Slot>
const uint8_t *elements_of(const uint8_t *record)
{
    if constexpr (is_vector<Slot>)
        return member<const uint8_t *>(record, Slot::at);
    else
        return record + Slot::at;
}

template <class Slot>
bool is_present(const uint8_t *record)
{
    if constexpr (is_scalar<Slot>)
        return member<typename Slot::value_type>(record, Slot::at) != 0;
    else if constexpr (is_vector<Slot>)
        return member<uint32_t>(record, Slot::count_at) != 0;
    else
        return true;
}

/// Adds the bytes that the table of the record takes, vtable and all that it leads to included.
/// False: a vector has a count but no pointer, which is what a failed unpack leaves, and is not to
/// be sent on as an empty one. The sum cannot wrap: counts are 32 bits and elements below 2^18
/// bytes.
template <class M>
bool add_table_size(const uint8_t *record, uint64_t &size)
{
    if constexpr (is_sparse<M>) {
        size += squeezed<M>(presence<M, 1>(record_windows<M>(record))).table_size();
        return true;
    } else if constexpr (is_flat<M>) {
        size += flat_table_size(flat_facts<M>::message, record);
        return true;
    }
    size += vtable_length(slot_count<M>) + word_size;
    return all_slots(typename M::slots{}, [record, &size]<class Slot, uint32_t>() {
        if (!is_present<Slot>(record))
            return true;
        if constexpr (is_scalar<Slot>) {
            size += sizeof(typename Slot::value_type);
        } else if constexpr (is_array<Slot>) {
            size += word_size + Slot::body_size;
        } else if constexpr (is_table<Slot>) {
            size += word_size;
            return add_table_size<typename Slot::message>(record + Slot::at, size);
        } else {
            const uint64_t count = element_count<Slot>(record);
            const uint8_t *elements = elements_of<Slot>(record);
            if (elements == nullptr)
                return false;
            size += 2 * word_size;
            if constexpr (is_byte_vector<Slot>) {
                size += count;
            } else {
                size += count * word_size;
                for (uint64_t i = 0; i < count; ++i)
                    add_table_size<typename Slot::message>(
                        elements + i * sizeof(typename Slot::message::record), size);
            }
        }
        return true;
    });
}

/// The record's packed size in bytes. 0 when it cannot be packed: none, a count without a pointer, a
/// size past 32 bits.
template <class M>
uint32_t packed_size(const uint8_t *record)
{
    uint64_t size = word_size;
    if (record == nullptr || !add_table_size<M>(record, size) || size > UINT32_MAX)
        return 0;
    return static_cast<uint32_t>(size);
}

/// Adds at least the bytes that the table of the record takes, without a look at its elements, and
/// refuses as add_table_size does.
template <class M>
bool add_largest_size(const uint8_t *record, uint64_t &size)
{
    if constexpr (is_fixed_size<M>) {
        size += full_table_size<M>();
        return true;
    } else {
        size += vtable_length(slot_count<M>) + word_size;
        return all_slots(typename M::slots{}, [record, &size]<class Slot, uint32_t>() {
            if constexpr (is_table<Slot>) {
                size += word_size;
                return add_largest_size<typename Slot::message>(record + Slot::at, size);
            } else if constexpr (is_vector<Slot>) {
                const uint64_t count = element_count<Slot>(record);
                if (count != 0 && elements_of<Slot>(record) == nullptr)
                    return false;
                size += 2 * word_size;
                if constexpr (is_byte_vector<Slot>)
                    size += count;
                else
                    size += count * (word_size + full_table_size<typename Slot::message>());
            } else {
                size += full_slot_size<Slot>();
            }
            return true;
        });
    }
}

/// Writes the record's vtable at `vtable`, its table behind it and all that it leads to; returns
/// the end.
template <byte_order Order, class M>
uint8_t *pack_table(uint8_t *__restrict vtable, const uint8_t *__restrict record)
{
    if constexpr (Order == byte_order::native && is_sparse<M>) {
        const record_windows<M> windows(record);
        const presence<M, 1> scalars(windows);
        if (scalars.is_full()) {
            sparse_writer<M>::write_full(vtable, record, windows);
            return vtable + full_table_size<M>();
        }
        const squeezed<M> left(scalars);
        return sparse_writer<M>::write(vtable, record, windows, left);
    } else if constexpr (is_flat<M>) {
        return pack_flat_table<Order>(flat_facts<M>::message, vtable, record);
    }
    constexpr uint32_t length = vtable_length(slot_count<M>);
    uint8_t *const table = vtable + length;
    memset(vtable, 0, length);
    store<Order>(vtable, static_cast<uint16_t>(length));
    store<Order>(table, length);

    // Fields. What an offset word leads to is not placed yet, so remember where the word stands;
    // a vector that is left out has none.
    uint8_t *at = table + word_size;
    uint8_t *word[slot_count<M>] = {};
    each_slot(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
        if (!is_present<Slot>(record))
            return;
        store<Order>(vtable + (2 + Index) * entry_size, static_cast<uint16_t>(at - table));
        if constexpr (is_scalar<Slot>) {
            using value_type = typename Slot::value_type;
            store<Order>(at, member<value_type>(record, Slot::at));
            at += sizeof(value_type);
        } else {
            word[Index] = at;
            at += word_size;
        }
    });

    // Bodies. From here on a word of a vector of tables is that of its next element.
    each_slot(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
        if constexpr (!is_scalar<Slot> && !is_table<Slot>) {
            if (word[Index] == nullptr)
                return;
            const uint32_t count = element_count<Slot>(record);
            store<Order>(word[Index], static_cast<uint32_t>(at - word[Index]));
            store<Order>(at, count);
            at += word_size;
            if constexpr (is_array<Slot>) {
                copy_elements<Order, typename Slot::value_type, Slot::count>(at, record + Slot::at);
                at += Slot::body_size - word_size;
            } else if constexpr (is_byte_vector<Slot>) {
                memcpy(at, elements_of<Slot>(record), count);
                at += count;
            } else {
                word[Index] = at;
                at += size_t{count} * word_size;
            }
        }
    });
    store<Order>(vtable + entry_size, static_cast<uint16_t>(at - table));

    const auto pack_nested = [&at]<class Nested>(uint8_t *offset_word, const uint8_t *nested) {
        store<Order>(offset_word,
                     static_cast<uint32_t>(at + vtable_length(slot_count<Nested>) - offset_word));
        at = pack_table<Order, Nested>(at, nested);
    };
    each_slot(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
        if constexpr (is_table<Slot>) {
            pack_nested.template operator()<typename Slot::message>(word[Index], record + Slot::at);
        } else if constexpr (is_table_array<Slot> || is_table_vector<Slot>) {
            if (word[Index] == nullptr)
                return;
            const uint32_t count = element_count<Slot>(record);
            const uint8_t *element = elements_of<Slot>(record);
            for (uint32_t i = 0; i < count; ++i) {
                pack_nested.template operator()<typename Slot::message>(word[Index], element);
                word[Index] += word_size;
                element += sizeof(typename Slot::message::record);
            }
        }
    });
    return at;
}

/// Writes the record's packed bytes at `to`, for which there is room; returns their end.
template <class M>
uint8_t *pack(uint8_t *to, const uint8_t *record)
{
    store<byte_order::native>(to, word_size + vtable_length(slot_count<M>));
    return pack_table<byte_order::native, M>(to + word_size, record);
}

/// Writes a record that has scalars left out, with its root offset, when that takes at most `room`
/// bytes, and returns how many; otherwise writes nothing and returns 0.
template <class M>
[[gnu::always_inline]] inline uint32_t
pack_sparse(uint8_t *__restrict to, uint32_t room, const uint8_t *__restrict record,
            const record_windows<M> &windows, const presence<M, 2> &scalars)
{
    const squeezed<M> left(scalars);
    const uint64_t size = word_size + left.table_size();
    if (size > room)
        return 0;
    store<byte_order::native>(to, word_size + vtable_length(slot_count<M>));
    sparse_writer<M>::write(to + word_size, record, windows, left);
    return static_cast<uint32_t>(size);
}

/// The same of a record that has none left out.
template <class M>
[[gnu::always_inline]] inline uint32_t pack_full(uint8_t *__restrict to, uint32_t room,
                                                 const uint8_t *__restrict record,
                                                 const record_windows<M> &windows)
{
    constexpr uint32_t size = word_size + full_table_size<M>();
    if (size > room) [[unlikely]]
        return 0;
    store<byte_order::native>(to, word_size + vtable_length(slot_count<M>));
    sparse_writer<M>::write_full(to + word_size, record, windows);
    return size;
}

} // namespace vorl
