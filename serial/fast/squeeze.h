// Writes the packed table of a flat record from its windows.
//
// The windows are stored first, the last of them before the others. Each store ends where the fields
// of its window end, so its unused bytes, which are below the scalars, fall on earlier fields or the
// vtable. They are overwritten when those are stored:
//
//   address    vtable ......... table soffset | fields of window 0 | words | fields of window 1 |
//   1st store                              [ zeros          | squeezed scalars of window 1     ]
//   2nd              [ zeros                  | of window 0      ]
//   3rd                                                     [words]
//   4th        [vtable entries ][soffset]
//   last                                                         the bodies of arrays, behind all that
//
// Of a record with no scalar left out, a window may be stored as it stands instead. Its unused bytes
// then fall on both sides of its fields, on what is stored later.
#pragma once

#include "serial/fast/forms.h"
#include "serial/fast/zeros.h"

namespace vorl {

/// The rows that tell how the windows of a record with scalars left out are packed.
template <const message &M>
class squeezed {
  public:
    using layout = packed_layout<M>;

    const squeeze_row *row[layout::windows.count]; ///< by window

    [[gnu::always_inline]] explicit squeezed(const presence<M> &scalars)
    {
        unroll<layout::windows.count>([&]<size_t Window>() VORL_INLINED {
            row[Window] = opaque(scalars.template row<Window>());
            constexpr uint32_t behind_the_scalars = layout::scalars_in(Window);
            // Loaded once: for all that a compiler knows, what is stored might change the row.
            end_[Window] = static_cast<uint16_t>(row[Window]->entries[behind_the_scalars]);
        });
    }

    /// The bytes of the scalars that are not left out, in windows [`First`, `End`).
    template <uint32_t First, uint32_t End>
    [[gnu::always_inline]] uint64_t bytes() const
    {
        uint64_t ends = 0;
        uint64_t firsts = 0;
        unroll<End - First>([&]<size_t Window>() VORL_INLINED {
            ends += end_[First + Window];
            firsts += entry_layout<M>::first_entry(First + Window);
        });
        return ends - firsts;
    }
    /// Bytes of the table from its vtable on.
    [[gnu::always_inline]] uint64_t table_size() const
    {
        return vtable_length(layout::slots) + word_size + layout::all.arrays * word_size +
               layout::all.bodies + bytes<0, layout::windows.count>();
    }

  private:
    uint64_t end_[layout::windows.count]; ///< of each window: the entry behind its scalars
};

/// What is constant about packing a record. It is in one struct, so that one address leads to it.
template <const message &M>
struct packing_constants {
    lanes scalars[packed_layout<M>::windows.count]; ///< presence<M>::scalar_lanes of each window
    byte_image<packed_form<M>::size> form;

    static constexpr packing_constants make()
    {
        packing_constants result{{}, packed_form<M>::image};
        for (uint32_t w = 0; w < packed_layout<M>::windows.count; ++w)
            result.scalars[w] = presence<M>::scalar_lanes(w);
        return result;
    }
};
template <const message &M>
inline constexpr packing_constants<M> packing_constants_of = packing_constants<M>::make();

template <const message &M>
class squeeze_writer {
  public:
    using layout = packed_layout<M>;

    /// Writes at `vtable` the table of a record that has scalars left out; returns its end. `size` is
    /// left.table_size().
    [[gnu::always_inline]] static uint8_t *write(uint8_t *__restrict vtable,
                                                 const uint8_t *__restrict record,
                                                 const record_windows<M> &windows,
                                                 const squeezed<M> &left, uint64_t size)
    {
        constexpr uint32_t length = vtable_length(layout::slots);
        uint8_t *const table = vtable + length;
        uint8_t *const end = opaque(vtable + size);
        unroll<layout::windows.count>([&]<size_t Index>() VORL_INLINED {
            constexpr uint32_t w = layout::windows.count - 1 - Index;
            store_first<layout::squeeze_width>(
                field_of<layout::windows.windows[w].end>(table, end, left) - layout::squeeze_width,
                shuffle(windows.bytes[w], left.row[w]->indices.vector()));
        });
        each_run([&]<run Arrays>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Arrays.first];
            constexpr uint32_t before = layout::windows_before(Arrays.first);
            // From a word to its body: later words and scalars, and the bodies before it.
            store_words<slot.body - word_size, Arrays.end - Arrays.first>(
                field_of<Arrays.first>(table, end, left),
                static_cast<uint32_t>((layout::all.arrays - slot.arrays) * word_size +
                                      slot.body_at +
                                      left.template bytes<before, layout::windows.count>()));
        });
        write_entries(vtable, left);
        const uint32_t soffset = opaque(length);
        store<native>(vtable, static_cast<uint16_t>(soffset));
        store<native>(vtable + entry_size, static_cast<uint16_t>(size - length));
        store<native>(table, soffset);
        write_bodies(end, record);
        return end;
    }

    /// Writes the table of a record with no zero scalar: every field has a constant place. `form` is
    /// where the packed form begins, 4 bytes before the vtable: there its root offset is written, too,
    /// if WithRoot. `image` is that of packing_constants.
    template <bool WithRoot>
    [[gnu::always_inline]] static void
    write_full(uint8_t *__restrict form, const uint8_t *__restrict record,
               const record_windows<M> &windows, const uint8_t *__restrict image)
    {
        unroll<layout::windows.count>([&]<size_t Index>() VORL_INLINED {
            constexpr uint32_t w = layout::windows.count - 1 - Index;
            if constexpr (is_stored_in_place(w))
                store16(form + in_place_at(w), windows.bytes[w]);
            else
                store_first<layout::squeeze_width>(form + fields_end_of(w) - layout::squeeze_width,
                                                   at_the_end<w>(windows.bytes[w]));
        });
        each_run([&]<run Arrays>() VORL_INLINED {
            constexpr uint32_t words = table_at + layout::all.slot[Arrays.first].last_at;
            move<(Arrays.end - Arrays.first) * word_size>(form + words, image + words);
        });
        write_bodies(form + packed_form<M>::size, record);
        constexpr uint32_t begin = WithRoot ? 0 : word_size;
        move<table_at + word_size - begin>(form + begin, image + begin);
    }

  private:
    /// Where the table lies in the packed form.
    static constexpr uint32_t table_at = word_size + vtable_length(layout::slots);

    /// The end of a window's fields in the packed form.
    static constexpr uint32_t fields_end_of(uint32_t window)
    {
        const auto &last = layout::all.slot[layout::windows.windows[window].end - 1];
        return table_at + last.last_at + last.field;
    }
    /// Where a window goes in the packed form when it is stored as it stands: its scalars are then on
    /// their fields. Never before the vtable, for there are four slots or more where it is asked.
    static constexpr uint32_t in_place_at(uint32_t window)
    {
        const auto &first = layout::all.slot[layout::windows.windows[window].first];
        return table_at + first.last_at - layout::shape(window).at[0];
    }
    /// Whether a window is stored as it stands. Its scalars have to be in a row, and its bytes behind
    /// them must not reach the fields of the next window, which has been stored before.
    static constexpr bool is_stored_in_place(uint32_t window)
    {
        static_assert(layout::squeeze_width < lane_count || table_at >= lane_count);
        const uint32_t end = in_place_at(window) + lane_count;
        const bool is_last = window + 1 == layout::windows.count;
        const uint32_t limit =
            is_last
                ? packed_form<M>::size
                : table_at + layout::all.slot[layout::windows.windows[window + 1].first].last_at;
        return layout::squeeze_width == lane_count && layout::window_size == lane_count &&
               layout::shape(window).is_in_a_row() && end <= limit;
    }

    /// Where the field of a slot is, or would be; of one behind the last slot: the end of the fields.
    template <uint32_t Slot>
    [[gnu::always_inline]] static uint8_t *field_of(uint8_t *table, uint8_t *end,
                                                    const squeezed<M> &left)
    {
        constexpr uint32_t before = layout::windows_before(Slot);
        constexpr uint32_t arrays =
            Slot < layout::slots ? layout::all.slot[Slot].arrays : layout::all.arrays;
        if constexpr (before == layout::windows.count)
            return end - layout::all.bodies - (layout::all.arrays - arrays) * word_size;
        else
            return opaque(table + left.template bytes<0, before>()) + word_size +
                   arrays * word_size;
    }

    /// All scalars of a window, in order, at the end of squeeze_width bytes; any bytes below.
    template <uint32_t Window>
    [[gnu::always_inline]] static u8x16 at_the_end(u8x16 bytes)
    {
        constexpr window_shape shape = layout::shape(Window);
        constexpr uint32_t end = shape.at[shape.count - 1] + shape.size[shape.count - 1];
        if constexpr (shape.is_in_a_row() && end == layout::squeeze_width) {
            return bytes;
        } else if constexpr (shape.is_in_a_row() && end < layout::squeeze_width &&
                             layout::squeeze_width == 16) {
            return bytes_up<16 - end>(bytes);
        } else {
            return shuffle(bytes, squeeze_rows<M, Window>[0].indices.vector());
        }
    }

    /// Successive arrays with bodies of one size, so that their words and bodies are at equal
    /// distances.
    struct run {
        uint32_t first;
        uint32_t end;
    };
    static constexpr run run_from(uint32_t first)
    {
        const auto continues = [first](uint32_t other) {
            return !layout::all.slot[other].is_scalar &&
                   layout::all.slot[other].body == layout::all.slot[first].body;
        };
        run result = {first, first};
        while (result.end < layout::slots && continues(result.end))
            ++result.end;
        return result;
    }
    /// Calls `visit` for each run that begins at slot `First` or later.
    template <uint32_t First = 0, class Visitor>
    [[gnu::always_inline]] static void each_run(Visitor &&visit)
    {
        if constexpr (First < layout::slots) {
            constexpr run arrays = run_from(First); // empty when the slot is a scalar
            if constexpr (arrays.end != First)
                visit.template operator()<arrays>();
            each_run<std::max(arrays.end, First + 1)>(visit);
        }
    }

    /// Writes the bodies of all arrays, which end where the table ends.
    [[gnu::always_inline]] static void write_bodies(uint8_t *__restrict end,
                                                    const uint8_t *__restrict record)
    {
        unroll<layout::slots>([&]<size_t Slot>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                uint8_t *const body = end - layout::all.bodies + slot.body_at;
                keep_order_of_stores();
                store<native>(body, slot.count);
                move<slot.size>(body + word_size, record + slot.record_at);
                keep_order_of_stores();
            }
        });
    }

    /// Stores `Count` offset words, which grow by `Step`; four at a time where there are four.
    template <uint32_t Step, uint32_t Count, uint32_t Begin = 0>
    [[gnu::always_inline]] static void store_words(uint8_t *at, uint32_t first)
    {
        if constexpr (Count >= 4) {
            constexpr uint32_t begin = Begin + 4 <= Count ? Begin : Count - 4;
            constexpr u32x4 steps = {begin * Step, (begin + 1) * Step, (begin + 2) * Step,
                                     (begin + 3) * Step};
            store16(at + begin * word_size, u8x16(steps + first));
            if constexpr (begin + 4 < Count)
                store_words<Step, Count, begin + 4>(at, first);
        } else if constexpr (Begin < Count) {
            store<native>(at + Begin * word_size, opaque(first + Begin * Step));
            store_words<Step, Count, Begin + 1>(at, first);
        }
    }

    /// The entries of successive offset words, less the entry of the slot before the first of them.
    static constexpr i16x8 word_steps = {4, 8, 12, 16, 20, 24, 28, 32};

    /// Stores the entries of `Slots` slots from `First` on; past the eighth all are arrays. Returns
    /// in every lane the entry of the slot behind them or, of eight slots or more, of the eighth.
    /// Bytes stored past the entries are overwritten, by the next store or by the soffset.
    template <uint32_t First, uint32_t Slots>
    [[gnu::always_inline]] static i16x8 store_entries(uint8_t *vtable, i16x8 entries)
    {
        constexpr uint32_t left = (layout::slots - First) * entry_size;
        store_first<left <= 12 ? (left + word_size - 1) / word_size * word_size : 16>(
            vtable + entry_at(First), u8x16(entries));
        constexpr uint32_t stored = squeeze_row::entry_lanes;
        constexpr uint32_t last_lane = Slots < stored ? Slots : stored - 1;
        const i16x8 last = every_lane<last_lane>(entries);
        if constexpr (Slots > stored)
            store_entries<First + stored, Slots - stored>(vtable, last + word_steps);
        return last;
    }

    [[gnu::always_inline]] static void write_entries(uint8_t *vtable, const squeezed<M> &left)
    {
        constexpr uint32_t leading = layout::windows.windows[0].first;
        i16x8 before = {};
        if constexpr (leading > 0)
            store_entries<0, leading>(vtable, word_steps);
        unroll<layout::windows.count>([&]<size_t Window>() VORL_INLINED {
            auto entries = left.row[Window]->entry_vector();
            if constexpr (Window > 0)
                entries = at_least_zero(entries + before);
            before = store_entries<layout::windows.windows[Window].first,
                                   entry_layout<M>::slots_of(Window)>(vtable, entries);
        });
    }
};

} // namespace vorl
