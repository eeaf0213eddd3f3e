// Packed tables of flat messages, any scalar of which may be left out, without a branch a slot:
// which scalars are present differs from record to record, and a predictor that guesses wrong costs
// more than all the work here.
//
// Two views of a record. Windows are sixteen bytes of it, as few as cover everything that is not an
// array, in slot order. Lanes are its slots, a byte each, sixteen to a vector. A constant shuffle
// leads from one to the other, so presence, widths and vtable entries are computed for sixteen slots
// at once.
//
// Writing: presence masks of all windows -> their bit counts are the size -> lanes -> a prefix sum
// of the widths is the vtable. The bytes themselves are squeezed, eight at a time, to the end of the
// field area and downwards: what a store spills lies below, where the next one, or the vtable, comes
// to stand.
//
// Reading: the vtable entries are the shuffle that puts the fields back into the record, an absent
// one being an index that yields zero.
#pragma once

#include "serial/known_form.h"
#include "serial/simd.h"

namespace vorl {

inline constexpr uint32_t lane_count = 16;
inline constexpr uint8_t no_byte = 0x80; ///< a shuffle index that yields zero

/// For a mask of eight bits: the shuffle that moves the bytes of the set ones, in order, to the end
/// of eight bytes, zeros below.
struct squeeze_table {
    uint8_t indices[256][8];
};
inline constexpr squeeze_table squeeze = [] {
    squeeze_table table{};
    for (uint32_t mask = 0; mask < 256; ++mask) {
        uint32_t to = 8;
        for (uint32_t from = 8; from-- > 0;) {
            if ((mask >> from & 1) != 0)
                table.indices[mask][--to] = static_cast<uint8_t>(from);
        }
        while (to > 0)
            table.indices[mask][--to] = no_byte;
    }
    return table;
}();

/// Sixteen constants as a vector.
struct lanes {
    alignas(16) uint8_t bytes[lane_count];

    [[gnu::always_inline]] u8x16 vector() const { return load16(bytes); }
};

/// What is constant about the packed table of a flat message.
template <class M>
struct packed_layout {
    static constexpr uint32_t slots = slot_count<M>;
    static constexpr uint32_t record_size = sizeof(typename M::record);
    static constexpr uint32_t lane_vectors = (slots + lane_count - 1) / lane_count;

    struct slot_facts {
        uint32_t record_at;
        uint32_t size;    ///< of the member
        uint32_t field;   ///< bytes in the field area: the width, or an offset word
        uint32_t last_at; ///< offset from the table when all slots before are present
        uint32_t body;    ///< of an array: bytes of its body
        uint32_t body_at; ///< and where it lies behind the fields
        uint32_t group;   ///< runs of scalars between arrays count up
        bool is_scalar;
    };
    struct facts {
        slot_facts slot[slots];
        uint32_t fields_end; ///< of a full table
        uint32_t bodies;     ///< bytes
    };
    static constexpr facts all = [] {
        facts result{};
        result.fields_end = word_size;
        uint32_t group = 0;
        each_slot(typename M::slots{}, [&]<class Slot, uint32_t Index>() {
            slot_facts &s = result.slot[Index];
            s.record_at = Slot::at;
            s.last_at = result.fields_end;
            s.is_scalar = is_scalar<Slot>;
            if constexpr (is_scalar<Slot>) {
                s.size = s.field = sizeof(typename Slot::value_type);
            } else {
                s.size = Slot::body_size - word_size;
                s.field = word_size;
                s.body = Slot::body_size;
                s.body_at = result.bodies;
                result.bodies += s.body;
                ++group;
            }
            s.group = group;
            result.fields_end += s.field;
        });
        return result;
    }();

    struct window {
        uint32_t at;    ///< of its sixteen bytes in the record
        uint32_t first; ///< slots [first, end) have their presence here
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
        for (uint32_t s = 0; s < slots; ++s) {
            const slot_facts &slot = all.slot[s];
            if (!slot.is_scalar)
                continue;
            window *last = result.count == 0 ? nullptr : &result.windows[result.count - 1];
            if (last == nullptr || slot.group != all.slot[last->first].group ||
                slot.record_at + slot.size > last->at + window_size) {
                uint32_t at = slot.record_at / 8 * 8;
                if (at + window_size > record_size)
                    at = record_size - window_size;
                result.windows[result.count++] = {at, s, s + 1};
            } else {
                last->end = s + 1;
            }
        }
        return result;
    }();

    /// What the code below relies on: lanes of a window hold whole scalars, every byte of the record
    /// is in a window or an array, and indices of the field area stay below no_byte.
    static constexpr bool is_regular = [] {
        if (windows.count == 0 || lane_vectors > 2 || all.fields_end > 112)
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

    /// Per window, the bytes of its scalars of one width.
    static constexpr lanes width_mask(uint32_t window, uint32_t width)
    {
        lanes mask{};
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            for (uint32_t i = 0; all.slot[s].size == width && i < width; ++i)
                mask.bytes[all.slot[s].record_at - windows.windows[window].at + i] = 0xFF;
        }
        return mask;
    }
    static constexpr lanes scalar_mask(uint32_t window)
    {
        lanes mask{};
        for (const uint32_t width : {1U, 2U, 4U, 8U}) {
            for (uint32_t i = 0; i < lane_count; ++i)
                mask.bytes[i] |= width_mask(window, width).bytes[i];
        }
        return mask;
    }
    static constexpr bool has_width(uint32_t window, uint32_t width)
    {
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            if (all.slot[s].size == width)
                return true;
        }
        return false;
    }
    /// Bits of the bytes of all scalars of a window.
    static constexpr uint32_t all_bits(uint32_t window)
    {
        uint32_t bits = 0;
        for (uint32_t i = 0; i < lane_count; ++i)
            bits |= (scalar_mask(window).bytes[i] & 1U) << i;
        return bits;
    }
    /// Shuffle of a window to a lane vector: a slot's lane takes its first byte.
    static constexpr lanes window_to_lanes(uint32_t window, uint32_t vector)
    {
        lanes indices;
        for (uint8_t &index : indices.bytes)
            index = no_byte;
        for (uint32_t s = windows.windows[window].first; s < windows.windows[window].end; ++s) {
            if (s / lane_count == vector)
                indices.bytes[s % lane_count] =
                    static_cast<uint8_t>(all.slot[s].record_at - windows.windows[window].at);
        }
        return indices;
    }
    static constexpr bool leads_to_lanes(uint32_t window, uint32_t vector)
    {
        return windows.windows[window].first / lane_count <= vector &&
               (windows.windows[window].end - 1) / lane_count >= vector;
    }
    /// Shuffle of a lane vector to the sixteen bytes of a window: each byte of a scalar takes its
    /// slot's lane. Scalars of other windows that lie here are among them, so that windows that
    /// overlap agree.
    static constexpr lanes lanes_to_window(uint32_t window, uint32_t vector)
    {
        lanes indices;
        for (uint8_t &index : indices.bytes)
            index = no_byte;
        for (uint32_t s = 0; s < slots; ++s)
            for (uint32_t i = 0;
                 i < all.slot[s].size && is_in(window, s) && s / lane_count == vector; ++i)
                indices.bytes[all.slot[s].record_at - windows.windows[window].at + i] =
                    static_cast<uint8_t>(s % lane_count);
        return indices;
    }
    /// For each byte of a window: which byte of its scalar it is, no_byte where there is none.
    static constexpr lanes byte_in_scalar(uint32_t window)
    {
        lanes bytes;
        for (uint8_t &byte : bytes.bytes)
            byte = no_byte;
        for (uint32_t s = 0; s < slots; ++s)
            for (uint32_t i = 0; i < all.slot[s].size && is_in(window, s); ++i)
                bytes.bytes[all.slot[s].record_at - windows.windows[window].at + i] =
                    static_cast<uint8_t>(i);
        return bytes;
    }
    static constexpr bool is_in(uint32_t window, uint32_t s)
    {
        const uint32_t at = windows.windows[window].at;
        return all.slot[s].is_scalar && all.slot[s].record_at >= at &&
               all.slot[s].record_at + all.slot[s].size <= at + window_size;
    }
    /// Ends of the fields of a full table that a window's scalars reach, and their least offset.
    static constexpr uint32_t last_field_end(uint32_t window)
    {
        uint32_t end = 0;
        for (uint32_t s = 0; s < slots; ++s) {
            if (is_in(window, s))
                end = all.slot[s].last_at + all.slot[s].field;
        }
        return end;
    }
    /// Lane constants: bytes in the field area, and 0xFF for an array, which is always present.
    static constexpr lanes field_sizes(uint32_t vector)
    {
        lanes result{};
        for (uint32_t s = vector * lane_count; s < slots && s < (vector + 1) * lane_count; ++s)
            result.bytes[s % lane_count] = static_cast<uint8_t>(all.slot[s].field);
        return result;
    }
    static constexpr lanes array_lanes(uint32_t vector)
    {
        lanes result{};
        for (uint32_t s = vector * lane_count; s < slots && s < (vector + 1) * lane_count; ++s)
            result.bytes[s % lane_count] = all.slot[s].is_scalar ? 0 : 0xFF;
        return result;
    }
};

template <class M>
inline constexpr bool is_sparse = [] {
    if constexpr (is_flat<M>)
        return packed_layout<M>::is_regular;
    else
        return false;
}();

constexpr lanes filled(uint8_t with)
{
    lanes result{};
    for (uint8_t &byte : result.bytes)
        byte = with;
    return result;
}

/// Which scalars of a record are not zero: 0xFF in each byte of those, window by window.
template <class M>
struct presence {
    using layout = packed_layout<M>;

    u8x16 window[layout::windows.count];
    uint32_t bits[layout::windows.count];

    [[gnu::always_inline]] void look_at(const uint8_t *record)
    {
        look(record, std::make_integer_sequence<uint32_t, layout::windows.count>{});
    }

    /// True when every scalar of the record is present.
    [[gnu::always_inline]] static bool is_full(const uint8_t *record)
    {
        return has_no_zeros(record, std::make_integer_sequence<uint32_t, layout::windows.count>{});
    }
    /// Bytes of the table from its vtable on.
    [[gnu::always_inline]] uint32_t table_size() const
    {
        constexpr uint32_t arrays = [] {
            uint32_t bytes = layout::all.bodies;
            for (const auto &slot : layout::all.slot)
                bytes += slot.is_scalar ? 0 : slot.field;
            return bytes;
        }();
        uint32_t size = vtable_length(layout::slots) + word_size + arrays;
#pragma GCC unroll 16
        for (uint32_t w = 0; w < layout::windows.count; ++w)
            size += static_cast<uint32_t>(__builtin_popcount(bits[w]));
        return size;
    }

  private:
    template <uint32_t Window, uint32_t Width, class Vector>
    [[gnu::always_inline]] static void add_zeros(u8x16 &zeros, u8x16 bytes)
    {
        if constexpr (layout::has_width(Window, Width)) {
            static constexpr lanes mask = layout::width_mask(Window, Width);
            const auto equal = reinterpret_cast<Vector>(bytes) == Vector{};
            zeros |= reinterpret_cast<u8x16>(equal) & mask.vector();
        }
    }

    /// 0xFF in each byte of the window's scalars that are zero.
    template <uint32_t Window>
    [[gnu::always_inline]] static u8x16 zeros_of(const uint8_t *record)
    {
        const u8x16 bytes =
            load_first<layout::window_size>(record + layout::windows.windows[Window].at);
        u8x16 zeros = {};
        add_zeros<Window, 1, u8x16>(zeros, bytes);
        add_zeros<Window, 2, u16x8>(zeros, bytes);
        add_zeros<Window, 4, u32x4>(zeros, bytes);
        add_zeros<Window, 8, u64x2>(zeros, bytes);
        return zeros;
    }

    template <uint32_t... Window>
    [[gnu::always_inline]] static bool has_no_zeros(const uint8_t *record,
                                                    std::integer_sequence<uint32_t, Window...>)
    {
        return is_zero((zeros_of<Window>(record) | ...));
    }

    template <uint32_t Window>
    [[gnu::always_inline]] void look_through(const uint8_t *record)
    {
        static constexpr lanes scalars = layout::scalar_mask(Window);
        window[Window] = scalars.vector() & ~zeros_of<Window>(record);
        bits[Window] = bits_of(window[Window]);
    }

    template <uint32_t... Window>
    [[gnu::always_inline]] void look(const uint8_t *record,
                                     std::integer_sequence<uint32_t, Window...>)
    {
        (look_through<Window>(record), ...);
    }
};

/// Writes the packed table of a record, from its vtable on.
template <class M>
class sparse_writer {
  public:
    using layout = packed_layout<M>;

    /// Writes at `vtable` the `size` bytes that the record's presence gives.
    [[gnu::always_inline]] static void write(uint8_t *__restrict vtable,
                                             const uint8_t *__restrict record,
                                             const presence<M> &present, uint32_t size)
    {
        uint8_t *const table = vtable + vtable_length(layout::slots);
        uint8_t *const end = vtable + size;
        uint8_t *const fields_end = end - layout::all.bodies;
        uint8_t *at = fields_end;
        each_slot_down<layout::slots>([&]<uint32_t Slot>() __attribute__((always_inline)) {
            constexpr auto slot = layout::all.slot[Slot];
            if constexpr (!slot.is_scalar) {
                at -= word_size;
                uint8_t *const body = fields_end + slot.body_at;
                store<byte_order::native>(at, static_cast<uint32_t>(body - at));
                constexpr uint32_t count = array_count<Slot>();
                store<byte_order::native>(body, count);
                memcpy(body + word_size, record + slot.record_at, slot.size);
            } else if constexpr (constexpr uint32_t w = window_of(Slot);
                                 layout::windows.windows[w].first == Slot) {
                squeeze_window<w>(at, record, present);
            }
        });

        write_entries(vtable, present);
        store<byte_order::native>(vtable, static_cast<uint16_t>(vtable_length(layout::slots)));
        store<byte_order::native>(vtable + entry_size, static_cast<uint16_t>(end - table));
        store<byte_order::native>(table, vtable_length(layout::slots));
    }

  private:
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

    /// The `Size` bytes at `from`, of which those in the mask go below `at`, which moves down to the
    /// first of them. Eight bytes are written.
    template <uint32_t Size>
    [[gnu::always_inline]] static void squeeze_bytes(uint8_t *&at, const uint8_t *from,
                                                     uint32_t mask)
    {
        const u8x16 squeezed =
            shuffle(load_first<Size>(from), load_first<8>(squeeze.indices[mask]));
        store_first<8>(at - 8, squeezed);
        at -= __builtin_popcount(mask);
    }

    template <uint32_t Window>
    [[gnu::always_inline]] static void squeeze_window(uint8_t *&at, const uint8_t *record,
                                                      const presence<M> &present)
    {
        constexpr uint32_t all_bits = layout::all_bits(Window);
        const uint8_t *from = record + layout::windows.windows[Window].at;
        if constexpr ((all_bits & 0xFF00) != 0)
            squeeze_bytes<layout::window_size - 8>(at, from + 8, present.bits[Window] >> 8);
        if constexpr ((all_bits & 0xFF) != 0)
            squeeze_bytes < layout::window_size<8 ? layout::window_size : 8>(
                                at, from, present.bits[Window] & 0xFF);
    }

    template <uint32_t Vector, uint32_t... Window>
    [[gnu::always_inline]] static u8x16 present_lanes(const presence<M> &present,
                                                      std::integer_sequence<uint32_t, Window...>)
    {
        static constexpr lanes arrays = layout::array_lanes(Vector);
        u8x16 result = arrays.vector();
        (
            [&]() __attribute__((always_inline)) {
                if constexpr (layout::leads_to_lanes(Window, Vector)) {
                    static constexpr lanes indices = layout::window_to_lanes(Window, Vector);
                    result |= shuffle(present.window[Window], indices.vector());
                }
            }(),
            ...);
        return result;
    }

    /// Entries of the slots of one vector as bytes; `base` is the offset of the first field and
    /// becomes that of the first behind them, in all lanes.
    template <uint32_t Vector>
    [[gnu::always_inline]] static u8x16 entries_of(const presence<M> &present, u8x16 &base)
    {
        static constexpr lanes sizes = layout::field_sizes(Vector);
        static constexpr lanes last = filled(lane_count - 1);
        const u8x16 is_present = present_lanes<Vector>(
            present, std::make_integer_sequence<uint32_t, layout::windows.count>{});
        const u8x16 own = is_present & sizes.vector();
        u8x16 sum = own;
        sum += bytes_up<1>(sum);
        sum += bytes_up<2>(sum);
        sum += bytes_up<4>(sum);
        if constexpr (layout::slots - Vector * lane_count > 8)
            sum += bytes_up<8>(sum);
        const u8x16 entries = (sum - own + base) & is_present;
        if constexpr (Vector + 1 < layout::lane_vectors)
            base += shuffle(sum, last.vector());
        return entries;
    }

    /// Entries of slots [First, First + Count) of a vector, as the vtable has them.
    template <uint32_t First, uint32_t Count>
    [[gnu::always_inline]] static void store_entries(uint8_t *to, u8x16 entries)
    {
        static constexpr lanes indices = [] {
            lanes result = filled(no_byte);
            for (uint32_t i = 0; i < Count; ++i)
                result.bytes[2 * i] = static_cast<uint8_t>(First + i);
            return result;
        }();
        store_first<2 * Count>(to + First * entry_size, shuffle(entries, indices.vector()));
    }

    template <uint32_t Vector>
    [[gnu::always_inline]] static void write_vector(uint8_t *to, u8x16 entries)
    {
        constexpr uint32_t left = layout::slots - Vector * lane_count;
        constexpr uint32_t count = left < lane_count ? left : lane_count;
        if constexpr (count >= 8) {
            store_entries<0, 8>(to, entries);
            if constexpr (count > 8)
                store_entries<count - 8, 8>(to, entries);
        } else if constexpr (count >= 4) {
            store_entries<0, 4>(to, entries);
            if constexpr (count > 4)
                store_entries<count - 4, 4>(to, entries);
        } else if constexpr (count >= 2) {
            store_entries<0, 2>(to, entries);
            if constexpr (count > 2)
                store_entries<count - 2, 2>(to, entries);
        } else {
            store_entries<0, 1>(to, entries);
        }
    }

    [[gnu::always_inline]] static void write_entries(uint8_t *vtable, const presence<M> &present)
    {
        static constexpr lanes first_field = filled(word_size);
        uint8_t *to = vtable + 2 * entry_size;
        u8x16 base = first_field.vector();
        write_vector<0>(to, entries_of<0>(present, base));
        if constexpr (layout::lane_vectors > 1)
            write_vector<1>(to + lane_count * entry_size, entries_of<1>(present, base));
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
        if (len < blocks * 16)
            return false;
        const uint8_t *entries = bytes + vtable + 2 * entry_size;
        // Where every entry is in order the fields are in `blocks` blocks from the table's first,
        // or, near the end of the buffer, in its last ones.
        const uint32_t first = table + word_size;
        const uint32_t base = first <= len - blocks * 16 ? first : len - blocks * 16;

        u8x16 index[layout::lane_vectors];
        if (!indices_of(entries, len - table, static_cast<uint8_t>(table - base), index))
            return false;
        uint32_t body[layout::slots];
        if (!find_arrays(bytes, len, table, entries, body))
            return false;

        u8x16 block[blocks];
#pragma GCC unroll 16
        for (uint32_t b = 0; b < blocks; ++b)
            block[b] = load16(bytes + base + b * 16);
        write_windows(record, index, block,
                      std::make_integer_sequence<uint32_t, layout::windows.count>{});
        each_slot(
            typename M::slots{}, [&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                if constexpr (is_array<Slot>)
                    memcpy(record + Slot::at, bytes + body[Index], Slot::body_size - word_size);
            });
        return true;
    }

  private:
    /// Of sixteen bytes, which the field area takes.
    static constexpr uint32_t blocks = (layout::all.fields_end - word_size + 15) / 16;
    static constexpr uint32_t halves = (layout::slots + 7) / 8;

    struct half_lanes {
        alignas(16) uint16_t words[8];

        [[gnu::always_inline]] u16x8 vector() const
        {
            u16x8 value;
            memcpy(&value, words, sizeof value);
            return value;
        }
    };
    static constexpr half_lanes last_entries(uint32_t half)
    {
        half_lanes result{};
        for (uint32_t s = half * 8; s < layout::slots && s < half * 8 + 8; ++s)
            result.words[s % 8] = static_cast<uint16_t>(layout::all.slot[s].last_at);
        return result;
    }
    static constexpr half_lanes sizes(uint32_t half)
    {
        half_lanes result{};
        for (uint32_t s = half * 8; s < layout::slots && s < half * 8 + 8; ++s)
            result.words[s % 8] = static_cast<uint16_t>(layout::all.slot[s].field);
        return result;
    }

    /// Eight entries; `excess` becomes non-zero where one is larger than the writer ever makes it,
    /// or its field passes the end of the buffer.
    template <uint32_t Half>
    [[gnu::always_inline]] static u16x8 load_entries(const uint8_t *entries, u16x8 room,
                                                     u16x8 &excess)
    {
        constexpr uint32_t left = layout::slots - Half * 8;
        static constexpr half_lanes last = last_entries(Half);
        static constexpr half_lanes size = sizes(Half);
        const auto loaded = reinterpret_cast<u16x8>(
            load_first<(left < 8 ? left : 8) * entry_size>(entries + Half * 8 * entry_size));
        excess |= subtract_saturating(loaded, last.vector()) |
                  subtract_saturating(loaded + size.vector(), room);
        return loaded;
    }

    /// The index of each slot's field in the blocks, no_byte for an absent one.
    [[gnu::always_inline]] static bool indices_of(const uint8_t *entries, uint32_t room,
                                                  uint8_t shift,
                                                  u8x16 (&index)[layout::lane_vectors])
    {
        // An entry of 1 to 3 would lie in the soffset: nothing that the writer makes.
        static constexpr lanes least = filled(word_size);
        const auto room16 = static_cast<uint16_t>(room < UINT16_MAX ? room : UINT16_MAX);
        const u16x8 rooms = u16x8{} + room16;
        u16x8 excess = {};
        u16x8 half[2 * layout::lane_vectors] = {};
        [&]<uint32_t... Half>(std::integer_sequence<uint32_t, Half...>)
            __attribute__((always_inline))
        {
            ((half[Half] = load_entries<Half>(entries, rooms, excess)), ...);
        }
        (std::make_integer_sequence<uint32_t, halves>{});
        auto wrong = reinterpret_cast<u8x16>(excess);
#pragma GCC unroll 16
        for (uint32_t v = 0; v < layout::lane_vectors; ++v) {
            const u8x16 entry = narrow(half[2 * v], half[2 * v + 1]);
            const auto absent = reinterpret_cast<u8x16>(entry == u8x16{});
            wrong |= reinterpret_cast<u8x16>(entry < least.vector()) & ~absent;
            index[v] = ((entry + shift) & ~absent) | (absent & (u8x16{} + no_byte));
        }
        return is_zero(wrong);
    }

    /// Where the elements of each array lie; false when one is absent, counts otherwise than the
    /// type, or is not inside.
    [[gnu::always_inline]] static bool find_arrays(const uint8_t *bytes, uint32_t len,
                                                   uint32_t table, const uint8_t *entries,
                                                   uint32_t (&body)[layout::slots])
    {
        return all_slots(
            typename M::slots{}, [&]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
                if constexpr (is_array<Slot>) {
                    const uint32_t entry =
                        load<byte_order::native, uint16_t>(entries + Index * entry_size);
                    const uint32_t word = table + entry;
                    const uint32_t offset = load<byte_order::native, uint32_t>(bytes + word);
                    const uint64_t at = uint64_t{word} + offset;
                    if (entry == 0 || at + Slot::body_size > len ||
                        load<byte_order::native, uint32_t>(bytes + at) != Slot::count)
                        return false;
                    body[Index] = static_cast<uint32_t>(at) + word_size;
                }
                return true;
            });
    }

    template <uint32_t Window>
    [[gnu::always_inline]] static u8x16 window_of(const u8x16 (&index)[layout::lane_vectors],
                                                  const u8x16 (&block)[blocks])
    {
        static constexpr lanes in_scalar = layout::byte_in_scalar(Window);
        static constexpr lanes from_first = layout::lanes_to_window(Window, 0);
        u8x16 indices = shuffle(index[0], from_first.vector());
        if constexpr (layout::lane_vectors > 1) {
            static constexpr lanes from_second = layout::lanes_to_window(Window, 1);
            indices |= shuffle(index[1], from_second.vector());
        }
        indices += in_scalar.vector();
        if constexpr (blocks == 1) {
            return shuffle(block[0], indices);
        } else {
            u8x16 bytes = {};
#pragma GCC unroll 16
            for (uint32_t b = 0; b < blocks; ++b)
                bytes |= shuffle_from(block[b], indices, static_cast<uint8_t>(16 * b));
            return bytes;
        }
    }

    template <uint32_t... Window>
    [[gnu::always_inline]] static void
    write_windows(uint8_t *record, const u8x16 (&index)[layout::lane_vectors],
                  const u8x16 (&block)[blocks], std::integer_sequence<uint32_t, Window...>)
    {
        (store_first<layout::window_size>(record + layout::windows.windows[Window].at,
                                          window_of<Window>(index, block)),
         ...);
    }
};

} // namespace vorl
