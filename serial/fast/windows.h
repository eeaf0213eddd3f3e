// A flat record seen through windows. Each window is sixteen bytes of the record and stands for at
// most seven scalars; together, in slot order, they cover everything that is not an array.
//
//   srv6_common_fwd, 56 bytes: f0 f1 of 4 bytes, f2 to f5 of 1, arrays f6 and f7 of 16,
//   f8 f9 of 1, f10 f11 of 2, f12 f13 of 1, f14 of 4
//
//   record   00   04   08       0C        1C        2C 2D 2E   30   32  33  34   38
//            [f0 ][f1 ][f2..f5 ][f6      ][f7      ][8][9][f10][f11][12][13][f14 ]
//   window   00 ................ 0F            28 ................................. 37
//            squeezes f0 to f5                 squeezes f8 to f14
//
// The scalars of a window are squeezed together when the record is packed (serial/fast/squeeze.h),
// and spread back when it is read (serial/fast/spread.h), all in one vector register.
#pragma once

#include "serial/fast/simd.h"
#include "serial/layout.h"
#include "serial/unroll.h"

namespace vorl {

inline constexpr uint32_t lane_count = 16;
inline constexpr uint32_t window_scalar_limit = 7; ///< one less than squeeze_row::entry_lanes
inline constexpr uint8_t no_byte = 0x80;           ///< a shuffle index that yields zero

constexpr lanes filled(uint8_t with)
{
    lanes result{};
    for (uint8_t &byte : result.bytes)
        byte = with;
    return result;
}

/// The scalars of a window: where each lies in it, and how many bytes it has.
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

/// What is constant about the packed table of a flat message, and about the windows of its record.
template <const message &M>
struct packed_layout {
    static_assert(is_flat(M));
    static constexpr uint32_t slots = M.slots.size;

    struct slot_facts {
        uint32_t record_at;
        uint32_t size;     ///< of the member
        uint32_t field;    ///< bytes in the field area
        uint32_t least_at; ///< offset from the table when no scalar before is present
        uint32_t last_at;  ///< offset from the table when all scalars before are present
        uint32_t count;    ///< of an array
        uint32_t body;     ///< of an array: bytes of its body
        uint32_t body_at;  ///< of an array: offset of its body from the end of the fields
        uint32_t arrays;   ///< number of arrays before this slot
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
        for (uint32_t i = 0; i < slots; ++i) {
            const vorl::slot &from = M.slots[i];
            slot_facts &s = result.slot[i];
            s.record_at = from.record_at;
            s.field = field_size(from);
            s.least_at = word_size + result.arrays * word_size;
            s.last_at = result.fields_end;
            s.arrays = result.arrays;
            s.is_scalar = from.shape == slot_shape::scalar;
            if (s.is_scalar) {
                s.size = from.width;
            } else {
                s.count = from.count;
                s.body = array_body_size(from);
                s.size = s.body - word_size;
                s.body_at = result.bodies;
                result.bodies += s.body;
                ++result.arrays;
            }
            result.fields_end += s.field;
        }
        return result;
    }();

    /// Bytes that are stored for a window. They end where its fields end, and may begin before its
    /// fields. There the vtable and the soffset must have room for them: see squeeze.h.
    static constexpr uint32_t squeeze_width = slots >= 4 ? 16 : 8;
    static_assert(vtable_length(slots) + word_size >= squeeze_width);

    struct window {
        uint32_t at;    ///< of its sixteen bytes in the record
        uint32_t first; ///< slots [first, end), all scalars, are squeezed together
        uint32_t end;
    };
    struct window_list {
        window windows[slots];
        uint32_t count;
    };
    /// A window of a record of fewer than sixteen bytes is the whole record.
    static constexpr uint32_t window_size = M.record_size < 16 ? M.record_size : 16;
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
                if (at + window_size > M.record_size)
                    at = M.record_size - window_size;
                result.windows[result.count++] = {at, s, s + 1};
                bytes = slot.size;
            } else {
                last->end = s + 1;
                bytes += slot.size;
            }
        }
        return result;
    }();

    /// What the kernels rely on: the reader has lanes enough, lanes of a window hold whole scalars,
    /// every byte of the record is in a window or an array, and indices of the field area stay
    /// below no_byte with room to spare.
    static constexpr bool is_regular = [] {
        if (windows.count == 0 || slots > 2 * lane_count || all.fields_end > 112)
            return false;
        bool covered[M.record_size]{};
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
    static constexpr uint32_t scalars_in(uint32_t window)
    {
        return windows.windows[window].end - windows.windows[window].first;
    }
    /// The number of windows whose first slot is before `slot`.
    static constexpr uint32_t windows_before(uint32_t slot)
    {
        uint32_t count = 0;
        while (count < windows.count && windows.windows[count].first < slot)
            ++count;
        return count;
    }
};

/// True when the message is flat, and of a shape that the kernels for windows can handle.
template <const message &M>
inline constexpr bool has_windows = [] {
    if constexpr (is_flat(M))
        return packed_layout<M>::is_regular;
    else
        return false;
}();

/// The windows of a record, loaded.
template <const message &M>
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

} // namespace vorl
