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

#include <array>

#include "serial/fast/windows.h"

namespace vorl {

/// How a window is packed when some of its scalars are left out.
struct squeeze_row {
    static constexpr uint32_t entry_lanes = 8;

    /// The shuffle that moves the other scalars, in order, to the end of the bytes that are stored,
    /// with zeros below them.
    alignas(16) uint8_t indices[16];
    /// Vtable entries: of the scalars and, from lane `count` on, of the offset words that follow.
    /// Those of the first window are final; to later ones, an entry of the window before is added.
    int16_t entries[entry_lanes];
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
                    row.indices[--to] = static_cast<uint8_t>(Shape.at[s] + i);
            }
            while (to > 0)
                row.indices[--to] = no_byte;
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

/// Which scalars of a record are zero: a vector for each window, with a lane for each scalar.
template <const message &M>
class presence {
  public:
    using layout = packed_layout<M>;

    [[gnu::always_inline]] explicit presence(const record_windows<M> &windows)
    {
        unroll<layout::windows.count>([&]<size_t Window>() VORL_INLINED {
            zeros_[Window] = zeros_of<Window>(windows.bytes[Window]);
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
        u8x16 any = {};
#pragma GCC unroll 16
        for (const u8x16 zeros : zeros_)
            any |= zeros;
        return is_zero(any);
    }

    /// The row that tells how a window is packed.
    template <uint32_t Window>
    [[gnu::always_inline]] const squeeze_row &row() const
    {
        return squeeze_rows<M, Window>[bits_of_low(zeros_[Window])];
    }

  private:
    /// The shuffle from a window to one lane for each scalar, which gets the scalar's first byte.
    static constexpr lanes window_to_lanes(uint32_t window)
    {
        const window_shape shape = layout::shape(window);
        lanes indices = filled(no_byte);
        for (uint32_t s = 0; s < shape.count; ++s)
            indices.bytes[s] = shape.at[s];
        return indices;
    }
    static constexpr bool has_width(uint32_t window, uint32_t width)
    {
        const window_shape shape = layout::shape(window);
        for (uint32_t s = 0; s < shape.count; ++s) {
            if (shape.size[s] == width)
                return true;
        }
        return false;
    }
    /// A mask of all bytes of a window but those of scalars wider than `width`.
    static constexpr lanes not_wider(uint32_t window, uint32_t width)
    {
        const window_shape shape = layout::shape(window);
        lanes result = filled(0xFF);
        for (uint32_t s = 0; s < shape.count; ++s) {
            for (uint32_t i = 0; shape.size[s] > width && i < shape.size[s]; ++i)
                result.bytes[shape.at[s] + i] = 0;
        }
        return result;
    }

    /// Marks the scalars of this width that are zero. The wider ones have to be marked already.
    template <uint32_t Window, uint32_t Width, class Vector>
    [[gnu::always_inline]] static void compare(u8x16 &zeros, u8x16 bytes)
    {
        if constexpr (has_width(Window, Width)) {
            const auto equal = u8x16(Vector(bytes) == Vector{});
            zeros = select<not_wider(Window, Width)>(opaque(equal), zeros);
        }
    }
    /// A lane for each scalar of the window: 0xFF where it is zero.
    template <uint32_t Window>
    [[gnu::always_inline]] static u8x16 zeros_of(u8x16 bytes)
    {
        u8x16 zeros = {};
        compare<Window, 8, u64x2>(zeros, bytes);
        compare<Window, 4, u32x4>(zeros, bytes);
        compare<Window, 2, u16x8>(zeros, bytes);
        compare<Window, 1, u8x16>(zeros, bytes);
        static constexpr lanes indices = window_to_lanes(Window);
        return shuffle(zeros, indices.vector());
    }
    u8x16 zeros_[layout::windows.count];
};

} // namespace vorl
