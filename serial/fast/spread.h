// Reads a packed table of a flat message back into its record. The vtable entries become the
// indices of a shuffle that puts the fields back; an absent entry becomes one that yields zero.
//
//   entries      f0 at 4   f1 absent   f2 at 8 ...          from the vtable, as bytes
//   less one     3         255         7
//   block        [fields of the table, 16 bytes from offset 4 on]
//   indices      0 1 2 3   252 to 255  4 ...                entry - 4 + byte in the scalar
//   window       [f0     ] [0 0 0 0 ]  [f2 ...              block shuffled by the indices
//
// A table is read so when its vtable has every slot, each entry is 0 or lies where the packer could
// have put it, and the bodies of arrays follow one another. Every table that the packer makes is of
// this kind, but for one that ends less than a scalar's width behind its soffset. Any other table is
// left to the plain reader.
#pragma once

#include <algorithm>

#include "serial/fast/moves.h"
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
    /// The bytes from the table on that are looked at before any offset is followed.
    static constexpr uint32_t least_room =
        has_room ? std::max(word_size + lane_count * blocks, layout::all.bodies) : word_size;
    static_assert(has_room || layout::all.arrays == 0 || layout::all.bodies < lane_count * blocks);

    /// Reads the table at `table`, in `len` bytes, into the record, padding included. Its vtable,
    /// which has an entry for every slot, ends where the table begins, and there are least_room bytes
    /// from there on. False: the table is left to the plain reader, and nothing has been written.
    [[gnu::always_inline]] static bool read(const uint8_t *__restrict bytes, uint32_t len,
                                            uint32_t table, uint8_t *__restrict record)
    {
        const uint32_t room = len - table;
        const constants *const c = constants_at(&constants_of_message);
        const uint8_t *entries = bytes + table - vtable_length(layout::slots) + entry_at(0);
        u8x16 index[index_vectors];
        if (!indices_of(entries, room, index, c))
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
                                             window_of<Window>(index, block, shift, c));
        });
        each_array([&]<size_t Slot>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Slot];
            move<slot.size>(record + slot.record_at,
                            bytes + table + bodies + slot.body_at + word_size);
        });
        return true;
    }

  private:
    /// Whether an absent entry less one could become an index that yields a byte: that of a scalar of
    /// 8 bytes, or one that is shifted.
    static constexpr bool lowers_absent = [] {
        for (const auto &slot : layout::all.slot) {
            if (slot.is_scalar && slot.size == 8)
                return true;
        }
        return !has_room;
    }();
    /// What it is lowered to. Bit 7 stays set after all that is added: from -99, which is 0 - 3 - 96
    /// for block 6, to 20, which is 7 - 3 and a shift of 16.
    static constexpr uint8_t absent_index = 0xE7;
    /// The index of a byte of a window that no scalar lies in. The same holds for it.
    static constexpr uint8_t no_scalar = 0xE0;

    /// A vector of what `fact` says of each slot, and of `no_slot` in lanes past the last one.
    template <class Fact>
    static constexpr lanes of_slots(size_t vector, uint32_t no_slot, Fact fact)
    {
        lanes result{};
        for (size_t i = 0; i < lane_count; ++i) {
            const size_t s = vector * lane_count + i;
            result.bytes[i] =
                static_cast<uint8_t>(s < layout::slots ? fact(layout::all.slot[s]) : no_slot);
        }
        return result;
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
    /// For each byte of a window: which byte of its scalar it is, less `less`; no_scalar where there
    /// is none.
    static constexpr lanes byte_in_scalar(size_t window, uint32_t less)
    {
        lanes bytes = filled(no_scalar);
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

    struct constants {
        struct entry_checks {
            lanes array;  ///< 255 for an array, whose entry, less one, has to be in range, too
            lanes last;   ///< the largest entry that the packer makes, less one for an array
            lanes least;  ///< the smallest one, less one
            lanes length; ///< bytes in the field area
        };
        entry_checks entries[index_vectors];
        lanes slots_to_window[layout::windows.count][index_vectors];
        lanes byte_in_scalar[layout::windows.count];
    };
    static constexpr constants constants_of_message = [] {
        constants result{};
        for (size_t v = 0; v < index_vectors; ++v) {
            const auto is_array = [](const auto &slot) { return slot.is_scalar ? 0U : 1U; };
            result.entries[v] = {
                of_slots(v, 0, [&](const auto &slot) { return is_array(slot) * 255; }),
                of_slots(v, 255, [&](const auto &slot) { return slot.last_at - is_array(slot); }),
                of_slots(v, 0, [](const auto &slot) { return slot.least_at - 1; }),
                of_slots(v, 0, [](const auto &slot) { return slot.field; })};
        }
        for (size_t w = 0; w < layout::windows.count; ++w) {
            for (size_t v = 0; v < index_vectors; ++v)
                result.slots_to_window[w][v] = slots_to_window(w, v);
            result.byte_in_scalar[w] =
                byte_in_scalar(w, word_size + lane_count * first_block(w) - 1);
        }
        return result;
    }();

    /// The entries of eight slots.
    template <size_t Half>
    [[gnu::always_inline]] static u16x8 load_entries(const uint8_t *entries)
    {
        constexpr uint32_t left = layout::slots - Half * 8;
        constexpr uint32_t exact = (left < 8 ? left : 8) * entry_size;
        // Behind the last entry there is the table. What is loaded of it is in lanes of no slot.
        return u16x8(load_first < has_room ? lane_count
                                           : exact > (entries + Half * 8 * entry_size));
    }

    /// Each slot's entry as a byte, less one, so that an absent one is 255. False when one is neither
    /// 0 nor where the packer could have put it, or when entry and field, even of an absent slot,
    /// pass the end of the buffer.
    [[gnu::always_inline]] static bool indices_of(const uint8_t *entries, uint32_t room,
                                                  u8x16 (&index)[index_vectors], const constants *c)
    {
        u16x8 half[2 * index_vectors] = {};
        unroll<halves>([&]<size_t Half>()
                           VORL_INLINED { half[Half] = load_entries<Half>(entries); });
        u8x16 wrong = {};
        unroll<index_vectors>([&]<size_t Vector>() VORL_INLINED {
            const auto &check = c->entries[Vector];
            const u8x16 entry = narrow_saturating(half[2 * Vector], half[2 * Vector + 1]);
            index[Vector] = entry - u8x16(u8x16{} + 1);
            u8x16 bounded = entry;
            if constexpr (constants_of_message.entries[Vector].array != lanes{})
                bounded += check.array.vector();
            wrong |= subtract_saturating(bounded, check.last.vector()) |
                     subtract_saturating(check.least.vector(), index[Vector]);
            if constexpr (!has_room) {
                const auto room8 = static_cast<uint8_t>(room < UINT8_MAX ? room : UINT8_MAX);
                wrong |= subtract_saturating(add_saturating(entry, check.length.vector()),
                                             u8x16{} + room8);
            }
            if constexpr (lowers_absent)
                index[Vector] = smaller(index[Vector], u8x16{} + absent_index);
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
            const auto body_of = [&]<size_t Slot>() VORL_INLINED {
                const uint64_t entry = load<native, uint16_t>(entries + Slot * entry_size);
                return entry + load<native, uint32_t>(table + entry) -
                       layout::all.slot[Slot].body_at;
            };
            bodies = body_of.template operator()<array_slot(0)>();
            if ((!has_room && room < layout::all.bodies) || bodies > room - layout::all.bodies)
                return false;
            return all_equal<2 * layout::all.arrays - 1>([&]<size_t Index>() VORL_INLINED {
                constexpr uint32_t array = (Index + 1) / 2;
                constexpr auto slot = layout::all.slot[array_slot(array)];
                if constexpr (Index % 2 == 0)
                    return comparison<uint64_t>{
                        load<native, uint32_t>(table + bodies + slot.body_at), slot.count};
                else
                    return comparison<uint64_t>{body_of.template operator()<array_slot(array)>(),
                                                bodies};
            });
        }
    }
    /// The slot of an array, by its number among the arrays.
    static constexpr uint32_t array_slot(uint32_t array)
    {
        uint32_t slot = 0;
        while (layout::all.slot[slot].is_scalar || layout::all.slot[slot].arrays != array)
            ++slot;
        return slot;
    }
    template <class Visitor>
    [[gnu::always_inline]] static void each_array(Visitor &&visit)
    {
        unroll<layout::slots>([&visit]<size_t Slot>() VORL_INLINED {
            if constexpr (!layout::all.slot[Slot].is_scalar)
                visit.template operator()<Slot>();
        });
    }

    template <size_t Window>
    [[gnu::always_inline]] static u8x16 window_of(const u8x16 (&index)[index_vectors],
                                                  const u8x16 (&block)[blocks],
                                                  const u8x16 (&shift)[blocks], const constants *c)
    {
        u8x16 indices = {};
        unroll<index_vectors>([&]<size_t Vector>() VORL_INLINED {
            if constexpr (slots_to_window(Window, Vector) != filled(no_byte))
                indices |= shuffle(index[Vector], c->slots_to_window[Window][Vector].vector());
        });
        indices += c->byte_in_scalar[Window].vector();

        constexpr uint32_t first = first_block(Window);
        constexpr uint32_t count = last_block(Window) - first + 1;
        u8x16 taken[count];
        unroll<count>([&]<size_t Block>() VORL_INLINED { taken[Block] = block[first + Block]; });
        if constexpr (has_room)
            return look_up(taken, indices);
        u8x16 bytes = {};
        unroll<count>([&]<size_t Block>() VORL_INLINED {
            constexpr auto blocks_before = static_cast<uint8_t>(lane_count * Block);
            u8x16 in_block = indices - (u8x16{} + blocks_before) + shift[first + Block];
            // An index below this block has wrapped and yields zero. One above it has to be made to
            // yield zero, unless there is no later block.
            if constexpr (Block + 1 < count)
                in_block = above_15_to_no_byte(in_block);
            bytes |= shuffle(taken[Block], in_block);
        });
        return bytes;
    }
};

} // namespace vorl
