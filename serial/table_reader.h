// Bytes -> record, checking every offset before it is followed. The bytes are another process's:
// any content, any alignment. What is promised for any `len` bytes: nothing outside them is read,
// nothing outside the record and the blocks it asked for is written, and every read is checked
// against `len` once.
//
// What is not checked: that fields lie inside the table, that vtable, fields and bodies do not
// overlap, that the table length is right, that the vtable ends with the message's own slots. A
// reader need not care, and a newer sender may add slots.
//
// A record is zeroed before its table is read, so an absent slot is one that is left alone. Reading
// stops at the first field that fails; what was read before it stays. Failing fields are silent; a
// table whose position, vtable position or vtable length is out of range is reported.
//
// Services, all static:
//   refuse(check, is_root, name, format, a, b)       one line to the log
//   allocate(size, tag)                              a block, or null
//   no_memory(slot, is_root, name, format, size)     one line to the log
//   set_zero(block, size)   copy_bytes(block, from, size)
#pragma once

#include "serial/flat.h"
#include "serial/sparse.h"
#include "serial/vector.h"

namespace vorl {

enum class table_check : uint8_t { position, vtable_position, vtable_length };

/// A table that `__unpack` checks itself, or one read as nested, as an element or in place: only
/// the name in the log differs.
enum class table_role : uint8_t { root, non_root };

template <class M, table_role Role>
inline constexpr const char *reader_name =
    Role == table_role::root ? function_name<M, "_unpack">::text
                             : function_name<M, "_unpack_non_root">::text;

// Short cuts. Each reads what one writer of the type writes, whole and at once, and says no to
// anything else without having written; the careful reader below then has the word. `len` is at
// least 4.

/// A table as its frame has it, the frame's root offset included. `table` is at least 4 and at most
/// len - 4.
template <class M>
[[gnu::always_inline]] inline bool read_framed(const uint8_t *bytes, uint32_t len, uint32_t table,
                                               uint8_t *record)
{
    using form = frame_form<M>;
    const uint32_t at = table - frame_table_at;
    if (len - at < form::extent || form::mismatch(bytes + at) != 0)
        return false;
    form::read(record, bytes + at);
    return true;
}

/// A table as the packer has it when no scalar is left out. Any `table`.
template <class M>
[[gnu::always_inline]] inline bool read_full(const uint8_t *bytes, uint32_t len, uint64_t table,
                                             uint8_t *record)
{
    using form = full_table_form<M>;
    constexpr uint32_t table_length =
        form::image.bytes[entry_size] + 256U * form::image.bytes[entry_size + 1];
    // From the first place that a vtable can have: one that lies before wraps, and is far outside.
    constexpr uint32_t least_len = word_size + form::extent;
    const uint32_t places = len < least_len ? 0 : len - least_len + 1;
    const uint64_t vtable = table - vtable_length(slot_count<M>);
    if (vtable - word_size >= places)
        return false;
    // The table length differs first when something is left out.
    if (load<byte_order::native, uint16_t>(bytes + vtable + entry_size) != table_length ||
        form::mismatch(bytes + vtable) != 0)
        return false;
    form::read(record, bytes + vtable);
    return true;
}

/// A table as the packer has it: behind its vtable, with all slots in that. Any `table`.
template <class M>
[[gnu::always_inline]] inline bool read_packed(const uint8_t *bytes, uint32_t len, uint64_t table,
                                               uint8_t *record)
{
    if (read_full<M>(bytes, len, table, record))
        return true;
    if constexpr (is_sparse<M>) {
        constexpr uint32_t length = vtable_length(slot_count<M>);
        return table >= word_size + length && table <= len - word_size &&
               load<byte_order::native, uint32_t>(bytes + table) == length &&
               load<byte_order::native, uint16_t>(bytes + table - length) == length &&
               sparse_reader<M>::read(bytes, len, static_cast<uint32_t>(table),
                                      static_cast<uint32_t>(table) - length, record);
    }
    return false;
}

template <byte_order Order, class Services>
class table_reader {
  public:
    /// `len` is at least 4 and at most 2^31 - 1.
    table_reader(const uint8_t *bytes, uint32_t len) : from_{bytes, len} {}

    /// The three checks of a table, each reported. The second reports the table's position, not the
    /// vtable's.
    template <class M, table_role Role>
    bool find_table(uint32_t position, checked_table &table) const
    {
        if (position < word_size || position > from_.len - word_size) {
            refuse<M, Role>(table_check::position,
                            "[ZELKO]:Table offset(%u) is out of range(4 - %u)", position,
                            from_.len);
            return false;
        }
        const uint32_t vtable = position - load<Order, uint32_t>(from_.bytes + position);
        if (vtable < word_size || vtable > from_.len - word_size) {
            refuse<M, Role>(table_check::vtable_position,
                            "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)", position,
                            from_.len - word_size);
            return false;
        }
        const uint32_t length = load<Order, uint16_t>(from_.bytes + vtable);
        if (length > from_.len - vtable) {
            refuse<M, Role>(table_check::vtable_length,
                            "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)", length,
                            from_.len - vtable);
            return false;
        }
        table = {position, vtable, length};
        return true;
    }

    /// The slots of a table into a zeroed record, in slot order. False: a field failed, or
    /// something that it leads to.
    template <class M, table_role Role>
    bool read_slots(const checked_table &table, uint8_t *record) const
    {
        if constexpr (is_flat<M>)
            return read_flat_table(from_, table, flat_facts<M>::message, record);
        else
            return all_slots(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
                const uint32_t entry = from_.entry_of(table, Index);
                return entry == 0 || read_slot<M, Role, Slot, Index>(table.at, entry, record);
            });
    }

    /// A nested or element table, checks and slots, into a zeroed record.
    template <class M>
    bool read_table(uint32_t position, uint8_t *record) const
    {
        if constexpr (Order == byte_order::native && has_known_forms<M>) {
            if (position >= word_size && position <= from_.len - word_size) {
                const uint32_t soffset = load<Order, uint32_t>(from_.bytes + position);
                if (soffset == vtable_length(slot_count<M>)) {
                    if (read_packed<M>(from_.bytes, from_.len, position, record))
                        return true;
                } else if (soffset == frame_table_at - frame_layout<M>::vtable_at) {
                    if (read_framed<M>(from_.bytes, from_.len, position, record))
                        return true;
                }
            }
        }
        return read_table_carefully<M>(position, record);
    }

    /// The same without trying a short cut first.
    template <class M>
    [[gnu::noinline]] bool read_table_carefully(uint32_t position, uint8_t *record) const
    {
        checked_table table;
        return find_table<M, table_role::non_root>(position, table) &&
               read_slots<M, table_role::non_root>(table, record);
    }

  private:
    template <class M, table_role Role>
    static void refuse(table_check check, const char *format, uint32_t a, uint32_t b)
    {
        Services::refuse(check, Role == table_role::root, reader_name<M, Role>, format, a, b);
    }

    /// A counted body: `elements` is the position after the count, `count` elements of
    /// `ElementSize` bytes lie there.
    template <uint32_t ElementSize>
    bool follow_counted(uint32_t table, uint32_t entry, uint32_t &elements, uint32_t &count) const
    {
        uint32_t body = 0;
        if (!from_.follow(table, entry, word_size, body))
            return false;
        count = load<Order, uint32_t>(from_.bytes + body);
        elements = body + word_size;
        return count < count_limit && count * ElementSize <= from_.len - elements;
    }

    template <class M, table_role Role, class Slot, uint32_t Index>
    bool read_slot(uint32_t table, uint32_t entry, uint8_t *record) const
    {
        uint8_t *to = record + Slot::at;
        if constexpr (is_scalar<Slot> || is_array<Slot>) {
            return from_.read_flat(table, entry, flat_slot_of<Slot>(0), record);
        } else if constexpr (is_table<Slot>) {
            // Only the word must lie inside, and the sum must not wrap: the nested reader checks
            // the position.
            if (entry + word_size > from_.len - table)
                return false;
            const uint32_t word = table + entry;
            const uint32_t nested = word + load<Order, uint32_t>(from_.bytes + word);
            return nested >= word && read_table<typename Slot::message>(nested, to);
        } else if constexpr (is_table_array<Slot>) {
            uint32_t words = 0;
            uint32_t count = 0;
            return follow_counted<word_size>(table, entry, words, count) && count == Slot::count &&
                   read_elements<typename Slot::message>(words, count, to);
        } else if constexpr (is_byte_vector<Slot>) {
            uint32_t from = 0;
            uint32_t count = 0;
            if (!follow_counted<1>(table, entry, from, count))
                return false;
            set_member(record, Slot::count_at, count);
            if (count == 0)
                return true;
            void *block = allocate<M, Role, Index>(count, usual_malloc_text);
            if (block == nullptr)
                return false;
            set_member(record, Slot::at, block);
            Services::copy_bytes(block, from_.bytes + from, count);
            return true;
        } else {
            using element = typename Slot::message;
            uint32_t words = 0;
            uint32_t count = 0;
            if (!follow_counted<word_size>(table, entry, words, count))
                return false;
            set_member(record, Slot::count_at, count);
            if (count == 0)
                return true;
            const uint64_t size = uint64_t{count} * sizeof(typename element::record);
            void *block = allocate<M, Role, Index>(size, Slot::malloc_text);
            if (block == nullptr)
                return false;
            set_member(record, Slot::at, block);
            Services::set_zero(block, size);
            return read_elements<element>(words, count, static_cast<uint8_t *>(block));
        }
    }

    /// A size past 32 bits, which no allocator is asked for, counts as an allocation that failed.
    template <class M, table_role Role, uint32_t Index>
    static void *allocate(uint64_t size, const char *malloc_text)
    {
        const auto low = static_cast<uint32_t>(size);
        void *block = size > UINT32_MAX ? nullptr : Services::allocate(low, reader_name<M, Role>);
        if (block == nullptr)
            Services::no_memory(Index, Role == table_role::root, reader_name<M, Role>, malloc_text,
                                low);
        return block;
    }

    /// `count` tables, each behind an offset word of its own; the words lie inside.
    template <class M>
    bool read_elements(uint32_t words, uint32_t count, uint8_t *records) const
    {
        const uint64_t end = uint64_t{words} + uint64_t{count} * word_size;
        for (uint64_t word = words; word != end; word += word_size) {
            if (!read_element<M>(word + load<Order, uint32_t>(from_.bytes + word), records))
                return false;
            records += sizeof(typename M::record);
        }
        return true;
    }

    /// As read_table, with what a batch is made of first. A position past 32 bits fails in silence.
    template <class M>
    [[gnu::always_inline]] bool read_element(uint64_t position, uint8_t *record) const
    {
        if constexpr (Order == byte_order::native && has_known_forms<M>) {
            if (read_packed<M>(from_.bytes, from_.len, position, record))
                return true;
        }
        return position <= UINT32_MAX && read_table<M>(static_cast<uint32_t>(position), record);
    }

    received<Order> from_;
};

} // namespace vorl
