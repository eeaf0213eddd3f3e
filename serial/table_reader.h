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
//   no_memory(slot, name, format, size)              one line to the log
//   set_zero(block, size)   copy_bytes(block, from, size)
#pragma once

#include "serial/vector.h"

namespace vorl {

enum class table_check : uint8_t { position, vtable_position, vtable_length };

/// A table whose position and vtable are in range.
struct checked_table {
    uint32_t at;            ///< 4 <= at <= len - 4
    uint32_t vtable;        ///< 4 <= vtable <= len - 4
    uint32_t vtable_length; ///< vtable + vtable_length <= len
};

/// A table that `__unpack` checks itself, or one read as nested, as an element or in place: only
/// the name in the log differs.
enum class table_role : uint8_t { root, non_root };

template <class M, table_role Role>
inline constexpr const char *reader_name =
    Role == table_role::root ? function_name<M, "_unpack">::text
                             : function_name<M, "_unpack_non_root">::text;

template <byte_order Order, class Services>
class table_reader {
  public:
    /// `len` is at least 4 and at most 2^31 - 1.
    table_reader(const uint8_t *bytes, uint32_t len) : bytes_(bytes), len_(len) {}

    /// The three checks of a table, each reported. The second reports the table's position, not the
    /// vtable's.
    template <class M, table_role Role>
    bool find_table(uint32_t position, checked_table &table) const
    {
        if (position < word_size || position > len_ - word_size) {
            refuse<M, Role>(table_check::position,
                            "[ZELKO]:Table offset(%u) is out of range(4 - %u)", position, len_);
            return false;
        }
        const uint32_t vtable = position - load<Order, uint32_t>(bytes_ + position);
        if (vtable < word_size || vtable > len_ - word_size) {
            refuse<M, Role>(table_check::vtable_position,
                            "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)", position,
                            len_ - word_size);
            return false;
        }
        const uint32_t length = load<Order, uint16_t>(bytes_ + vtable);
        if (length > len_ - vtable) {
            refuse<M, Role>(table_check::vtable_length,
                            "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)", length,
                            len_ - vtable);
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
        return all_slots(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
            const uint32_t entry = entry_of<Index>(table);
            return entry == 0 || read_slot<M, Role, Slot, Index>(table.at, entry, record);
        });
    }

    /// A nested or element table, checks and slots, into a zeroed record.
    template <class M>
    bool read_table(uint32_t position, uint8_t *record) const
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

    template <uint32_t Index>
    uint32_t entry_of(const checked_table &table) const
    {
        if (table.vtable_length < vtable_length(Index + 1))
            return 0;
        return load<Order, uint16_t>(bytes_ + table.vtable + (2 + Index) * entry_size);
    }

    /// Where the offset word at `word` leads, with `size` bytes there. False when the word or those
    /// bytes are outside.
    bool follow(uint32_t table, uint32_t entry, uint32_t size, uint32_t &body) const
    {
        const uint32_t room = len_ - table;
        if (entry + word_size > room)
            return false;
        const uint32_t word = table + entry;
        const uint32_t offset = load<Order, uint32_t>(bytes_ + word);
        if (offset > len_ - word || size > len_ - word - offset)
            return false;
        body = word + offset;
        return true;
    }

    /// A counted body: `elements` is the position after the count, `count` elements of
    /// `ElementSize` bytes lie there.
    template <uint32_t ElementSize>
    bool follow_counted(uint32_t table, uint32_t entry, uint32_t &elements, uint32_t &count) const
    {
        uint32_t body = 0;
        if (!follow(table, entry, word_size, body))
            return false;
        count = load<Order, uint32_t>(bytes_ + body);
        elements = body + word_size;
        return count < count_limit && count * ElementSize <= len_ - elements;
    }

    template <class M, table_role Role, class Slot, uint32_t Index>
    bool read_slot(uint32_t table, uint32_t entry, uint8_t *record) const
    {
        uint8_t *to = record + Slot::at;
        if constexpr (is_scalar<Slot>) {
            using value_type = typename Slot::value_type;
            if (entry + sizeof(value_type) > len_ - table)
                return false;
            set_member(record, Slot::at, load<Order, value_type>(bytes_ + table + entry));
            return true;
        } else if constexpr (is_array<Slot>) {
            uint32_t body = 0;
            if (!follow(table, entry, Slot::body_size, body) ||
                load<Order, uint32_t>(bytes_ + body) != Slot::count)
                return false;
            copy_elements<Order, typename Slot::value_type, Slot::count>(to,
                                                                         bytes_ + body + word_size);
            return true;
        } else if constexpr (is_table<Slot>) {
            // Only the word must lie inside, and the sum must not wrap: the nested reader checks
            // the position.
            if (entry + word_size > len_ - table)
                return false;
            const uint32_t word = table + entry;
            const uint32_t nested = word + load<Order, uint32_t>(bytes_ + word);
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
            Services::copy_bytes(block, bytes_ + from, count);
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
            Services::no_memory(Index, reader_name<M, Role>, malloc_text, low);
        return block;
    }

    /// `count` tables, each behind an offset word of its own; the words lie inside.
    template <class M>
    bool read_elements(uint32_t words, uint32_t count, uint8_t *records) const
    {
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t word = words + i * word_size;
            const uint32_t position = word + load<Order, uint32_t>(bytes_ + word);
            if (position < word ||
                !read_table<M>(position, records + size_t{i} * sizeof(typename M::record)))
                return false;
        }
        return true;
    }

    const uint8_t *bytes_;
    uint32_t len_;
};

} // namespace vorl
