// Packed tables of flat messages, any scalar of which may be left out, without a branch a slot:
// which scalars are present differs from record to record, and a predictor that guesses wrong costs
// more than all the work here.
//
// A record is seen through windows: sixteen bytes of it each, as few as cover everything that is not
// an array, in slot order, with seven scalars at most.
//
// Writing: which scalars of a window are zero, as a bit each, is the row of a table. The row has the
// shuffle that squeezes the others together, the vtable entries of the window, and where they end:
// the entries of the next window are added to that. Windows are squeezed to the end of their place,
// the last one first: what a store spills lies below, where the next one, or the vtable, comes to
// stand.
//
// Reading: the vtable entries are the shuffle that puts the fields back into the record, an absent
// one being an index that yields zero.
#pragma once

#include "serial/known_form.h"
#include "serial/simd.h"

#include <array>

namespace vorl {

inline constexpr uint32_t lane_count = 16;
inline constexpr uint32_t window_scalar_limit = 7; ///< a squeeze_row has a lane more
inline constexpr uint8_t no_byte = 0x80;           ///< a shuffle index that yields zero

constexpr lanes filled(uint8_t with)
{
    lanes result{};
    for (uint8_t &byte : result.bytes)
        byte = with;
    return result;
}

/// Scalars of a window: where in it, and how wide.
struct window_shape {
    uint32_t count;
    uint8_t at[window_scalar_limit];
    uint8_t size[window_scalar_limit];

    constexpr bool is_in_a_row() const
    {
        for (uint32_t s = 1; s < count; ++s) {
            if (at[s] != at[s - 1] + size[s - 1])
                return false;
        }
        return true;
    }
};

/// What a window comes to when some of its scalars are left out.
struct squeeze_row {
    static constexpr uint32_t entry_lanes = 8;

    /// The shuffle that moves the bytes of the others, in order, to the end of those that are
    /// stored, zeros below.
    alignas(16) uint8_t indices[16];
    /// The vtable entries of the scalars, and from lane `count` on those of the offset words that
    /// follow: of the first window as they are, of others to be added to those of the one before.
    int16_t entries[entry_lanes];
};

/// The rows of a window that is squeezed to `Width` bytes, by which of its scalars are left out, as
/// bits. Entries begin with `First`; `Absent` stands for those of what is left out.
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

/// What is constant about the packed table of a flat message.
template <class M>
struct packed_layout {
    static constexpr uint32_t slots = slot_count<M>;
    static constexpr uint32_t record_size = sizeof(typename M::record);
    /// Of a squeezed window: the vtable and the soffset must take the spill.
    static constexpr uint32_t squeeze_width = slots >= 4 ? 16 : 8;
    static_assert(vtable_length(slots) + word_size >= squeeze_width);

    struct slot_facts {
        uint32_t record_at;
        uint32_t size;     ///< of the member
        uint32_t field;    ///< bytes in the field area: the width, or an offset word
        uint32_t least_at; ///< offset from the table when no scalar before is present
        uint32_t last_at;  ///< and when all are
        uint32_t body;     ///< of an array: bytes of its body
        uint32_t body_at;  ///< and where it lies behind the fields
        uint32_t arrays;   ///< before it
        bool is_scalar;
    };
    struct facts {
        slot_facts slot[slots];
        uint32_t fields_end; ///< of a full table
        uint32_t bodies;     ///< bytes
        uint32_t arrays;
    };
    static constexpr facts all = [] {
        facts result{};
        result.fields_end = word_size;
        each_slot(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
            slot_facts &s = result.slot[Index];
            s.record_at = Slot::at;
            s.least_at = word_size + result.arrays * word_size;
            s.last_at = result.fields_end;
            s.arrays = result.arrays;
            s.is_scalar = is_scalar<Slot>;
            if constexpr (is_scalar<Slot>) {
                s.size = s.field = sizeof(typename Slot::value_type);
            } else {
                s.size = Slot::body_size - word_size;
                s.field = word_size;
                s.body = Slot::body_size;
                s.body_at = result.bodies;
                result.bodies += s.body;
                ++result.arrays;
            }
            result.fields_end += s.field;
        });
        return result;
    }();

    struct window {
        uint32_t at;    ///< of its sixteen bytes in the record
        uint32_t first; ///< slots [first, end) are squeezed together, and all scalars
        uint32_t end;
    };
    struct window_list {
        window windows[slots];
        uint32_t count;
    };
    /// A record shorter than a window has one, read and written in part.
    static constexpr uint32_t window_size = record_size < 16 ? record_size : 16;
    static constexpr window_list windows = [] {
        window_list result{};
        uint32_t bytes = 0;
        for (uint32_t s = 0; s < slots; ++s) {
            const slot_facts &slot = all.slot[s];
            if (!slot.is_scalar)
                continue;
            window *last = result.count == 0 ? nullptr : &result.windows[result.count - 1];
            if (last == nullptr || s != last->end || bytes + slot.size > squeeze_width ||
                s - last->first == window_scalar_limit ||
                slot.record_at + slot.size > last->at + window_size) {
                uint32_t at = slot.record_at / 8 * 8;
                if (at + window_size > record_size)
                    at = record_size - window_size;
                result.windows[result.count++] = {at, s, s + 1};
                bytes = slot.size;
            } else {
                last->end = s + 1;
                bytes += slot.size;
            }
        }
        return result;
    }();

    /// What the code below relies on: the reader has lanes enough, lanes of a window hold whole scalars,
    /// every byte of the record is in a window or an array, and indices of the field area stay
    /// below no_byte with room to spare.
    static constexpr bool is_regular = [] {
        if (windows.count == 0 || slots > 2 * lane_count || all.fields_end > 112)
            return false;
        bool covered[record_size]{};
        for (const slot_facts &slot : all.slot) {
            for (uint32_t i = 0; !slot.is_scalar && i < slot.size; ++i)
                covered[slot.record_at + i] = true;
        }
        for (uint32_t w = 0; w < windows.count; ++w) {
            const uint32_t at = windows.windows[w].at;
            for (uint32_t i = 0; i < window_size; ++i)
                covered[at + i] = true;
            for (const slot_facts &slot : all.slot) {
                if (slot.is_scalar && (slot.record_at + 8 - at % 8) % slot.size != 0)
                    return false;
            }
        }
        for (const bool is_covered : covered) {
            if (!is_covered)
                return false;
        }
        return true;
    }();

    /// Calls visit.operator()<Window>() for each, in order.
    template <class Visitor>
    [[gnu::always_inline]] static void each_window(Visitor &&visit)
    {
        [&]<uint32_t... Window>(std::integer_sequence<uint32_t, Window...>)
            __attribute__((always_inline))
        {
            (visit.template operator()<Window>(), ...);
        }
        (std::make_integer_sequence<uint32_t, windows.count>{});
    }

    static constexpr window_shape shape(uint32_t window)
    {
        window_shape result{};
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            result.at[result.count] =
                static_cast<uint8_t>(all.slot[s].record_at - windows.windows[window].at);
            result.size[result.count++] = static_cast<uint8_t>(all.slot[s].size);
        }
        return result;
    }
    /// Slots from the first of a window to the first of the next: its scalars, then arrays.
    static constexpr uint32_t slots_of(uint32_t window)
    {
        return (window + 1 < windows.count ? windows.windows[window + 1].first : slots) -
               windows.windows[window].first;
    }
    /// Where the entries of a window begin: of the first, behind the soffset and the offset words
    /// before it; of others, behind the last entry that the lanes of the one before have, if its
    /// slots are more than that.
    static constexpr uint32_t first_entry(uint32_t window)
    {
        if (window == 0)
            return (1 + windows.windows[0].first) * word_size;
        const uint32_t before = slots_of(window - 1);
        const uint32_t last_lane = squeeze_row::entry_lanes - 1;
        return before > last_lane ? (before - last_lane) * word_size : 0;
    }
    /// Below 0 whatever is added.
    static constexpr int16_t absent_entry(uint32_t window)
    {
        return window == 0 ? 0 : INT16_MIN / 2;
    }
    static constexpr uint32_t windows_before(uint32_t slot)
    {
        uint32_t count = 0;
        while (count < windows.count && windows.windows[count].first < slot)
            ++count;
        return count;
    }
    static constexpr uint32_t scalars_in(uint32_t window)
    {
        return windows.windows[window].end - windows.windows[window].first;
    }
    /// Shuffle of a window to the lanes of a half, one a scalar: that takes its first byte.
    static constexpr lanes window_to_lanes(uint32_t window, uint32_t half)
    {
        lanes indices = filled(no_byte);
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s)
            indices.bytes[half * 8 + s - windows.windows[window].first] =
                static_cast<uint8_t>(all.slot[s].record_at - windows.windows[window].at);
        return indices;
    }
    static constexpr bool has_width(uint32_t window, uint32_t width)
    {
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            if (all.slot[s].size == width)
                return true;
        }
        return false;
    }
    /// Of a window, all bytes but those of its wider scalars.
    static constexpr lanes not_wider(uint32_t window, uint32_t width)
    {
        lanes result = filled(0xFF);
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            for (uint32_t i = 0; all.slot[s].size > width && i < all.slot[s].size; ++i)
                result.bytes[all.slot[s].record_at - windows.windows[window].at + i] = 0;
        }
        return result;
    }
    static constexpr bool is_in(uint32_t window, uint32_t s)
    {
        const uint32_t at = windows.windows[window].at;
        return all.slot[s].is_scalar && all.slot[s].record_at >= at &&
               all.slot[s].record_at + all.slot[s].size <= at + window_size;
    }
    /// Shuffle of entries, sixteen slots to a vector, to the sixteen bytes of a window: each byte of
    /// a scalar takes its slot's. Scalars of other windows that lie here are among them, so that
    /// windows that overlap agree.
    static constexpr lanes slots_to_window(uint32_t window, uint32_t vector)
    {
        lanes indices = filled(no_byte);
        for (uint32_t s = 0; s < slots; ++s) {
            for (uint32_t i = 0;
                 i < all.slot[s].size && is_in(window, s) && s / lane_count == vector; ++i)
                indices.bytes[all.slot[s].record_at - windows.windows[window].at + i] =
                    static_cast<uint8_t>(s % lane_count);
        }
        return indices;
    }
    static constexpr bool has_slot_of(uint32_t window, uint32_t vector)
    {
        for (uint32_t s = vector * lane_count; s < slots && s < (vector + 1) * lane_count; ++s) {
            if (is_in(window, s))
                return true;
        }
        return false;
    }
    /// For each byte of a window: which byte of its scalar it is, less `less`; no_byte where there
    /// is none.
    static constexpr lanes byte_in_scalar(uint32_t window, uint32_t less)
    {
        lanes bytes = filled(no_byte);
        for (uint32_t s = 0; s < slots; ++s) {
            for (uint32_t i = 0; i < all.slot[s].size && is_in(window, s); ++i)
                bytes.bytes[all.slot[s].record_at - windows.windows[window].at + i] =
                    static_cast<uint8_t>(i - less);
        }
        return bytes;
    }
    /// Of sixteen bytes, which the field area takes; block b of an offset from the table.
    static constexpr uint32_t block_of(uint32_t offset) { return (offset - word_size) / 16; }
    static constexpr uint32_t blocks = block_of(all.fields_end - 1) + 1;

    /// The blocks that the fields of a window's scalars can be in.
    static constexpr uint32_t first_block(uint32_t window)
    {
        for (uint32_t s = 0; s < slots; ++s) {
            if (is_in(window, s))
                return block_of(all.slot[s].least_at);
        }
        return 0;
    }
    static constexpr uint32_t last_block(uint32_t window)
    {
        uint32_t block = 0;
        for (uint32_t s = 0; s < slots; ++s) {
            if (is_in(window, s))
                block = block_of(all.slot[s].last_at + all.slot[s].field - 1);
        }
        return block;
    }
};

template <class M>
inline constexpr bool is_sparse = [] {
    if constexpr (is_flat<M>)
        return packed_layout<M>::is_regular;
    else
        return false;
}();

/// The rows of one window of a message.
template <class M, uint32_t Window, class Layout = packed_layout<M>>
inline constexpr auto &squeeze_rows =
    squeeze_table<Layout::shape(Window), Layout::squeeze_width, Layout::first_entry(Window),
                  Layout::absent_entry(Window)>::rows;

/// The windows of a record, loaded.
template <class M>
struct record_windows {
    using layout = packed_layout<M>;

    u8x16 bytes[layout::windows.count];

    [[gnu::always_inline]] explicit record_windows(const uint8_t *record)
    {
#pragma GCC unroll 16
        for (uint32_t w = 0; w < layout::windows.count; ++w)
            bytes[w] =
                opaque(load_first<layout::window_size>(record + layout::windows.windows[w].at));
    }
};

/// Which scalars of a record are zero. Two windows to a vector are one test for both and half as much
/// to hand over, one to a vector is less to take apart.
template <class M, uint32_t PerVector>
class presence {
    static_assert(PerVector == 1 || PerVector == 2);

  public:
    using layout = packed_layout<M>;

    [[gnu::always_inline]] explicit presence(const record_windows<M> &windows)
    {
        layout::each_window([&]<uint32_t Window>() __attribute__((always_inline)) {
            zeros_[Window / PerVector] |= zeros_of<Window>(windows.bytes[Window]);
        });
    }

    template <class... Zeros>
    [[gnu::always_inline]] explicit presence(Zeros... zeros) : zeros_{zeros...}
    {
        static_assert(sizeof...(Zeros) == vectors);
    }
    /// Calls with what the constructor before this takes.
    template <class Call>
    [[gnu::always_inline]] auto apart(Call &&call) const
    {
        return [&]<uint32_t... Vector>(std::integer_sequence<uint32_t, Vector...>)
            __attribute__((always_inline))
        {
            return call(zeros_[Vector]...);
        }
        (std::make_integer_sequence<uint32_t, vectors>{});
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

    /// What a window comes to.
    template <uint32_t Window>
    [[gnu::always_inline]] const squeeze_row &row() const
    {
        return squeeze_rows<M, Window>[bits_of<Window % PerVector, PerVector>(
            zeros_[Window / PerVector])];
    }

  private:
    /// Into the bytes of scalars of this width, whether they are zero. Widths come in falling order.
    template <uint32_t Window, uint32_t Width, class Vector>
    [[gnu::always_inline]] static void compare(u8x16 &zeros, u8x16 bytes)
    {
        if constexpr (layout::has_width(Window, Width)) {
            const auto equal = reinterpret_cast<u8x16>(reinterpret_cast<Vector>(bytes) == Vector{});
            zeros = select<layout::not_wider(Window, Width)>(opaque(equal), zeros);
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
        static constexpr lanes indices = layout::window_to_lanes(Window, Window % PerVector);
        return shuffle(zeros, indices.vector());
    }
    static constexpr uint32_t vectors = (layout::windows.count + PerVector - 1) / PerVector;
    u8x16 zeros_[vectors] = {};
};

/// What each window of a record that has scalars left out comes to.
template <class M>
class squeezed {
  public:
    using layout = packed_layout<M>;

    template <uint32_t PerVector>
    [[gnu::always_inline]] explicit squeezed(const presence<M, PerVector> &scalars)
    {
        layout::each_window([&]<uint32_t Window>() __attribute__((always_inline)) {
            rows_[Window] = &scalars.template row<Window>();
        });
    }

    template <uint32_t Window>
    [[gnu::always_inline]] const squeeze_row &row() const
    {
        return *rows_[Window];
    }
    /// The bytes that are left of windows [`First`, `End`).
    template <uint32_t First, uint32_t End>
    [[gnu::always_inline]] uint64_t bytes() const
    {
        return [&]<uint32_t... Window>(std::integer_sequence<uint32_t, Window...>)
            __attribute__((always_inline))
        {
            return (bytes_of<First + Window>() + ... + uint64_t{0});
        }
        (std::make_integer_sequence<uint32_t, End - First>{});
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
        const auto end = static_cast<uint16_t>(row<Window>().entries[layout::scalars_in(Window)]);
        constexpr uint32_t first = layout::first_entry(Window);
        return uint64_t{end} - first;
    }

    const squeeze_row *rows_[layout::windows.count];
};

/// Writes the packed table of a record, from its vtable on.
template <class M>
class sparse_writer {
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
        each_slot_down<layout::slots>([&]<uint32_t Slot>() __attribute__((always_inline)) {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                if constexpr (constexpr run arrays = run_of(Slot); arrays.end == Slot + 1) {
                    constexpr auto first = layout::all.slot[arrays.first];
                    constexpr uint32_t before = layout::windows_before(Slot);
                    // Behind the words are those of the other arrays, and what is left of scalars.
                    store_words<first.body - word_size, arrays.end - arrays.first>(
                        table + first.least_at + left.template bytes<0, before>(),
                        static_cast<uint32_t>(
                            (layout::all.arrays - first.arrays) * word_size + first.body_at +
                            left.template bytes<before, layout::windows.count>()));
                }
                uint8_t *const body = end - layout::all.bodies + slot.body_at;
                constexpr uint32_t count = array_count<Slot>();
                store<byte_order::native>(body, count);
                memcpy(body + word_size, record + slot.record_at, slot.size);
            } else if constexpr (constexpr uint32_t w = window_of(Slot);
                                 layout::windows.windows[w].first == Slot) {
                uint8_t *const to = table + slot.least_at + left.template bytes<0, w + 1>();
                store_first<layout::squeeze_width>(
                    to - layout::squeeze_width,
                    shuffle(windows.bytes[w], load16(left.template row<w>().indices)));
            }
        });

        write_entries(vtable, left);
        // Both lengths at once.
        store<byte_order::native>(vtable, length + (static_cast<uint32_t>(size - length) << 16));
        store<byte_order::native>(table, length);
        return end;
    }

    /// The same of a record that has none left out: everything lies where it always lies.
    [[gnu::always_inline]] static void write_full(uint8_t *__restrict vtable,
                                                  const uint8_t *__restrict record,
                                                  const record_windows<M> &windows)
    {
        constexpr uint32_t length = vtable_length(layout::slots);
        constexpr auto &image = full_table_form<M>::image.bytes;
        uint8_t *const table = vtable + length;
        each_slot_down<layout::slots>([&]<uint32_t Slot>() __attribute__((always_inline)) {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                constexpr uint32_t body_at = layout::all.fields_end + slot.body_at;
                constexpr uint32_t count = array_count<Slot>();
                if constexpr (constexpr run arrays = run_of(Slot); arrays.end == Slot + 1) {
                    constexpr uint32_t words = layout::all.slot[arrays.first].last_at;
                    memcpy(table + words, image + length + words,
                           (arrays.end - arrays.first) * word_size);
                }
                store<byte_order::native>(table + body_at, count);
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
    /// All scalars of a window in order and at the end of squeeze_width bytes, whatever lies below.
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

    template <uint32_t Count, class Visitor>
    [[gnu::always_inline]] static void each_slot_down(Visitor &&visit)
    {
        [&]<uint32_t... Index>(std::integer_sequence<uint32_t, Index...>)
            __attribute__((always_inline))
        {
            (visit.template operator()<Count - 1 - Index>(), ...);
        }
        (std::make_integer_sequence<uint32_t, Count>{});
    }

    static constexpr uint32_t window_of(uint32_t s)
    {
        for (uint32_t w = 0; w < layout::windows.count; ++w) {
            if (s >= layout::windows.windows[w].first && s < layout::windows.windows[w].end)
                return w;
        }
        return 0;
    }

    template <uint32_t Index>
    static constexpr uint32_t array_count()
    {
        uint32_t count = 0;
        each_slot(typename M::slots{}, [&count]<class Slot, uint32_t I>() {
            if constexpr (I == Index)
                count = Slot::count;
        });
        return count;
    }

    /// The arrays in a row of which a slot is one: their words and their bodies are at equal
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

    /// Offset words that grow by `Step`, `Count` of them: four at a time where there are four.
    template <uint32_t Step, uint32_t Count, uint32_t Begin = 0>
    [[gnu::always_inline]] static void store_words(uint8_t *at, uint32_t first)
    {
        if constexpr (Count >= 4) {
            constexpr uint32_t begin = Begin + 4 <= Count ? Begin : Count - 4;
            constexpr u32x4 steps = {begin * Step, (begin + 1) * Step, (begin + 2) * Step,
                                     (begin + 3) * Step};
            store16(at + begin * word_size, reinterpret_cast<u8x16>(steps + first));
            if constexpr (begin + 4 < Count)
                store_words<Step, Count, begin + 4>(at, first);
        } else if constexpr (Begin < Count) {
            store<byte_order::native>(at + Begin * word_size, first + Begin * Step);
            store_words<Step, Count, Begin + 1>(at, first);
        }
    }

    /// Of offset words in a row: their entries, less the one before them.
    static i16x8 word_steps()
    {
        i16x8 result{};
        for (uint32_t i = 0; i < 8; ++i)
            result[i] = static_cast<int16_t>((i + 1) * word_size);
        return result;
    }

    /// The entries of `Slots` slots from `First` on, the last of which are arrays; returns the last
    /// lane in all, or that of the slot behind them. What a store spills is written again: by the
    /// next one, or by the soffset.
    template <uint32_t First, uint32_t Slots>
    [[gnu::always_inline]] static i16x8 store_entries(uint8_t *vtable, i16x8 entries)
    {
        constexpr uint32_t left = (layout::slots - First) * entry_size;
        store_first<left <= 12 ? (left + word_size - 1) / word_size * word_size : 16>(
            vtable + (2 + First) * entry_size, reinterpret_cast<u8x16>(entries));
        constexpr uint32_t stored = squeeze_row::entry_lanes;
        constexpr uint32_t last_lane = Slots < stored ? Slots : stored - 1;
        const i16x8 last = every_lane<last_lane>(entries);
        if constexpr (Slots > stored)
            store_entries<First + stored, Slots - stored>(vtable, last + word_steps());
        return last;
    }

    [[gnu::always_inline]] static void write_entries(uint8_t *vtable, const squeezed<M> &left)
    {
        constexpr uint32_t leading = layout::windows.windows[0].first;
        i16x8 before = {};
        if constexpr (leading > 0)
            store_entries<0, leading>(vtable, word_steps());
        layout::each_window([&]<uint32_t Window>() __attribute__((always_inline)) {
            i16x8 entries;
            memcpy(&entries, left.template row<Window>().entries, sizeof entries);
            if constexpr (Window > 0)
                entries = at_least_zero(entries + before);
            before = store_entries<layout::windows.windows[Window].first, layout::slots_of(Window)>(
                vtable, entries);
        });
    }
};

/// Reads a packed table whose vtable has all slots, in the order and place that the writer gives
/// them.
template <class M>
class sparse_reader {
  public:
    using layout = packed_layout<M>;

    /// The table at `table` with its vtable at `vtable` (4 + 2 a slot bytes, inside) of `len` bytes
    /// into the record, padding included. False: not such a table, or not one in order; nothing has
    /// been written then, and the careful reader is to say what is wrong, if anything.
    [[gnu::always_inline]] static bool read(const uint8_t *__restrict bytes, uint32_t len,
                                            uint32_t table, uint32_t vtable,
                                            uint8_t *__restrict record)
    {
        const uint32_t room = len - table;
        if (has_room ? room < word_size + 16 * blocks : len < 16)
            return false;
        const uint8_t *entries = bytes + vtable + 2 * entry_size;
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
            uint32_t at = table + word_size + 16 * b;
            if constexpr (!has_room) {
                // The last bytes there are, when the block does not lie inside.
                const uint32_t last = len - 16;
                const uint32_t nominal = at;
                at = at < last ? at : last;
                shift[b] = u8x16{} + static_cast<uint8_t>(nominal - at);
            }
            block[b] = load16(bytes + at);
        }
        write_windows(record, index, block, shift,
                      std::make_integer_sequence<uint32_t, layout::windows.count>{});
        each_slot(
            typename M::slots{}, [&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                if constexpr (is_array<Slot>)
                    memcpy(record + Slot::at,
                           bytes + table + bodies + layout::all.slot[Index].body_at + word_size,
                           Slot::body_size - word_size);
            });
        return true;
    }

  private:
    static constexpr uint32_t blocks = layout::blocks;
    static constexpr uint32_t halves = (layout::slots + 7) / 8;
    static constexpr uint32_t index_vectors = (halves + 1) / 2;
    /// All blocks lie inside whatever is left out: behind the fields are the bodies.
    static constexpr bool has_room =
        layout::all.arrays * word_size + layout::all.bodies >= 16 * blocks;

    struct half_lanes {
        alignas(16) uint16_t words[8];

        [[gnu::always_inline]] u16x8 vector() const
        {
            u16x8 value;
            memcpy(&value, words, sizeof value);
            return value;
        }
    };
    static constexpr half_lanes of_half(uint32_t half, uint32_t layout::slot_facts::*fact)
    {
        half_lanes result{};
        for (uint32_t s = half * 8; s < layout::slots && s < half * 8 + 8; ++s)
            result.words[s % 8] = static_cast<uint16_t>(layout::all.slot[s].*fact);
        return result;
    }

    static constexpr lanes least_entries(uint32_t vector)
    {
        lanes result{};
        for (uint32_t s = vector * lane_count; s < layout::slots && s < (vector + 1) * lane_count;
             ++s)
            result.bytes[s % lane_count] = static_cast<uint8_t>(layout::all.slot[s].least_at);
        return result;
    }

    /// Eight entries; `excess` becomes non-zero where one is larger than the writer ever makes it,
    /// or its field passes the end of the buffer.
    template <uint32_t Half>
    [[gnu::always_inline]] static u16x8 load_entries(const uint8_t *entries, uint32_t room,
                                                     u16x8 &excess)
    {
        constexpr uint32_t left = layout::slots - Half * 8;
        static constexpr half_lanes last = of_half(Half, &layout::slot_facts::last_at);
        const auto loaded = reinterpret_cast<u16x8>(
            load_first<(left < 8 ? left : 8) * entry_size>(entries + Half * 8 * entry_size));
        excess |= subtract_saturating(loaded, last.vector());
        if constexpr (!has_room) {
            static constexpr half_lanes size = of_half(Half, &layout::slot_facts::field);
            const auto room16 = static_cast<uint16_t>(room < UINT16_MAX ? room : UINT16_MAX);
            excess |= subtract_saturating(loaded + size.vector(), u16x8{} + room16);
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
        [&]<uint32_t... Half>(std::integer_sequence<uint32_t, Half...>)
            __attribute__((always_inline))
        {
            ((half[Half] = load_entries<Half>(entries, room, excess)), ...);
        }
        (std::make_integer_sequence<uint32_t, halves>{});
        auto wrong = reinterpret_cast<u8x16>(excess);
        [&]<uint32_t... Vector>(std::integer_sequence<uint32_t, Vector...>)
            __attribute__((always_inline))
        {
            (
                [&]() __attribute__((always_inline)) {
                    const u8x16 entry = narrow(half[2 * Vector], half[2 * Vector + 1]);
                    const auto is_absent = reinterpret_cast<u8x16>(entry == u8x16{});
                    index[Vector] = entry | (is_absent & (u8x16{} + absent));
                    static constexpr lanes least = least_entries(Vector);
                    wrong |= subtract_saturating(least.vector(), index[Vector]);
                    if constexpr (has_arrays_in(Vector)) {
                        static constexpr lanes arrays = array_lanes(Vector);
                        wrong |= is_absent & arrays.vector();
                    }
                }(),
                ...);
        }
        (std::make_integer_sequence<uint32_t, index_vectors>{});
        return is_zero(wrong);
    }

    static constexpr lanes array_lanes(uint32_t vector)
    {
        lanes result{};
        for (uint32_t s = vector * lane_count; s < layout::slots && s < (vector + 1) * lane_count;
             ++s)
            result.bytes[s % lane_count] = layout::all.slot[s].is_scalar ? 0 : 0xFF;
        return result;
    }
    static constexpr bool has_arrays_in(uint32_t vector)
    {
        for (const uint8_t lane : array_lanes(vector).bytes) {
            if (lane != 0)
                return true;
        }
        return false;
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
            each_array([&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                constexpr uint64_t body_at = layout::all.slot[Index].body_at;
                const uint64_t entry =
                    load<byte_order::native, uint16_t>(entries + Index * entry_size);
                const uint64_t body =
                    entry + load<byte_order::native, uint32_t>(table + entry) - body_at;
                if constexpr (layout::all.slot[Index].arrays == 0)
                    bodies = body;
                else
                    difference |= body ^ bodies;
            });
            if (room < layout::all.bodies || bodies > room - layout::all.bodies)
                return false;
            each_array([&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                const uint8_t *body = table + bodies + layout::all.slot[Index].body_at;
                difference |= load<byte_order::native, uint32_t>(body) ^ Slot::count;
            });
            return difference == 0;
        }
    }
    template <class Visitor>
    [[gnu::always_inline]] static void each_array(Visitor &&visit)
    {
        each_slot(
            typename M::slots{}, [&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                if constexpr (is_array<Slot>)
                    visit.template operator()<Slot, Index>();
            });
    }

    template <uint32_t Window>
    [[gnu::always_inline]] static u8x16 window_of(const u8x16 (&index)[index_vectors],
                                                  const u8x16 (&block)[blocks],
                                                  const u8x16 (&shift)[blocks])
    {
        u8x16 entries = {};
        [&]<uint32_t... Vector>(std::integer_sequence<uint32_t, Vector...>)
            __attribute__((always_inline))
        {
            (
                [&]() __attribute__((always_inline)) {
                    if constexpr (layout::has_slot_of(Window, Vector)) {
                        static constexpr lanes indices = layout::slots_to_window(Window, Vector);
                        entries |= shuffle(index[Vector], indices.vector());
                    }
                }(),
                ...);
        }
        (std::make_integer_sequence<uint32_t, index_vectors>{});

        constexpr uint32_t first = layout::first_block(Window);
        constexpr uint32_t last = layout::last_block(Window);
        u8x16 bytes = {};
        [&]<uint32_t... Block>(std::integer_sequence<uint32_t, Block...>)
            __attribute__((always_inline))
        {
            (
                [&]() __attribute__((always_inline)) {
                    constexpr uint32_t b = first + Block;
                    static constexpr lanes in_block =
                        layout::byte_in_scalar(Window, word_size + 16 * b);
                    u8x16 indices = entries + in_block.vector();
                    if constexpr (!has_room)
                        indices += shift[b];
                    // What lies below the block has wrapped to an index of no byte; what lies above
                    // is to become one.
                    if constexpr (b < last)
                        indices = above_15_to_no_byte(indices);
                    bytes |= shuffle(block[b], indices);
                }(),
                ...);
        }
        (std::make_integer_sequence<uint32_t, last - first + 1>{});
        return bytes;
    }

    template <uint32_t... Window>
    [[gnu::always_inline]] static void
    write_windows(uint8_t *record, const u8x16 (&index)[index_vectors],
                  const u8x16 (&block)[blocks], const u8x16 (&shift)[blocks],
                  std::integer_sequence<uint32_t, Window...>)
    {
        (store_first<layout::window_size>(record + layout::windows.windows[Window].at,
                                          window_of<Window>(index, block, shift)),
         ...);
    }
};

} // namespace vorl
