// Reads a packed table of a flat message back into its record: the vtable entries are the shuffle
// that puts the fields back, an absent one being an index that yields zero.
//
//   entries      f0 at 4   f1 absent   f2 at 8 ...          from the vtable, as bytes
//   block        [fields of the table, 16 bytes from offset 4 on]
//   indices      0 1 2 3   - - - -     4 ...                entry - 4 + byte in the scalar
//   window       [f0     ] [0 0 0 0 ]  [f2 ...              block shuffled by the indices
//
// Only tables as the packer makes them are read so: fields in slot order, bodies of arrays one
// behind the other, every slot in the vtable. Anything else is left to another reader.
#pragma once

#include "serial/fast/windows.h"

namespace vorl {

/// A message of one slot is full or empty: its full form is all that there is to be quick about.
template <const message &M>
inline constexpr bool has_spread = has_windows<M> &&M.slots.size > 1;

template <const message &M>
class spread_reader {
    static_assert(has_spread<M>);

  public:
    using layout = packed_layout<M>;

    /// The table at `table` with its vtable at `vtable` (4 + 2 a slot bytes, inside) of `len` bytes
    /// into the record, padding included. False: the table is not as the packer makes it, and
    /// nothing has been written.
    [[gnu::always_inline]] static bool read(const uint8_t *__restrict bytes, uint32_t len,
                                            uint32_t table, uint32_t vtable,
                                            uint8_t *__restrict record)
    {
        const uint32_t room = len - table;
        if (has_room && room < word_size + lane_count * blocks)
            return false;
        const uint8_t *entries = bytes + vtable + entry_at(0);
        u8x16 index[index_vectors];
        if (!indices_of(entries, room, index))
            return false;
        uint64_t bodies = 0;
        if (!find_bodies(bytes + table, room, entries, bodies))
            return false;

        u8x16 block[blocks];
        u8x16 shift[blocks] = {};
#pragma GCC unroll 16
        for (uint32_t b = 0; b < blocks; ++b) {
            uint32_t at = table + word_size + lane_count * b;
            if constexpr (!has_room) {
                // The last bytes there are, when the block does not lie inside. There are sixteen:
                // a root offset, a vtable of two slots or more, and an soffset.
                static_assert(2 * word_size + vtable_length(layout::slots) >= lane_count);
                const uint32_t last = len - lane_count;
                const uint32_t nominal = at;
                at = at < last ? at : last;
                shift[b] = u8x16{} + static_cast<uint8_t>(nominal - at);
            }
            block[b] = load16(bytes + at);
        }
        unroll<layout::windows.count>([&]<size_t Window>() VORL_INLINED {
            store_first<layout::window_size>(record + layout::windows.windows[Window].at,
                                             window_of<Window>(index, block, shift));
        });
        each_array([&]<size_t Slot>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Slot];
            memcpy(record + slot.record_at, bytes + table + bodies + slot.body_at + word_size,
                   slot.size);
        });
        return true;
    }

  private:
    /// Of sixteen bytes, which the field area takes; block b of an offset from the table.
    static constexpr uint32_t block_of(uint32_t offset)
    {
        return (offset - word_size) / lane_count;
    }
    static constexpr uint32_t blocks = block_of(layout::all.fields_end - 1) + 1;
    static constexpr uint32_t halves = (layout::slots + 7) / 8;
    static constexpr uint32_t index_vectors = (halves + 1) / 2;
    /// All blocks lie inside whatever is left out: behind the fields are the bodies.
    static constexpr bool has_room =
        layout::all.arrays * word_size + layout::all.bodies >= lane_count * blocks;

    /// `Width` bytes for each slot of a vector, with what `fact` says of it.
    template <uint32_t Width, class Fact>
    static constexpr lanes of_slots(size_t vector, Fact fact)
    {
        lanes result{};
        for (size_t i = 0; i < lane_count; ++i) {
            const size_t s = (vector * lane_count + i) / Width;
            if (s < layout::slots)
                result.bytes[i] =
                    static_cast<uint8_t>(fact(layout::all.slot[s]) >> (8 * (i % Width)));
        }
        return result;
    }

    /// Eight entries; `excess` becomes non-zero where one is larger than the writer ever makes it,
    /// or its field passes the end of the buffer.
    template <size_t Half>
    [[gnu::always_inline]] static u16x8 load_entries(const uint8_t *entries, uint32_t room,
                                                     u16x8 &excess)
    {
        constexpr uint32_t left = layout::slots - Half * 8;
        static constexpr lanes last =
            of_slots<entry_size>(Half, [](const auto &slot) { return slot.last_at; });
        const auto loaded =
            u16x8(load_first<(left < 8 ? left : 8) * entry_size>(entries + Half * 8 * entry_size));
        excess |= subtract_saturating(loaded, u16x8(last.vector()));
        if constexpr (!has_room) {
            static constexpr lanes size =
                of_slots<entry_size>(Half, [](const auto &slot) { return slot.field; });
            const auto room16 = static_cast<uint16_t>(room < UINT16_MAX ? room : UINT16_MAX);
            excess |= subtract_saturating(loaded + u16x8(size.vector()), u16x8{} + room16);
        }
        return loaded;
    }

    /// Each slot's entry as a byte, `absent` for 0: with bit 7 set after all that is added to it
    /// below, which is between -100 (the sixth block's 4 + 96) and 19.
    [[gnu::always_inline]] static bool indices_of(const uint8_t *entries, uint32_t room,
                                                  u8x16 (&index)[index_vectors])
    {
        constexpr uint8_t absent = 0xE8;
        u16x8 excess = {};
        u16x8 half[2 * index_vectors] = {};
        unroll<halves>([&]<size_t Half>() VORL_INLINED {
            half[Half] = load_entries<Half>(entries, room, excess);
        });
        auto wrong = u8x16(excess);
        unroll<index_vectors>([&]<size_t Vector>() VORL_INLINED {
            const u8x16 entry = narrow(half[2 * Vector], half[2 * Vector + 1]);
            const auto is_absent = u8x16(entry == u8x16{});
            index[Vector] = entry | (is_absent & (u8x16{} + absent));
            static constexpr lanes least =
                of_slots<1>(Vector, [](const auto &slot) { return slot.least_at; });
            static constexpr lanes arrays =
                of_slots<1>(Vector, [](const auto &slot) { return slot.is_scalar ? 0 : 0xFF; });
            wrong |= subtract_saturating(least.vector(), index[Vector]);
            if constexpr (arrays != lanes{})
                wrong |= is_absent & arrays.vector();
        });
        return is_zero(wrong);
    }

    /// Where the bodies of the arrays lie, from the table: one behind the other, each with its
    /// count, as the first array's word has it. False when they do not. Entries are in order.
    [[gnu::always_inline]] static bool find_bodies(const uint8_t *table, uint32_t room,
                                                   const uint8_t *entries, uint64_t &bodies)
    {
        if constexpr (layout::all.arrays == 0) {
            return true;
        } else {
            uint64_t difference = 0;
            each_array([&]<size_t Slot>() VORL_INLINED {
                constexpr auto slot = layout::all.slot[Slot];
                const uint64_t entry = load<native, uint16_t>(entries + Slot * entry_size);
                const uint64_t body = entry + load<native, uint32_t>(table + entry) - slot.body_at;
                if constexpr (slot.arrays == 0)
                    bodies = body;
                else
                    difference |= body ^ bodies;
            });
            if (room < layout::all.bodies || bodies > room - layout::all.bodies)
                return false;
            each_array([&]<size_t Slot>() VORL_INLINED {
                constexpr auto slot = layout::all.slot[Slot];
                const uint8_t *body = table + bodies + slot.body_at;
                difference |= load<native, uint32_t>(body) ^ slot.count;
            });
            return difference == 0;
        }
    }
    template <class Visitor>
    [[gnu::always_inline]] static void each_array(Visitor &&visit)
    {
        unroll<layout::slots>([&visit]<size_t Slot>() VORL_INLINED {
            if constexpr (!layout::all.slot[Slot].is_scalar)
                visit.template operator()<Slot>();
        });
    }

    /// A scalar that lies in a window, be it one that the window squeezes or another's: windows that
    /// overlap then agree.
    static constexpr bool is_in(size_t window, uint32_t s)
    {
        const uint32_t at = layout::windows.windows[window].at;
        return layout::all.slot[s].is_scalar && layout::all.slot[s].record_at >= at &&
               layout::all.slot[s].record_at + layout::all.slot[s].size <= at + layout::window_size;
    }
    /// Shuffle of entries, sixteen slots to a vector, to the sixteen bytes of a window: each byte of
    /// a scalar takes its slot's.
    static constexpr lanes slots_to_window(size_t window, size_t vector)
    {
        lanes indices = filled(no_byte);
        for (uint32_t s = 0; s < layout::slots; ++s) {
            const auto &slot = layout::all.slot[s];
            for (uint32_t i = 0; i < slot.size && is_in(window, s) && s / lane_count == vector; ++i)
                indices.bytes[slot.record_at - layout::windows.windows[window].at + i] =
                    static_cast<uint8_t>(s % lane_count);
        }
        return indices;
    }
    /// For each byte of a window: which byte of its scalar it is, less `less`; no_byte where there
    /// is none.
    static constexpr lanes byte_in_scalar(size_t window, uint32_t less)
    {
        lanes bytes = filled(no_byte);
        for (uint32_t s = 0; s < layout::slots; ++s) {
            const auto &slot = layout::all.slot[s];
            for (uint32_t i = 0; i < slot.size && is_in(window, s); ++i)
                bytes.bytes[slot.record_at - layout::windows.windows[window].at + i] =
                    static_cast<uint8_t>(i - less);
        }
        return bytes;
    }
    /// The blocks that the fields of a window's scalars can be in.
    static constexpr uint32_t first_block(size_t window)
    {
        uint32_t s = 0;
        while (!is_in(window, s))
            ++s;
        return block_of(layout::all.slot[s].least_at);
    }
    static constexpr uint32_t last_block(size_t window)
    {
        uint32_t block = 0;
        for (uint32_t s = 0; s < layout::slots; ++s) {
            if (is_in(window, s))
                block = block_of(layout::all.slot[s].last_at + layout::all.slot[s].field - 1);
        }
        return block;
    }

    template <size_t Window>
    [[gnu::always_inline]] static u8x16 window_of(const u8x16 (&index)[index_vectors],
                                                  const u8x16 (&block)[blocks],
                                                  const u8x16 (&shift)[blocks])
    {
        u8x16 entries = {};
        unroll<index_vectors>([&]<size_t Vector>() VORL_INLINED {
            static constexpr lanes indices = slots_to_window(Window, Vector);
            if constexpr (indices != filled(no_byte))
                entries |= shuffle(index[Vector], indices.vector());
        });

        constexpr uint32_t first = first_block(Window);
        constexpr uint32_t last = last_block(Window);
        u8x16 bytes = {};
        unroll<last - first + 1>([&]<size_t Block>() VORL_INLINED {
            constexpr uint32_t b = first + Block;
            static constexpr lanes in_block = byte_in_scalar(Window, word_size + lane_count * b);
            u8x16 indices = entries + in_block.vector();
            if constexpr (!has_room)
                indices += shift[b];
            // What lies below the block has wrapped to an index of no byte; what lies above is to
            // become one.
            if constexpr (b < last)
                indices = above_15_to_no_byte(indices);
            bytes |= shuffle(block[b], indices);
        });
        return bytes;
    }
};

} // namespace vorl
