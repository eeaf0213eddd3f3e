// The kernels: they read, measure and write common forms of tables fast, in native byte order.
//
// A kernel for one table finishes, or declines and has written nothing. A kernel for elements
// finishes as many whole elements as it can, one after another, and says how many. The caller does
// the next element with the plain codec's steps, then calls the kernel again. Kernels log nothing
// and allocate nothing. Without them every result would be the same, only slower.
//
//   bytes                              kernel            reads
//   as a frame                         read_framed       the known form of a frame
//   packed, no scalar left out         read_full         the known form of a full table
//   packed, any scalar left out        read_packed       as read_full; else spreads by the entries
//   anything else                      none              left to the plain codec's steps
#pragma once

#include "serial/fast/forms.h"
#include "serial/fast/spread.h"
#include "serial/fast/squeeze.h"

namespace vorl::fast {

/// Reads a table that stands in a frame, whose root offset is checked too. `table` is at least 4
/// and at most len - 4.
template <const message &M>
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

/// Reads a table as the packer writes it when no scalar is left out. `table` may be any number.
template <const message &M>
[[gnu::always_inline]] inline bool read_full(const uint8_t *bytes, uint32_t len, uint64_t table,
                                             uint8_t *record)
{
    using form = full_table_form<M>;
    constexpr uint32_t table_length =
        form::image.bytes[entry_size] + 256U * form::image.bytes[entry_size + 1];
    // The vtable has `places` possible positions, from word_size on; a lower one wraps and fails.
    constexpr uint32_t least_len = word_size + form::extent;
    const uint32_t places = len < least_len ? 0 : len - least_len + 1;
    const uint64_t vtable = table - vtable_length(M);
    if (vtable - word_size >= places)
        return false;
    // The table length is compared first, because it differs whenever a scalar is left out.
    if (load<native, uint16_t>(bytes + vtable + entry_size) != table_length ||
        form::mismatch(bytes + vtable) != 0)
        return false;
    form::read(record, bytes + vtable);
    return true;
}

/// Reads a table as the packer writes it: behind its vtable, which has all slots. Any `table`.
template <const message &M>
[[gnu::always_inline]] inline bool read_packed(const uint8_t *bytes, uint32_t len, uint64_t table,
                                               uint8_t *record)
{
    if (read_full<M>(bytes, len, table, record))
        return true;
    if constexpr (has_spread<M>) {
        constexpr uint32_t length = vtable_length(M);
        return table >= word_size + length && table <= len - word_size &&
               load<native, uint32_t>(bytes + table) == length &&
               load<native, uint16_t>(bytes + table - length) == length &&
               spread_reader<M>::read(bytes, len, static_cast<uint32_t>(table),
                                      static_cast<uint32_t>(table) - length, record);
    }
    return false;
}

/// Reads a whole message whose root offset is that of a frame or of a packed record.
template <const message &M>
[[gnu::always_inline]] inline bool read_message(uint32_t root, const uint8_t *bytes, uint32_t len,
                                                uint8_t *record)
{
    constexpr uint32_t packed_table_at = word_size + vtable_length(M);
    if (root == frame_table_at)
        return read_framed<M>(bytes, len, frame_table_at, record);
    if (root == packed_table_at)
        return read_packed<M>(bytes, len, packed_table_at, record);
    return false;
}

/// Reads `count` tables into `records`, up to the first one in a form that no kernel knows. Returns
/// how many it has read. Their offset words begin at `words` and lie inside the bytes.
/// `MayBeFramed`: the tables may be in frames, as they are when the whole message is a frame.
template <const message &M, bool MayBeFramed>
[[gnu::noinline]] uint32_t read_tables(uint32_t words, uint32_t count, uint8_t *records,
                                       const uint8_t *bytes, uint32_t len)
{
    const uint64_t end = uint64_t{words} + uint64_t{count} * word_size;
    for (uint64_t word = words; word != end; word += word_size) {
        const uint64_t table = word + load<native, uint32_t>(bytes + word);
        bool is_read = read_packed<M>(bytes, len, table, records);
        if constexpr (MayBeFramed) {
            if (!is_read && table >= word_size && table <= len - word_size)
                is_read = read_framed<M>(bytes, len, static_cast<uint32_t>(table), records);
        }
        if (!is_read)
            return count - static_cast<uint32_t>((end - word) / word_size);
        records += M.record_size;
    }
    return count;
}

/// Adds the bytes that `count` packed tables take, each from its vtable on.
template <const message &M>
[[gnu::noinline]] void add_tables_size(uint32_t count, const uint8_t *records, uint64_t &size)
{
    uint64_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * M.record_size;
        sum += squeezed<M>(presence<M>(record_windows<M>(record))).table_size();
    }
    size += sum;
}

/// Packs `count` records at `at`, one table behind the other, and makes word i at `words` lead to
/// table i. Returns the end.
template <const message &M>
[[gnu::noinline]] uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count,
                                       const uint8_t *records)
{
    for (uint32_t i = 0; i < count; ++i) {
        store<native>(words, static_cast<uint32_t>(at + vtable_length(M) - words));
        words += word_size;
        const record_windows<M> windows(records);
        const presence<M> scalars(windows);
        if (scalars.is_full()) {
            squeeze_writer<M>::write_full(at, records, windows);
            at += full_table_size(M);
        } else {
            at = squeeze_writer<M>::write(at, records, windows, squeezed<M>(scalars));
        }
        records += M.record_size;
    }
    return at;
}

/// What pack_message returns when the bytes do not fit.
inline constexpr uint32_t no_room = 0xFFFFFFFF;

/// pack_message for a record with scalars left out. `zeros`, from presence<M>::apart, says which.
template <const message &M, class... Zeros>
[[gnu::noinline]] uint32_t pack_with_absent(const uint8_t *record, uint8_t *to, uint32_t *room,
                                            Zeros... zeros)
{
    const squeezed<M> left((presence<M>(zeros...)));
    const uint64_t size = word_size + left.table_size();
    if (size > *room)
        return no_room;
    store<native>(to, word_size + vtable_length(M));
    squeeze_writer<M>::write(to + word_size, record, record_windows<M>(record), left);
    *room = static_cast<uint32_t>(size);
    return 0;
}

/// Packs a record, with its root offset, if that takes at most `*room` bytes; stores the size in
/// `*room` and returns 0. Otherwise writes nothing and returns no_room.
template <const message &M>
[[gnu::always_inline]] inline uint32_t pack_message(const uint8_t *record, uint8_t *to,
                                                    uint32_t *room)
{
    constexpr uint32_t size = word_size + full_table_size(M);
    const record_windows<M> windows(record);
    const presence<M> scalars(windows);
    if (!scalars.is_full()) {
        return scalars.apart([&](auto... zeros) VORL_INLINED {
            return pack_with_absent<M>(record, to, room, zeros...);
        });
    }
    if (size > *room) [[unlikely]]
        return no_room;
    store<native>(to, word_size + vtable_length(M));
    squeeze_writer<M>::write_full(to + word_size, record, windows);
    *room = size;
    return 0;
}

} // namespace vorl::fast
