// The plain codec's steps for one message, slot after slot as straight code: for messages that lead
// to tables or vectors, in native byte order. serial/plain says what a step does; here is only the
// walk over the slots, which are constants.
//
// `Codec` says what is done with the tables that a slot leads to (serial/codec.h).
#pragma once

#include "serial/plain/frame.h"
#include "serial/plain/measure.h"
#include "serial/plain/pack.h"
#include "serial/plain/read.h"
#include "serial/plain/release.h"
#include "serial/unroll.h"

namespace vorl {

/// The message that slot `Index` leads to.
template <const message &M, size_t Index>
inline constexpr const message &nested_message = *M.slots[Index].nested;

template <template <const message &> class Codec, const message &M>
struct unrolled {
    static constexpr uint32_t slots = M.slots.size;

    /// plain::add_tables_size of one record.
    static bool add_size(const uint8_t *record, uint64_t &size)
    {
        size += vtable_length(M) + word_size;
        return unroll_while<slots>([&]<size_t I>() VORL_INLINED {
            return add_slot_size(
                M.slots[I], record, size,
                [](uint32_t count, const uint8_t *records, uint64_t &sum) VORL_INLINED {
                    if constexpr (M.slots[I].nested != nullptr)
                        return Codec<nested_message<M, I>>::add_tables_size(count, records, sum);
                    else
                        return true; // not called: the slot leads to no tables
                });
        });
    }

    /// Adds at least the bytes that add_size adds, without looking at the elements of vectors.
    /// Returns false when add_size does.
    static bool add_largest_size(const uint8_t *record, uint64_t &size)
    {
        size += vtable_length(M) + word_size;
        return unroll_while<slots>([&]<size_t I>() VORL_INLINED {
            constexpr slot s = M.slots[I];
            size += field_size(s);
            if constexpr (s.shape == slot_shape::scalar)
                return true;
            else if constexpr (s.shape == slot_shape::table)
                return Codec<nested_message<M, I>>::add_largest_size(record + s.record_at, size);
            if (is_present(s, record) && elements_of(s, record) == nullptr)
                return false;
            const uint64_t count = element_count(s, record);
            size += word_size + count * element_size(s);
            if constexpr (s.nested != nullptr)
                size += count * full_table_size(nested_message<M, I>);
            return true;
        });
    }

    /// plain::pack_tables of one record, whose vtable is put at `at`. The caller has written the
    /// offset word that leads to the table. Returns the end.
    static uint8_t *pack(uint8_t *__restrict at, const uint8_t *__restrict record)
    {
        table_writer<native> to(at, M);
        uint8_t *words[slots];
        unroll<slots>([&]<size_t I>()
                          VORL_INLINED { words[I] = to.put_field(I, M.slots[I], record); });
        unroll<slots>([&]<size_t I>()
                          VORL_INLINED { words[I] = to.put_body(words[I], M.slots[I], record); });
        to.close();
        unroll<slots>([&]<size_t I>() VORL_INLINED {
            if constexpr (M.slots[I].nested != nullptr)
                to.put_tables(words[I], M.slots[I], record,
                              [](uint8_t *first, uint8_t *tables, uint32_t count,
                                 const uint8_t *records) VORL_INLINED {
                                  return Codec<nested_message<M, I>>::pack_tables(first, tables,
                                                                                  count, records);
                              });
        });
        return to.at;
    }

    /// plain::write_frames of one record.
    static void write_frame(uint8_t *frame, const uint8_t *record)
    {
        frame_writer<native> to(frame, frame_layout_of(M), M);
        unroll<slots>([&]<size_t I>() VORL_INLINED {
            to.put_field(I, M.slots[I], record,
                         [](uint8_t *at, uint32_t count, const uint8_t *records) VORL_INLINED {
                             if constexpr (M.slots[I].nested != nullptr)
                                 Codec<nested_message<M, I>>::write_frames(at, count, records);
                         });
        });
    }

    /// plain::read_slots.
    template <table_role Role, const listener &To>
    static bool read_slots(const checked_table &table, uint8_t *record, const received &from)
    {
        const slot_reader<native> reader{from, To, M, Role};
        return unroll_while<slots>([&]<size_t I>() VORL_INLINED {
            return reader.read(
                table, I, M.slots[I], record,
                [&](uint32_t words, uint32_t count, uint8_t *records) VORL_INLINED {
                    if constexpr (M.slots[I].nested != nullptr)
                        return Codec<nested_message<M, I>>::template read_tables<To, M>(
                            words, count, records, from);
                    else
                        return true; // not called: the slot leads to no tables
                });
        });
    }

    /// plain::release.
    template <const listener &To>
    static void release(uint8_t *record)
    {
        unroll<slots>([&]<size_t I>() VORL_INLINED { release_slot(record, M.slots[I], To, M); });
        unroll<slots>([&]<size_t I>() VORL_INLINED {
            if constexpr (M.slots[I].shape == slot_shape::table)
                Codec<nested_message<M, I>>::template release<To>(record + M.slots[I].record_at);
        });
    }
};

} // namespace vorl
