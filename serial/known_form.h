// The two encodings of a fixed-size record that have one shape: its frame, and its packed table with
// every scalar present. Each is constants and copied runs, so writing one is a planned copy, and
// reading one is a comparison of all its constants and a planned copy back.
//
// A reader that finds a form's constants may skip the checks that the constants stand for: offsets,
// counts and vtable are those of the type, so every field lies where it always lies. Anything else
// goes to the careful reader, with the same result for the same bytes.
#pragma once

#include "serial/layout.h"
#include "serial/plan.h"

namespace vorl {

/// Pieces, moves or loads that a form of M is made of at most. A slot brings two pieces of constants
/// and two that are copied; one no longer than long_piece takes long_piece / 16 + 3 moves.
template <class M>
constexpr size_t piece_capacity()
{
    constexpr size_t a_piece = long_piece / 16 + 3;
    size_t capacity = 4 * a_piece;
    each_slot(typename M::slots{}, [&capacity]<class Slot, uint32_t>() {
        capacity += 4 * a_piece;
        if constexpr (is_table<Slot>)
            capacity += piece_capacity<typename Slot::message>();
    });
    return capacity;
}

/// A form under construction, front to back.
template <uint32_t Size, size_t Capacity>
struct form_builder {
    uint8_t image[Size]{};
    piece_list<Capacity> pieces;  ///< of the form, from a record
    piece_list<Capacity> checked; ///< the constants that a reader relies on

    constexpr void constant(uint64_t value, uint32_t size)
    {
        const uint32_t at = pieces.end();
        for (uint32_t i = 0; i < size; ++i)
            image[at + i] = static_cast<uint8_t>(value >> (8 * i));
        if (checked.count != 0 && checked.end() == at)
            checked.pieces[checked.count - 1].size += size;
        else
            checked.pieces[checked.count++] = {at, size, 0};
        pieces.add(size, from_constants);
    }
    /// Written as zero, never looked at.
    constexpr void padding_to(uint32_t at) { pieces.add(at - pieces.end(), from_constants); }
    constexpr void copy(uint32_t size, size_t record_at)
    {
        pieces.add(size, static_cast<int32_t>(record_at));
    }
};

/// The same pieces seen from the record: where each of its bytes lies in the form. Record padding is
/// constant zero.
template <size_t Capacity>
constexpr piece_list<Capacity> record_pieces(const piece_list<Capacity> &form, uint32_t record_size)
{
    piece_list<Capacity> sorted;
    for (size_t i = 0; i < form.count; ++i) {
        const piece &p = form.pieces[i];
        if (p.from < 0)
            continue;
        size_t at = sorted.count++;
        for (; at > 0 && sorted.pieces[at - 1].from > p.from; --at)
            sorted.pieces[at] = sorted.pieces[at - 1];
        sorted.pieces[at] = p;
    }
    piece_list<Capacity> record;
    for (size_t i = 0; i < sorted.count; ++i) {
        const piece &p = sorted.pieces[i];
        record.add(static_cast<uint32_t>(p.from) - record.end(), from_constants);
        record.add(p.size, static_cast<int32_t>(p.at));
    }
    record.add(record_size - record.end(), from_constants);
    return record;
}

template <class M>
constexpr void lay_frame(auto &form, size_t record_at)
{
    using layout = frame_layout<M>;
    const uint32_t start = form.pieces.end();
    form.constant(frame_table_at, word_size);
    form.constant(frame_table_at - layout::vtable_at, word_size);
    each_slot(typename M::slots{}, [&form, record_at]<class Slot, uint32_t>() {
        if constexpr (is_scalar<Slot>) {
            form.copy(sizeof(typename Slot::value_type), record_at + Slot::at);
        } else if constexpr (is_array<Slot>) {
            form.constant(word_size, word_size);
            form.constant(Slot::count, word_size);
            form.copy(Slot::body_size - word_size, record_at + Slot::at);
        } else {
            lay_frame<typename Slot::message>(form, record_at + Slot::at);
        }
    });
    form.padding_to(start + layout::vtable_at);
    form.constant(vtable_length(slot_count<M>), entry_size);
    form.constant(layout::table_length, entry_size);
    for (const uint16_t offset : layout::fields.slot)
        form.constant(offset, entry_size);
    form.padding_to(start + layout::length);
}

template <class M>
constexpr uint32_t full_table_size();

/// Bytes that a slot of a fixed-size message takes in a packed table at most: with every scalar
/// present.
template <class Slot>
constexpr uint32_t full_slot_size()
{
    if constexpr (is_scalar<Slot>)
        return sizeof(typename Slot::value_type);
    else if constexpr (is_array<Slot>)
        return word_size + Slot::body_size;
    else if constexpr (is_table<Slot>)
        return word_size + full_table_size<typename Slot::message>();
    else
        return 2 * word_size +
               Slot::count * (word_size + full_table_size<typename Slot::message>());
}

/// The same of its table, from the vtable on.
template <class M>
constexpr uint32_t full_table_size()
{
    uint32_t size = vtable_length(slot_count<M>) + word_size;
    each_slot(typename M::slots{},
              [&size]<class Slot, uint32_t>() { size += full_slot_size<Slot>(); });
    return size;
}

template <class M>
constexpr void lay_full_table(auto &form, size_t record_at)
{
    struct layout {
        uint32_t field[slot_count<M>]; ///< from the table
        uint32_t body[slot_count<M>];  ///< of arrays and nested tables: from the table
        uint32_t end;                  ///< of fields and array bodies
    };
    constexpr layout at = [] {
        layout result{};
        result.end = word_size;
        each_slot(typename M::slots{}, [&result]<class Slot, uint32_t Index>() {
            result.field[Index] = result.end;
            if constexpr (is_scalar<Slot>)
                result.end += sizeof(typename Slot::value_type);
            else
                result.end += word_size;
        });
        each_slot(typename M::slots{}, [&result]<class Slot, uint32_t Index>() {
            if constexpr (is_array<Slot>) {
                result.body[Index] = result.end;
                result.end += Slot::body_size;
            }
        });
        uint32_t next = result.end;
        each_slot(typename M::slots{}, [&result, &next]<class Slot, uint32_t Index>() {
            if constexpr (is_table<Slot>) {
                result.body[Index] = next + vtable_length(slot_count<typename Slot::message>);
                next += full_table_size<typename Slot::message>();
            }
        });
        return result;
    }();

    form.constant(vtable_length(slot_count<M>), entry_size);
    form.constant(at.end, entry_size);
    for (const uint32_t field : at.field)
        form.constant(field, entry_size);
    form.constant(vtable_length(slot_count<M>), word_size);
    each_slot(typename M::slots{}, [&form, record_at]<class Slot, uint32_t Index>() {
        if constexpr (is_scalar<Slot>)
            form.copy(sizeof(typename Slot::value_type), record_at + Slot::at);
        else
            form.constant(at.body[Index] - at.field[Index], word_size);
    });
    each_slot(typename M::slots{}, [&form, record_at]<class Slot, uint32_t>() {
        if constexpr (is_array<Slot>) {
            form.constant(Slot::count, word_size);
            form.copy(Slot::body_size - word_size, record_at + Slot::at);
        }
    });
    each_slot(typename M::slots{}, [&form, record_at]<class Slot, uint32_t>() {
        if constexpr (is_table<Slot>)
            lay_full_table<typename Slot::message>(form, record_at + Slot::at);
    });
}

/// Slots of a message, nested ones included; past form_slot_limit when one of them leads to a loop.
template <class M>
constexpr uint32_t form_slots()
{
    constexpr uint32_t no_form = 1U << 16;
    uint32_t slots = 0;
    each_slot(typename M::slots{}, [&slots]<class Slot, uint32_t>() {
        if constexpr (is_scalar<Slot> || is_array<Slot>)
            slots += 1;
        else if constexpr (is_table<Slot>)
            slots += form_slots<typename Slot::message>();
        else
            slots += no_form;
    });
    return slots;
}

/// The forms of a larger message would be more code than they are worth.
inline constexpr uint32_t form_slot_limit = 64;

/// Scalars, arrays and nested tables of such only: one shape a form, without loops.
template <class M>
inline constexpr bool has_known_forms = form_slots<M>() <= form_slot_limit;

/// What a layout gives, cut into moves and loads.
template <class M, template <class> class Layout>
struct known_form {
    static constexpr auto built = [] {
        form_builder<Layout<M>::size, piece_capacity<M>()> form;
        Layout<M>::build(form);
        return form;
    }();
    struct bytes_of_form {
        uint8_t bytes[Layout<M>::size];
    };
    /// By itself, so that what only the compiler needs is not in the library.
    static constexpr bytes_of_form image = [] {
        bytes_of_form result{};
        for (uint32_t i = 0; i < Layout<M>::size; ++i)
            result.bytes[i] = built.image[i];
        return result;
    }();
    static constexpr auto write_moves = plan_moves(built.pieces, sizeof(typename M::record));
    static constexpr auto checks = plan_loads(built.checked);
    /// What a reader needs of the buffer: the end of the last byte that is checked or copied.
    static constexpr uint32_t extent = [] {
        uint32_t end = built.checked.end();
        for (size_t i = 0; i < built.pieces.count; ++i) {
            const piece &p = built.pieces.pieces[i];
            if (p.from >= 0 && p.at + p.size > end)
                end = p.at + p.size;
        }
        return end;
    }();
    static constexpr auto read_moves =
        plan_moves(record_pieces(built.pieces, sizeof(typename M::record)), extent);
    static constexpr struct {
        uint8_t bytes[sizeof(typename M::record)];
    } zeros{};

    [[gnu::always_inline]] static void write(uint8_t *to, const uint8_t *record)
    {
        run_moves<write_moves, image>(to, record);
    }
    /// Zero when the `extent` bytes at `bytes` are this form.
    [[gnu::always_inline]] static uint64_t mismatch(const uint8_t *bytes)
    {
        return vorl::mismatch<checks, image>(bytes);
    }
    /// The whole record, padding included.
    [[gnu::always_inline]] static void read(uint8_t *record, const uint8_t *bytes)
    {
        run_moves<read_moves, zeros>(record, bytes);
    }
};

template <class M>
struct frame_build {
    static constexpr uint32_t size = frame_layout<M>::length;
    static constexpr void build(auto &form) { lay_frame<M>(form, 0); }
};
template <class M>
struct full_table_build {
    static constexpr uint32_t size = full_table_size<M>();
    static constexpr void build(auto &form) { lay_full_table<M>(form, 0); }
};

/// From the root offset on.
template <class M>
using frame_form = known_form<M, frame_build>;

/// From the vtable on.
template <class M>
using full_table_form = known_form<M, full_table_build>;

} // namespace vorl
