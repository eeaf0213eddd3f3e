// The door to the codecs: handles a message in native byte order, with a kernel where there is one,
// otherwise with the plain codec's steps. Which of them is chosen here and nowhere else. The choice
// does not change the bytes, the records or what a listener is told: they are the plain codec's.
//
//   MESSAGE                      PACKS, MEASURES   WRITES FRAMES            READS
//   flat, has_windows            windows           known form               form, spread or plain
//   flat, without windows        plain             known form or plain      form or plain
//   leads to tables or vectors   unrolled          known form or unrolled   form or unrolled
//
// The row of a nested message decides what is done with its tables. A side's first call, and every
// call in the other byte order, does not come here: api/ takes the plain codec (serial/plain). But
// what has no byte order always comes here: measuring for a send, and releasing.
#pragma once

#include "serial/fast/tables.h"
#include "serial/unrolled.h"

namespace vorl {

template <const message &M>
struct native_codec {
    /// As plain::add_tables_size.
    static bool add_tables_size(uint32_t count, const uint8_t *records, uint64_t &size)
    {
        if constexpr (has_windows<M>) {
            fast::add_tables_size<M>(count, records, size);
            return true;
        } else if constexpr (is_flat(M)) {
            return plain::add_tables_size(count, records, size, M);
        } else {
            for (uint32_t i = 0; i < count; ++i) {
                if (!walk::add_size(records + size_t{i} * M.record_size, size))
                    return false;
            }
            return true;
        }
    }

    /// Adds at least what add_tables_size adds for one record; see unrolled::add_largest_size.
    static bool add_largest_size(const uint8_t *record, uint64_t &size)
    {
        if constexpr (!is_fixed_size(M))
            return walk::add_largest_size(record, size);
        size += full_table_size(M);
        return true;
    }

    /// As plain::packed_size.
    static uint32_t packed_size(const uint8_t *record)
    {
        uint64_t size = word_size;
        if (record == nullptr || !add_tables_size(1, record, size) || size > UINT32_MAX)
            return 0;
        return static_cast<uint32_t>(size);
    }

    /// As plain::pack_tables.
    static uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count, const uint8_t *records)
    {
        if constexpr (has_windows<M>) {
            return fast::pack_tables<M>(words, at, count, records);
        } else if constexpr (is_flat(M)) {
            return plain::pack_tables<native>(words, at, count, records, M);
        } else {
            for (uint32_t i = 0; i < count; ++i) {
                lead_to<native>(words + size_t{i} * word_size, at, M);
                at = walk::pack(at, records + size_t{i} * M.record_size);
            }
            return at;
        }
    }

    /// Packs a record, for which there is room, with its root offset; returns the end.
    static uint8_t *pack_measured(uint8_t *to, const uint8_t *record)
    {
        return pack_tables(to, to + word_size, 1, record);
    }

    /// Packs a record that takes at most `*room` bytes, stores its size in `*room`, and returns 0.
    /// A record that takes more, or cannot be packed, is not written: returns 0xFFFFFFFF.
    [[gnu::always_inline]] static uint32_t pack(const uint8_t *record, uint8_t *to, uint32_t *room)
    {
        if constexpr (has_windows<M>)
            return fast::pack_message<M>(record, to, room);
        // When an upper bound of its size fits, the record need not be measured first.
        uint64_t largest = word_size;
        if (!add_largest_size(record, largest) || largest > *room) [[unlikely]]
            return measure_and_pack(record, to, room);
        *room = static_cast<uint32_t>(pack_measured(to, record) - to);
        return 0;
    }

    /// As plain::write_frames of one record.
    [[gnu::always_inline]] static void write_frame(uint8_t *to, const uint8_t *record)
    {
        if constexpr (has_forms(M))
            frame_form<M>::write(to, record);
        else if constexpr (is_flat(M))
            plain::write_frames<native>(to, 1, record, M);
        else
            walk::write_frame(to, record);
    }

    /// As plain::write_frames.
    static void write_frames(uint8_t *to, uint32_t count, const uint8_t *records)
    {
        for (uint32_t i = 0; i < count; ++i) {
            uint8_t *const frame = to + size_t{i} * frame_layout_of(M).length;
            const uint8_t *const record = records + size_t{i} * M.record_size;
            if constexpr (has_forms(M))
                frame_form<M>::write_next(frame, record);
            else
                write_frame(frame, record);
        }
    }

    /// As plain::read_tables, for tables that a slot of the message `Holder` leads to.
    template <const listener &To, const message &Holder>
    static bool read_tables(uint32_t words, uint32_t count, uint8_t *records, const received &from)
    {
        for (uint32_t done = 0;; ++done) {
            if constexpr (has_forms(M))
                done += fast::read_tables<M, is_fixed_size(Holder)>(
                    words + done * word_size, count - done, records + size_t{done} * M.record_size,
                    from.bytes, from.len);
            if (done == count)
                return true;
            if (!read_one<To>(words + done * word_size, records + size_t{done} * M.record_size,
                              from))
                return false;
        }
    }

    /// read_known takes no fewer bytes than this. There is none for a message without known forms.
    static constexpr uint32_t least_known = [] {
        if constexpr (has_forms(M))
            return fast::least_known<M>;
        return UINT32_MAX;
    }();

    /// Reads a whole message that is in a form of constant places. False: it is not, and nothing
    /// has been written.
    [[gnu::always_inline]] static bool read_known(const received &from, uint8_t *record)
    {
        if constexpr (has_forms(M))
            return fast::read_known<M>(from.bytes, from.len, record);
        return false;
    }

    /// Reads a whole message, of any length, that read_known declines, if a kernel can. False: none
    /// can, and nothing has been written.
    [[gnu::always_inline]] static bool read_sparse(const received &from, uint8_t *record)
    {
        if constexpr (has_spread<M>)
            return fast::read_sparse_message<M>(from.bytes, from.len, record);
        return false;
    }

    /// Whether read_root reads what the kernels decline. Otherwise the plain codec does.
    static constexpr bool has_read_root = !is_flat(M);

    /// Reads any bytes, 4 or more, as __unpack does after its argument checks. Returns the record's
    /// size.
    template <const listener &To>
    [[gnu::always_inline]] static uint32_t read_root(const received &from, uint8_t *record)
    {
        const auto root = load<native, uint32_t>(from.bytes);
        checked_table table;
        if (plain::find_table<native>(root, table, table_role::root, from, To, M)) {
            memset(record, 0, M.record_size);
            if (!walk::template read_slots<table_role::root, To>(table, record, from))
                plain::release(record, To, M);
        }
        return M.record_size;
    }

    /// As plain::release.
    template <const listener &To>
    static void release(uint8_t *record)
    {
        if constexpr (!is_fixed_size(M))
            walk::template release<To>(record);
    }

  private:
    using walk = unrolled<vorl::native_codec, M>;

    [[gnu::noinline]] static uint32_t measure_and_pack(const uint8_t *record, uint8_t *to,
                                                       uint32_t *room)
    {
        const uint32_t size = packed_size(record);
        if (size == 0 || size > *room)
            return fast::no_room;
        *room = size;
        pack_measured(to, record);
        return 0;
    }

    template <const listener &To>
    static bool read_one(uint32_t word, uint8_t *record, const received &from)
    {
        if constexpr (is_flat(M))
            return plain::read_tables<native>(word, 1, record, from, To, M);
        const uint64_t position = uint64_t{word} + load<native, uint32_t>(from.bytes + word);
        if (position > UINT32_MAX)
            return plain::refuse_position(word, position, To, M);
        checked_table table;
        return plain::find_table<native>(static_cast<uint32_t>(position), table,
                                         table_role::non_root, from, To, M) &&
               walk::template read_slots<table_role::non_root, To>(table, record, from);
    }
};

} // namespace vorl
