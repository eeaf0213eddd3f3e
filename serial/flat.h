// Flat messages, scalars and their arrays only, slot by slot from a table of their slots: one reader,
// one packer and one frame writer for all of them, in either byte order. Whatever has a faster way
// (serial/known_form.h, serial/sparse.h) takes that; what is left for these is bytes that no writer
// of ours makes, and the byte order that nobody uses. They decide what is right, so they are plain.
#pragma once

#include "serial/layout.h"

namespace vorl {

struct flat_slot {
    uint32_t record_at;
    uint32_t count;    ///< of an array, 0 for a scalar
    uint16_t frame_at; ///< of the field, from the table's start
    uint8_t width;     ///< of a scalar, or of an element
};

struct flat_message {
    const flat_slot *slots;
    uint32_t count;
    uint32_t table_length; ///< these three as frame_layout has them
    uint32_t vtable_at;
    uint32_t frame_length;
};

template <class Slot>
constexpr flat_slot flat_slot_of(uint32_t frame_at)
{
    if constexpr (is_scalar<Slot>)
        return {Slot::at, 0, static_cast<uint16_t>(frame_at), sizeof(typename Slot::value_type)};
    else
        return {Slot::at, Slot::count, static_cast<uint16_t>(frame_at),
                sizeof(typename Slot::value_type)};
}

template <class M>
struct flat_facts {
    struct slot_table {
        flat_slot of[slot_count<M>];
    };
    static constexpr slot_table slots = [] {
        slot_table result{};
        each_slot(typename M::slots{}, [&result]<class Slot, uint32_t Index>() {
            result.of[Index] = flat_slot_of<Slot>(frame_layout<M>::fields.slot[Index]);
        });
        return result;
    }();
    static constexpr flat_message message = {slots.of, slot_count<M>, frame_layout<M>::table_length,
                                             frame_layout<M>::vtable_at, frame_layout<M>::length};
};

/// `count` values of `width` bytes, each in the other order or all as they stand.
template <byte_order Order>
void copy_values(uint8_t *to, const uint8_t *from, uint32_t count, uint32_t width)
{
    if constexpr (Order == byte_order::native) {
        memcpy(to, from, size_t{count} * width);
    } else {
        for (uint32_t at = 0; at < count * width; at += width) {
            for (uint32_t i = 0; i < width; ++i)
                to[at + i] = from[at + width - 1 - i];
        }
    }
}

/// A table whose position and vtable are in range.
struct checked_table {
    uint32_t at;            ///< 4 <= at <= len - 4
    uint32_t vtable;        ///< 4 <= vtable <= len - 4
    uint32_t vtable_length; ///< vtable + vtable_length <= len
};

/// Received bytes, and the checks that lead from one place in them to another.
template <byte_order Order>
struct received {
    const uint8_t *bytes;
    uint32_t len; ///< 4 to 2^31 - 1

    /// A slot's vtable entry; 0 where the vtable ends before it.
    uint32_t entry_of(const checked_table &table, uint32_t slot) const
    {
        if (table.vtable_length < vtable_length(slot + 1))
            return 0;
        return load<Order, uint16_t>(bytes + table.vtable + (2 + slot) * entry_size);
    }

    /// Where the offset word of a field leads, with `size` bytes there. False when the word or
    /// those bytes are outside.
    bool follow(uint32_t table, uint32_t entry, uint64_t size, uint32_t &body) const
    {
        if (entry + word_size > len - table)
            return false;
        const uint32_t word = table + entry;
        const uint32_t offset = load<Order, uint32_t>(bytes + word);
        if (offset > len - word || size > len - word - offset)
            return false;
        body = word + offset;
        return true;
    }

    /// A scalar or an array into a zeroed record.
    bool read_flat(uint32_t table, uint32_t entry, const flat_slot &slot, uint8_t *record) const
    {
        uint8_t *to = record + slot.record_at;
        if (slot.count == 0) {
            if (entry + slot.width > len - table)
                return false;
            copy_values<Order>(to, bytes + table + entry, 1, slot.width);
            return true;
        }
        uint32_t body = 0;
        const uint64_t size = word_size + uint64_t{slot.count} * slot.width;
        if (!follow(table, entry, size, body) || load<Order, uint32_t>(bytes + body) != slot.count)
            return false;
        copy_values<Order>(to, bytes + body + word_size, slot.count, slot.width);
        return true;
    }
};

/// The slots of a table into a zeroed record, as far as they are in order.
template <byte_order Order>
bool read_flat_table(const received<Order> &from, const checked_table &table,
                     const flat_message &message, uint8_t *record)
{
    for (uint32_t s = 0; s < message.count; ++s) {
        const uint32_t entry = from.entry_of(table, s);
        if (entry != 0 && !from.read_flat(table.at, entry, message.slots[s], record))
            return false;
    }
    return true;
}

inline bool is_present(const flat_slot &slot, const uint8_t *record)
{
    uint64_t value = slot.count;
    if (slot.count == 0)
        memcpy(&value, record + slot.record_at, slot.width);
    return value != 0;
}

/// Bytes of the packed table from its vtable on.
inline uint32_t flat_table_size(const flat_message &message, const uint8_t *record)
{
    uint32_t size = vtable_length(message.count) + word_size;
    for (uint32_t s = 0; s < message.count; ++s) {
        const flat_slot &slot = message.slots[s];
        if (slot.count != 0)
            size += 2 * word_size + slot.count * slot.width;
        else if (is_present(slot, record))
            size += slot.width;
    }
    return size;
}

/// Writes that table at `vtable`, and returns its end.
template <byte_order Order>
uint8_t *pack_flat_table(const flat_message &message, uint8_t *vtable, const uint8_t *record)
{
    const uint32_t length = vtable_length(message.count);
    uint8_t *const table = vtable + length;
    uint8_t *at = table + word_size;
    memset(vtable, 0, length);
    for (uint32_t s = 0; s < message.count; ++s) {
        const flat_slot &slot = message.slots[s];
        if (!is_present(slot, record))
            continue;
        store<Order>(vtable + (2 + s) * entry_size, static_cast<uint16_t>(at - table));
        if (slot.count == 0)
            copy_values<Order>(at, record + slot.record_at, 1, slot.width);
        at += slot.count == 0 ? slot.width : word_size;
    }
    for (uint32_t s = 0; s < message.count; ++s) {
        const flat_slot &slot = message.slots[s];
        if (slot.count == 0)
            continue;
        uint8_t *word = table + load<Order, uint16_t>(vtable + (2 + s) * entry_size);
        store<Order>(word, static_cast<uint32_t>(at - word));
        store<Order>(at, slot.count);
        copy_values<Order>(at + word_size, record + slot.record_at, slot.count, slot.width);
        at += word_size + slot.count * slot.width;
    }
    store<Order>(vtable, static_cast<uint16_t>(length));
    store<Order>(vtable + entry_size, static_cast<uint16_t>(at - table));
    store<Order>(table, length);
    return at;
}

/// Writes the frame at `to`.
template <byte_order Order>
void write_flat_frame(const flat_message &message, uint8_t *to, const uint8_t *record)
{
    uint8_t *const table = to + frame_table_at;
    uint8_t *const vtable = to + message.vtable_at;
    memset(to, 0, message.frame_length);
    store<Order>(to, frame_table_at);
    store<Order>(table, frame_table_at - message.vtable_at);
    store<Order>(vtable, static_cast<uint16_t>(vtable_length(message.count)));
    store<Order>(vtable + entry_size, static_cast<uint16_t>(message.table_length));
    for (uint32_t s = 0; s < message.count; ++s) {
        const flat_slot &slot = message.slots[s];
        uint8_t *field = table + slot.frame_at;
        store<Order>(vtable + (2 + s) * entry_size, slot.frame_at);
        if (slot.count != 0) {
            store<Order>(field, word_size);
            store<Order>(field + word_size, slot.count);
            field += 2 * word_size;
        }
        copy_values<Order>(field, record + slot.record_at, slot.count == 0 ? 1 : slot.count,
                           slot.width);
    }
}

} // namespace vorl
