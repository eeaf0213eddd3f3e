// Reads a packed table of a flat message back into its record. The vtable entries become the
// indices of a shuffle that puts the fields back; an absent entry becomes one that yields zero.
//
//   entries      f0 at 4   f1 absent   f2 at 8 ...          from the vtable, as bytes
//   block        [fields of the table, 16 bytes from offset 4 on]
//   indices      0 1 2 3   - - - -     4 ...                entry - 4 + byte in the scalar
//   window       [f0     ] [0 0 0 0 ]  [f2 ...              block shuffled by the indices
//
// A table is read so when its vtable has every slot, each entry is 0 or lies where the packer could
// have put it, and the bodies of arrays follow one another. Every table that the packer makes is of
// this kind, but for one that ends less than a scalar's width behind its soffset. Any other table is
// left to the plain reader.
#pragma once

#include "serial/fast/windows.h"

namespace vorl {

/// A message of one slot is either full, which is a known form, or empty. So it needs no spread.
template <const message &M>
inline constexpr bool has_spread = has_windows<M> &&M.slots.size > 1;

template <const message &M>
class spread_reader {
    static_assert(has_spread<M>);

  public:
    using layout = packed_layout<M>;

    /// Reads the table at `table`, in `len` bytes, into the record, padding included. Its vtable at
    /// `vtable` has an entry for every slot and lies inside. False: the table is left to the plain
    /// reader, and nothing has been written.
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
                // A block that does not lie inside is loaded from the last sixteen bytes. There
                // are sixteen: a root offset, a vtable of two slots or more, and an soffset.
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
    /// The field area is cut into blocks of sixteen bytes; this is the one that `offset` falls in.
    static constexpr uint32_t block_of(uint32_t offset)
    {
        return (offset - word_size) / lane_count;
    }
    static constexpr uint32_t blocks = block_of(layout::all.fields_end - 1) + 1;
    static constexpr uint32_t halves = (layout::slots + 7) / 8;
    static constexpr uint32_t index_vectors = (halves + 1) / 2;
    /// True when the bodies behind the fields keep all blocks inside, whatever is left out.
    static constexpr bool has_room =
        layout::all.arrays * word_size + layout::all.bodies >= lane_count * blocks;

    /// A vector of what `fact` says of each slot, in `Width` bytes for each.
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

    /// Loads eight entries. `excess` becomes non-zero where an entry is larger than the packer ever
    /// makes it, or entry and size, even of an absent slot, pass the end of the buffer.
    template <size_t Half>
    [[gnu::always_inline]] static u16x8 load_entries(const uint8_t *entries, u16x8 room,
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
            excess |= subtract_saturating(loaded + u16x8(size.vector()), room);
        }
        return loaded;
    }

    /// Each slot's entry as a byte. An entry of 0 becomes `absent`, whose bit 7 stays set after all
    /// that is added to it below: between -100, which is -(4 + 96) for block 6, and 19.
    [[gnu::always_inline]] static bool indices_of(const uint8_t *entries, uint32_t room,
                                                  u8x16 (&index)[index_vectors])
    {
        constexpr uint8_t absent = 0xE8;
        const auto room16 = static_cast<uint16_t>(room < UINT16_MAX ? room : UINT16_MAX);
        u16x8 excess = {};
        u16x8 half[2 * index_vectors] = {};
        unroll<halves>([&]<size_t Half>() VORL_INLINED {
            half[Half] = load_entries<Half>(entries, u16x8{} + room16, excess);
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

    /// Finds `bodies`, the offset of the first array's body from the table. False unless the bodies
    /// lie inside, one behind the other, each with its count. The entries have been checked.
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

    /// Whether a scalar lies in a window, even if another window squeezes it: windows that overlap
    /// then write the same bytes.
    static constexpr bool is_in(size_t window, uint32_t s)
    {
        const uint32_t at = layout::windows.windows[window].at;
        return layout::all.slot[s].is_scalar && layout::all.slot[s].record_at >= at &&
               layout::all.slot[s].record_at + layout::all.slot[s].size <= at + layout::window_size;
    }
    /// The shuffle from the entries of sixteen slots, one vector, to the bytes of a window: each
    /// byte of a scalar gets the entry of its slot.
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
    /// The first and the last block that the fields of a window's scalars can be in.
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
            // An index below this block has wrapped and yields zero. One above it has to be made to
            // yield zero, unless there is no later block.
            if constexpr (b < last)
                indices = above_15_to_no_byte(indices);
            bytes |= shuffle(block[b], indices);
        });
        return bytes;
    }
};

} // namespace vorl
