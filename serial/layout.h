// What follows from the slots of a fixed-size message: where everything lies in its frame. All
// constants of the type.
//
//   OFFSET              SIZE  CONTENT
//   0                   4     root offset, always 4
//   4                   4     soffset, 4 - vtable_at: always negative
//   8                         the fields in slot order, back to back at any alignment
//   4 + table_length    0-3   zero, up to a multiple of 4
//   vtable_at           2     vtable length
//   vtable_at + 2       2     table length: soffset and fields
//   vtable_at + 4       2     a slot: offset of its field from the table, never 0
//   ...                 0-7   zero, up to a multiple of 8
//
//   FIELD               SIZE                      CONTENT
//   scalar              its width
//   array of N          4 + 4 + N elements        the offset word, always 4, then at once the body
//   nested table        the nested frame          its root offset doubles as the offset word
//   array of N tables   4 + 4 + 4N + N frames     offset i leads to the table (byte 4) of frame i
#pragma once

#include "serial/schema.h"

namespace vorl {

/// The table of a frame, and what a nested table's offset word holds.
inline constexpr uint32_t frame_table_at = word_size;

template <class M>
struct frame_layout {
    static_assert(is_fixed_size<M>, "a frame has one length: the message holds no vector");

    struct offsets {
        uint16_t slot[slot_count<M>]; ///< from the table's start
        uint32_t end;                 ///< of the fields
    };

    template <class Slot>
    static constexpr uint32_t field_size()
    {
        if constexpr (is_scalar<Slot>)
            return sizeof(typename Slot::value_type);
        else if constexpr (is_array<Slot>)
            return word_size + Slot::body_size;
        else if constexpr (is_table<Slot>)
            return frame_layout<typename Slot::message>::length;
        else
            return 2 * word_size +
                   Slot::count * (word_size + frame_layout<typename Slot::message>::length);
    }

    static constexpr offsets fields = [] {
        offsets result{};
        result.end = word_size;
        each_slot(typename M::slots{}, [&result]<class Slot, uint32_t Index>() {
            result.slot[Index] = static_cast<uint16_t>(result.end);
            result.end += field_size<Slot>();
        });
        return result;
    }();

    static constexpr uint32_t table_length = fields.end;
    static_assert(table_length <= UINT16_MAX, "idlc refuses such a description");
    static constexpr uint32_t table_end = frame_table_at + table_length;
    static constexpr uint32_t vtable_at = (table_end + 3) / 4 * 4;
    static constexpr uint32_t vtable_end = vtable_at + vtable_length(slot_count<M>);
    static constexpr uint32_t length = (vtable_end + 7) / 8 * 8;
};

} // namespace vorl
