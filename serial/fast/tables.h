// The kernels: they read, measure and write common forms of tables fast, in native byte order.
//
// A kernel for one table finishes, or declines and has written nothing. A kernel for elements
// finishes as many whole elements as it can, one after another, and says how many. The caller does
// the next element with the plain codec's steps, then calls the kernel again. Kernels log nothing
// and allocate nothing. Without them every result would be the same, only slower.
//
//   bytes                              kernel            reads
//   as a frame                         read_framed       the known form of a frame
//   packed, no scalar left out         read_full         the known form of packed bytes
//   either, a whole message            read_known        the one or the other
//   packed, any scalar left out        read_sparse       spreads by the entries
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
    if (len - at < form::extent || !form::matches(bytes + at))
        return false;
    form::read(record, bytes + at);
    return true;
}

/// Reads a table as the packer writes it when no scalar is left out. `table` may be any number.
template <const message &M>
[[gnu::always_inline]] inline bool read_full(const uint8_t *bytes, uint32_t len, uint64_t table,
                                             uint8_t *record)
{
    using form = packed_form<M>;
    constexpr uint32_t table_length_at = word_size + entry_size;
    constexpr uint32_t table_length =
        form::image.bytes[table_length_at] + 256U * form::image.bytes[table_length_at + 1];
    // The form has `places` possible positions, from 0 on; a lower one wraps and fails.
    const uint32_t places = len < form::extent ? 0 : len - form::extent + 1;
    const uint64_t at = table - vtable_length(M) - word_size;
    if (at >= places)
        return false;
    // The table length is compared first, because it differs whenever a scalar is left out.
    if (load<native, uint16_t>(bytes + at + table_length_at) != table_length ||
        !form::matches_behind_root(bytes + at))
        return false;
    form::read(record, bytes + at);
    return true;
}

/// Reads a table as the packer writes it when scalars are left out: behind its vtable, which has
/// all slots. Any `table`.
template <const message &M>
[[gnu::always_inline]] inline bool read_sparse(const uint8_t *bytes, uint32_t len, uint64_t table,
                                               uint8_t *record)
{
    if constexpr (has_spread<M>) {
        constexpr uint32_t length = vtable_length(M);
        constexpr uint32_t least_room = spread_reader<M>::least_room;
        if (table < word_size + length || len < least_room || table > len - least_room)
            return false;
        const auto vtable_found = load<native, uint16_t>(bytes + table - length);
        return load<native, uint32_t>(bytes + table) == length && vtable_found == length &&
               spread_reader<M>::read(bytes, len, static_cast<uint32_t>(table), record);
    }
    return false;
}

/// The fewest bytes that read_known looks at.
template <const message &M>
inline constexpr uint32_t least_known = std::min(frame_form<M>::extent, packed_form<M>::extent);

/// Reads a whole message of least_known bytes or more in a known form, as most messages are.
template <const message &M>
[[gnu::always_inline]] inline bool read_known(const uint8_t *bytes, uint32_t len, uint8_t *record)
{
    const auto read = [&]<class Form>() VORL_INLINED {
        if ((Form::extent > least_known<M> && len < Form::extent) || !Form::matches(bytes))
            return false;
        Form::read(record, bytes);
        return true;
    };
    // A frame has another root offset than packed bytes: a vtable is between the two.
    if (load<native, uint32_t>(bytes) == frame_table_at)
        return read.template operator()<frame_form<M>>();
    return read.template operator()<packed_form<M>>();
}

/// Reads a whole message whose table lies behind its vtable, and that at byte 4, if the root offset
/// says so and the table is in the form of read_sparse.
template <const message &M>
[[gnu::always_inline]] inline bool read_sparse_message(const uint8_t *bytes, uint32_t len,
                                                       uint8_t *record)
{
    constexpr uint32_t table = word_size + vtable_length(M);
    return len >= table + spread_reader<M>::least_room && load<native, uint32_t>(bytes) == table &&
           read_sparse<M>(bytes, len, table, record);
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
        bool is_read =
            read_full<M>(bytes, len, table, records) || read_sparse<M>(bytes, len, table, records);
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
    const packing_constants<M> *const constants = &packing_constants_of<M>;
    uint64_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const record_windows<M> windows(records + size_t{i} * M.record_size);
        sum += squeezed<M>(presence<M>(windows, constants->scalars)).table_size();
    }
    size += sum;
}

/// Packs `count` records at `at`, one table behind the other, and makes word i at `words` lead to
/// table i. Returns the end.
template <const message &M>
[[gnu::noinline]] uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count,
                                       const uint8_t *records)
{
    const packing_constants<M> *const constants = &packing_constants_of<M>;
    for (uint32_t i = 0; i < count; ++i) {
        store<native>(words, static_cast<uint32_t>(at + vtable_length(M) - words));
        words += word_size;
        const record_windows<M> windows(records);
        const presence<M> scalars(windows, constants->scalars);
        if (scalars.is_full()) {
            squeeze_writer<M>::template write_full<false>(at - word_size, records, windows,
                                                          constants->form.bytes);
            at += full_table_size(M);
        } else {
            const squeezed<M> left(scalars);
            at = squeeze_writer<M>::write(at, records, windows, left, left.table_size());
        }
        records += M.record_size;
    }
    return at;
}

/// What pack_message returns when the bytes do not fit.
inline constexpr uint32_t no_room = 0xFFFFFFFF;

/// pack_message for any record. `zeros`, from presence<M>::apart, says which scalars are left out.
template <const message &M, class... Zeros>
[[gnu::noinline]] uint32_t pack_measured(const uint8_t *record, uint8_t *to, uint32_t *room,
                                         Zeros... zeros)
{
    const squeezed<M> left((presence<M>(zeros...)));
    const uint64_t table_size = opaque(left.table_size());
    const uint64_t size = word_size + table_size;
    if (size > *room) [[unlikely]]
        return no_room;
    store<native>(to, word_size + vtable_length(M));
    squeeze_writer<M>::write(to + word_size, record, record_windows<M>(record), left, table_size);
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
    const packing_constants<M> *const constants = constants_at(&packing_constants_of<M>);
    const presence<M> scalars(windows, constants->scalars);
    if (scalars.is_full() && size <= *room) {
        squeeze_writer<M>::template write_full<true>(to, record, windows, constants->form.bytes);
        *room = size;
        return 0;
    }
    return scalars.apart([&](auto... zeros)
                             VORL_INLINED { return pack_measured<M>(record, to, room, zeros...); });
}

} // namespace vorl::fast
