// Finds which scalars of a record are zero. For each window, the answer selects a row of a table.
//
//   window          [f0 = 7     ][f1 = 0     ][2][0][4][5][of other slots      ]
//   zero lanes      [00 00 00 00][FF FF FF FF][0][F][0][0]
//   lane per scalar  00           FF           0  F  0  0                        by a shuffle
//   as bits          0            1            0  1  0  0      row 0b001010 of the window's table
//
// A row says how to pack the window when those scalars are left out: it has the shuffle that
// squeezes the others together, and the vtable entries. So a branch may depend on whether a scalar
// is zero, but none depends on which ones are, and so that costs no misprediction.
#pragma once

#include <algorithm>
#include <array>

#include "serial/fast/windows.h"

namespace vorl {

/// How a window is packed when some of its scalars are left out.
struct squeeze_row {
    static constexpr uint32_t entry_lanes = 8;

    /// The shuffle that moves the other scalars, in order, to the end of the bytes that are stored,
    /// with zeros below them.
    lanes indices;
    /// Vtable entries: of the scalars and, from lane `count` on, of the offset words that follow.
    /// Those of the first window are final; to later ones, an entry of the window before is added.
    alignas(16) int16_t entries[entry_lanes];

    i16x8 entry_vector() const
    {
        using vector [[gnu::may_alias]] = i16x8;
        return *reinterpret_cast<const vector *>(entries);
    }
};

/// The rows of a window that is squeezed to `Width` bytes. Bit s of the index is set when scalar s
/// is left out. The first entry is `First`; a scalar that is left out has the entry `Absent`.
template <window_shape Shape, uint32_t Width, uint32_t First, int16_t Absent>
struct squeeze_table {
    static constexpr auto rows = [] {
        std::array<squeeze_row, 1U << Shape.count> result{};
        for (uint32_t left_out = 0; left_out < result.size(); ++left_out) {
            squeeze_row &row = result[left_out];
            uint32_t entry = First;
            for (uint32_t s = 0; s < Shape.count; ++s) {
                const bool is_absent = (left_out >> s & 1) != 0;
                row.entries[s] = is_absent ? Absent : static_cast<int16_t>(entry);
                entry += is_absent ? 0 : Shape.size[s];
            }
            for (uint32_t s = Shape.count; s < squeeze_row::entry_lanes; ++s)
                row.entries[s] = static_cast<int16_t>(entry + (s - Shape.count) * word_size);
            uint32_t to = Width;
            for (uint32_t s = Shape.count; s-- > 0;) {
                for (uint32_t i = (left_out >> s & 1) != 0 ? 0 : Shape.size[s]; i-- > 0;)
                    row.indices.bytes[--to] = static_cast<uint8_t>(Shape.at[s] + i);
            }
            while (to > 0)
                row.indices.bytes[--to] = no_byte;
        }
        return result;
    }();
};

/// The values that the entries in the rows of a window start from.
template <const message &M>
struct entry_layout {
    using layout = packed_layout<M>;

    /// How many slots there are from a window to the next: its scalars, then arrays.
    static constexpr uint32_t slots_of(uint32_t window)
    {
        return (window + 1 < layout::windows.count ? layout::windows.windows[window + 1].first
                                                   : layout::slots) -
               layout::windows.windows[window].first;
    }
    /// The first entry of a window. Of the first window: behind the soffset and the offset words
    /// before it. Of another: its distance from the entry that is added to it, which is that of the
    /// last lane if the window before has more slots than fit into lanes; otherwise 0.
    static constexpr uint32_t first_entry(uint32_t window)
    {
        if (window == 0)
            return (1 + layout::windows.windows[0].first) * word_size;
        const uint32_t before = slots_of(window - 1);
        const uint32_t last_lane = squeeze_row::entry_lanes - 1;
        return before > last_lane ? (before - last_lane) * word_size : 0;
    }
    /// The entry of a scalar that is left out: below 0 whatever is added, or 0 where nothing is.
    static constexpr int16_t absent_entry(uint32_t window)
    {
        return window == 0 ? 0 : INT16_MIN / 2;
    }
};

/// The rows of one window of a message.
template <const message &M, uint32_t Window>
inline constexpr auto &squeeze_rows =
    squeeze_table<packed_layout<M>::shape(Window), packed_layout<M>::squeeze_width,
                  entry_layout<M>::first_entry(Window),
                  entry_layout<M>::absent_entry(Window)>::rows;

/// Which scalars of a record are zero: a vector for each window, from which `picked` takes a lane for
/// each scalar.
template <const message &M>
class presence {
  public:
    using layout = packed_layout<M>;

    /// The widths of a window's scalars.
    struct width_list {
        uint32_t width[4];
        uint32_t count;
    };
    static constexpr width_list widths(uint32_t window)
    {
        const window_shape shape = layout::shape(window);
        width_list result{};
        for (const uint32_t width : {8U, 4U, 2U, 1U}) {
            if (std::count(shape.size, shape.size + shape.count, width) != 0)
                result.width[result.count++] = width;
        }
        return result;
    }
    /// For each scalar of a window, where its lane is taken from: of the comparisons of the window
    /// with zero, one for each width, that of its own width, and there its first byte.
    static constexpr lanes scalar_lanes(uint32_t window)
    {
        const window_shape shape = layout::shape(window);
        lanes result = filled(no_byte);
        for (uint32_t s = 0; s < shape.count; ++s) {
            uint32_t comparison = 0;
            while (widths(window).width[comparison] != shape.size[s])
                ++comparison;
            result.bytes[s] = static_cast<uint8_t>(comparison * lane_count + shape.at[s]);
        }
        return result;
    }

    /// A lane for each scalar of the window: 0xFF where it is zero.
    template <size_t Window>
    using scalars_of = picked<scalar_lanes(Window)>;

    /// `constants` has scalar_lanes of each window.
    [[gnu::always_inline]] presence(const record_windows<M> &windows, const lanes *constants)
    {
        unroll<layout::windows.count>([&]<size_t Window>() VORL_INLINED {
            constexpr width_list with = widths(Window);
            u8x16 zeros[with.count];
            unroll<with.count>([&]<size_t Width>() VORL_INLINED {
                zeros[Width] = zero_values<with.width[Width]>(windows.bytes[Window]);
            });
            zeros_[Window] = scalars_of<Window>::from(zeros, constants[Window].vector()).vector;
        });
    }

    template <class... Zeros>
    [[gnu::always_inline]] explicit presence(Zeros... zeros) : zeros_{zeros...}
    {
        static_assert(sizeof...(Zeros) == layout::windows.count);
    }
    /// Passes to `call` what the constructor above takes: vectors, which are passed in registers.
    template <class Call>
    [[gnu::always_inline]] auto apart(Call &&call) const
    {
        return [&]<size_t... Vector>(std::index_sequence<Vector...>) VORL_INLINED
        {
            return call(zeros_[Vector]...);
        }
        (std::make_index_sequence<layout::windows.count>{});
    }

    /// True when every scalar of the record is present.
    [[gnu::always_inline]] bool is_full() const
    {
        return [&]<size_t... Window>(std::index_sequence<Window...>) VORL_INLINED
        {
            return scalars_of<0>::are_zero(scalars_of<Window>{zeros_[Window]}...);
        }
        (std::make_index_sequence<layout::windows.count>{});
    }

    /// The row that tells how a window is packed.
    template <uint32_t Window>
    [[gnu::always_inline]] const squeeze_row *row() const
    {
        return &squeeze_rows<M, Window>[bits_of_low(scalars_of<Window>{zeros_[Window]}.bytes())];
    }

  private:
    u8x16 zeros_[layout::windows.count];
};

} // namespace vorl
