// Writes the packed table of a flat record from its windows.
//
// The last window is stored first. Each store ends where the fields of its window end, so its
// unused bytes, which are below the scalars, fall on earlier fields or the vtable. They are
// overwritten when those are stored:
//
//   address    vtable ......... table soffset | fields of window 0 | words | fields of window 1 |
//   1st store                              [ zeros          | squeezed scalars of window 1     ]
//   2nd                                                     [words]
//   3rd              [ zeros                  | of window 0      ]
//   last       [vtable entries ][soffset]
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
        unroll<layout::windows.count>(
            [&]<size_t Window>() VORL_INLINED { row[Window] = &scalars.template row<Window>(); });
    }

    /// The bytes of the scalars that are not left out, in windows [`First`, `End`).
    template <uint32_t First, uint32_t End>
    [[gnu::always_inline]] uint64_t bytes() const
    {
        uint64_t sum = 0;
        unroll<End - First>([&]<size_t Window>()
                                VORL_INLINED { sum += bytes_of<First + Window>(); });
        return sum;
    }
    /// Bytes of the table from its vtable on.
    [[gnu::always_inline]] uint64_t table_size() const
    {
        return vtable_length(layout::slots) + word_size + layout::all.arrays * word_size +
               layout::all.bodies + bytes<0, layout::windows.count>();
    }

  private:
    template <uint32_t Window>
    [[gnu::always_inline]] uint64_t bytes_of() const
    {
        const auto end = static_cast<uint16_t>(row[Window]->entries[layout::scalars_in(Window)]);
        constexpr uint32_t first = entry_layout<M>::first_entry(Window);
        return uint64_t{end} - first;
    }
};

template <const message &M>
class squeeze_writer {
  public:
    using layout = packed_layout<M>;

    /// Writes at `vtable` the table of a record that has scalars left out; returns its end.
    [[gnu::always_inline]] static uint8_t *write(uint8_t *__restrict vtable,
                                                 const uint8_t *__restrict record,
                                                 const record_windows<M> &windows,
                                                 const squeezed<M> &left)
    {
        constexpr uint32_t length = vtable_length(layout::slots);
        uint8_t *const table = vtable + length;
        const uint64_t size = left.table_size();
        uint8_t *const end = opaque(vtable + size);
        each_slot_down([&]<size_t Slot>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                if constexpr (constexpr run arrays = run_of(Slot); arrays.end == Slot + 1) {
                    constexpr auto first = layout::all.slot[arrays.first];
                    constexpr uint32_t before = layout::windows_before(Slot);
                    // From a word to its body: later words and scalars, and the bodies before it.
                    store_words<first.body - word_size, arrays.end - arrays.first>(
                        table + first.least_at + left.template bytes<0, before>(),
                        static_cast<uint32_t>(
                            (layout::all.arrays - first.arrays) * word_size + first.body_at +
                            left.template bytes<before, layout::windows.count>()));
                }
                uint8_t *const body = end - layout::all.bodies + slot.body_at;
                store<native>(body, slot.count);
                memcpy(body + word_size, record + slot.record_at, slot.size);
            } else if constexpr (constexpr uint32_t w = window_of(Slot);
                                 layout::windows.windows[w].first == Slot) {
                uint8_t *const to = table + slot.least_at + left.template bytes<0, w + 1>();
                store_first<layout::squeeze_width>(
                    to - layout::squeeze_width,
                    shuffle(windows.bytes[w], load16(left.row[w]->indices)));
            }
        });

        write_entries(vtable, left);
        // Both lengths at once.
        store<native>(vtable, length + (static_cast<uint32_t>(size - length) << 16));
        store<native>(table, length);
        return end;
    }

    /// The same for a record with no zero scalar: every field has a constant place.
    [[gnu::always_inline]] static void write_full(uint8_t *__restrict vtable,
                                                  const uint8_t *__restrict record,
                                                  const record_windows<M> &windows)
    {
        constexpr uint32_t length = vtable_length(layout::slots);
        constexpr auto &image = full_table_form<M>::image.bytes;
        uint8_t *const table = vtable + length;
        each_slot_down([&]<size_t Slot>() VORL_INLINED {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                constexpr uint32_t body_at = layout::all.fields_end + slot.body_at;
                if constexpr (constexpr run arrays = run_of(Slot); arrays.end == Slot + 1) {
                    constexpr uint32_t words = layout::all.slot[arrays.first].last_at;
                    memcpy(table + words, image + length + words,
                           (arrays.end - arrays.first) * word_size);
                }
                store<native>(table + body_at, slot.count);
                memcpy(table + body_at + word_size, record + slot.record_at, slot.size);
            } else if constexpr (constexpr uint32_t w = window_of(Slot);
                                 layout::windows.windows[w].first == Slot) {
                constexpr auto last = layout::all.slot[layout::windows.windows[w].end - 1];
                store_first<layout::squeeze_width>(table + last.last_at + last.field -
                                                       layout::squeeze_width,
                                                   at_the_end<w>(windows.bytes[w]));
            }
        });
        memcpy(vtable, image, length + word_size);
    }

  private:
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
            return shuffle(bytes, load16(squeeze_rows<M, Window>[0].indices));
        }
    }

    template <class Visitor>
    [[gnu::always_inline]] static void each_slot_down(Visitor &&visit)
    {
        unroll<layout::slots>([&visit]<size_t Index>() VORL_INLINED {
            visit.template operator()<layout::slots - 1 - Index>();
        });
    }

    /// The window that squeezes a scalar.
    static constexpr uint32_t window_of(uint32_t s) { return layout::windows_before(s + 1) - 1; }

    /// Successive arrays with bodies of one size, so that their words and bodies are at equal
    /// distances.
    struct run {
        uint32_t first;
        uint32_t end;
    };
    static constexpr run run_of(uint32_t s)
    {
        const auto continues = [s](uint32_t other) {
            return !layout::all.slot[other].is_scalar &&
                   layout::all.slot[other].body == layout::all.slot[s].body;
        };
        run result = {s, s + 1};
        while (result.first > 0 && continues(result.first - 1))
            --result.first;
        while (result.end < layout::slots && continues(result.end))
            ++result.end;
        return result;
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
            store<native>(at + Begin * word_size, first + Begin * Step);
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
            i16x8 entries;
            memcpy(&entries, left.row[Window]->entries, sizeof entries);
            if constexpr (Window > 0)
                entries = at_least_zero(entries + before);
            before = store_entries<layout::windows.windows[Window].first,
                                   entry_layout<M>::slots_of(Window)>(vtable, entries);
        });
    }
};

} // namespace vorl
