// The door to the codecs: what is done with a message in native byte order, by kernels where there
// are some for it, else by the plain codec's steps. This is the one place that chooses; whatever the
// choice, bytes, records and what a listener hears are the plain codec's.
//
//   message                                 packs, measures         frames     reads
//   flat, in windows (serial/fast/windows)  windows                 known form  forms, spread; else plain
//   flat, of another shape                  plain                   known form  forms; else plain
//   leads to tables or vectors              unrolled; its tables    known form  forms; else unrolled,
//                                           as they would be        or unrolled its tables as they would be
//
// The other byte order is always the plain codec's (serial/plain).
#pragma once

#include "serial/fast/tables.h"
#include "serial/unrolled.h"

namespace vorl {

struct native_codec {
    /// As plain::add_tables_size.
    template <const message &M>
    static bool add_tables_size(uint32_t count, const uint8_t *records, uint64_t &size)
    {
        if constexpr (has_windows<M>) {
            fast::add_tables_size<M>(count, records, size);
            return true;
        } else if constexpr (is_flat(M)) {
            return plain::add_tables_size(count, records, size, M);
        } else {
            for (uint32_t i = 0; i < count; ++i) {
                if (!walk<M>::add_size(records + size_t{i} * M.record_size, size))
                    return false;
            }
            return true;
        }
    }

    /// Adds at least what add_tables_size adds for one record; see unrolled::add_largest_size.
    template <const message &M>
    static bool add_largest_size(const uint8_t *record, uint64_t &size)
    {
        if constexpr (is_fixed_size(M)) {
            size += full_table_size(M);
            return true;
        } else {
            return walk<M>::add_largest_size(record, size);
        }
    }

    /// As plain::packed_size.
    template <const message &M>
    static uint32_t packed_size(const uint8_t *record)
    {
        uint64_t size = word_size;
        if (record == nullptr || !add_tables_size<M>(1, record, size) || size > UINT32_MAX)
            return 0;
        return static_cast<uint32_t>(size);
    }

    /// As plain::pack_tables.
    template <const message &M>
    static uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count,
                                const uint8_t *records)
    {
        if constexpr (has_windows<M>) {
            return fast::pack_tables<M>(words, at, count, records);
        } else if constexpr (is_flat(M)) {
            return plain::pack_tables<byte_order::native>(words, at, count, records, M);
        } else {
            for (uint32_t i = 0; i < count; ++i) {
                lead_to<byte_order::native>(words + size_t{i} * word_size, at, M);
                at = walk<M>::pack(at, records + size_t{i} * M.record_size);
            }
            return at;
        }
    }

    /// Packs a record, for which there is room, with its root offset; returns the end.
    template <const message &M>
    static uint8_t *pack_measured(uint8_t *to, const uint8_t *record)
    {
        return pack_tables<M>(to, to + word_size, 1, record);
    }

    /// Packs a record where that takes at most `*room` bytes, says there how many, and returns 0.
    /// Otherwise writes nothing and returns 0xFFFFFFFF.
    template <const message &M>
    [[gnu::always_inline]] static uint32_t pack(const uint8_t *record, uint8_t *to, uint32_t *room)
    {
        if constexpr (has_windows<M>) {
            return fast::pack_message<M>(record, to, room);
        } else {
            // Room for the largest such record: no need to measure this one first.
            uint64_t largest = word_size;
            if (!add_largest_size<M>(record, largest) || largest > *room) [[unlikely]]
                return measure_and_pack<M>(record, to, room);
            *room = static_cast<uint32_t>(pack_measured<M>(to, record) - to);
            return 0;
        }
    }

    /// As plain::write_frames of one record.
    template <const message &M>
    [[gnu::always_inline]] static void write_frame(uint8_t *to, const uint8_t *record)
    {
        if constexpr (has_forms(M))
            fast::write_frame<M>(to, record);
        else if constexpr (is_flat(M))
            plain::write_frames<byte_order::native>(to, 1, record, M);
        else
            walk<M>::write_frame(to, record);
    }

    /// As plain::write_frames.
    template <const message &M>
    static void write_frames(uint8_t *to, uint32_t count, const uint8_t *records)
    {
        for (uint32_t i = 0; i < count; ++i)
            write_frame<M>(to + size_t{i} * frame_layout_of(M).length,
                           records + size_t{i} * M.record_size);
    }

    /// As plain::read_tables, of tables that a slot of `Holder` leads to.
    template <const message &M, const listener &To, const message &Holder>
    static bool read_tables(uint32_t words, uint32_t count, uint8_t *records, const received &from)
    {
        uint32_t done = 0;
        for (;;) {
            if constexpr (has_forms(M))
                done += fast::read_tables<M, is_fixed_size(Holder)>(words + done * word_size, count - done,
                                             records + size_t{done} * M.record_size, from.bytes,
                                             from.len);
            if (done == count)
                return true;
            if (!read_one<M, To>(words + done * word_size,
                                 records + size_t{done} * M.record_size, from))
                return false;
            ++done;
        }
    }

    /// Shorter bytes are none that read_message reads; they are the plain codec's.
    template <const message &M>
    static constexpr uint32_t least_length =
        has_forms(M) ? 2 * word_size + vtable_length(M) : word_size;

    /// A whole message, of least_length bytes or more and with its root offset, in a form that a
    /// kernel knows. False: it is in none, and nothing has been written.
    template <const message &M>
    [[gnu::always_inline]] static bool read_known(uint32_t root, const received &from,
                                                  uint8_t *record)
    {
        if constexpr (has_forms(M))
            return fast::read_message<M>(root, from.bytes, from.len, record);
        else
            return false;
    }

    /// Whether there is more for a message than read_known: read_root. Otherwise the plain codec reads
    /// what that declines.
    template <const message &M>
    static constexpr bool has_read_root = !is_flat(M);

    /// Any bytes, as __unpack reads them from its root checks on. Returns the record's size.
    template <const message &M, const listener &To>
    [[gnu::noinline]] static uint32_t read_root(uint32_t root, const uint8_t *bytes, uint32_t len,
                                                uint8_t *record)
    {
        const received from = {bytes, len};
        checked_table table;
        if (plain::find_table<byte_order::native>(root, table, table_role::root, from, To, M)) {
            memset(record, 0, M.record_size);
            if (!walk<M>::template read_slots<table_role::root, To>(table, record, from))
                plain::release(record, To, M);
        }
        return M.record_size;
    }

    /// As plain::release.
    template <const message &M, const listener &To>
    static void release(uint8_t *record)
    {
        if constexpr (!is_fixed_size(M))
            walk<M>::template release<To>(record);
    }

  private:
    template <const message &M>
    using walk = unrolled<native_codec, M>;

    template <const message &M>
    [[gnu::noinline]] static uint32_t measure_and_pack(const uint8_t *record, uint8_t *to,
                                                       uint32_t *room)
    {
        const uint32_t size = packed_size<M>(record);
        if (size == 0 || size > *room)
            return fast::no_room;
        *room = size;
        pack_measured<M>(to, record);
        return 0;
    }

    template <const message &M, const listener &To>
    static bool read_one(uint32_t word, uint8_t *record, const received &from)
    {
        if constexpr (is_flat(M)) {
            return plain::read_tables<byte_order::native>(word, 1, record, from, To, M);
        } else {
            const uint64_t position =
                uint64_t{word} + load<byte_order::native, uint32_t>(from.bytes + word);
            checked_table table;
            return position <= UINT32_MAX &&
                   plain::find_table<byte_order::native>(static_cast<uint32_t>(position), table,
                                                         table_role::non_root, from, To, M) &&
                   walk<M>::template read_slots<table_role::non_root, To>(table, record, from);
        }
    }
};

} // namespace vorl
