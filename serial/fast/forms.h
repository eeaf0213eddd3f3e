// The two encodings of a fixed-size record that have one shape: its frame, and its packed bytes
// with every scalar present. Each is constants, copied runs and padding, so writing one is a planned
// copy, and reading one is a comparison of its constants, padding aside, and a planned copy back.
//
//   frame of srv6_class_item, 32 bytes: f0 and f1 of 4 bytes, f2 of 1
//
//   at   0        4        8      12     16   17       20                       30
//        [4      ][-16    ][f0   ][f1   ][f2 ][zero   ][10 13 4 8 12           ][zero]
//         constant constant copied copied copied        constant: vtable
//
// A reader that finds a form's constants may skip the checks that the constants stand for: offsets,
// counts and vtable are those of the message, so every field lies where it always lies. Any other
// bytes are left to another reader, which would read a known form to the same record.
#pragma once

#include <algorithm>

#include "serial/fast/moves.h"
#include "serial/layout.h"

namespace vorl {

/// Slots of a message, nested ones included; above form_slot_limit when one of them needs a loop.
constexpr uint32_t form_slots(const message &m)
{
    constexpr uint32_t no_form = 1U << 16;
    uint32_t slots = 0;
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::scalar || s.shape == slot_shape::array)
            slots += 1;
        else if (s.shape == slot_shape::table)
            slots += form_slots(*s.nested);
        else
            slots += no_form;
    }
    return slots;
}

/// The forms of a larger message would be more code than they are worth.
inline constexpr uint32_t form_slot_limit = 64;

/// True: few slots, only scalars, arrays and nested tables of these, so a form needs no loops.
constexpr bool has_forms(const message &m) { return form_slots(m) <= form_slot_limit; }

/// The most pieces, moves or loads that a form can have. Each slot, nested ones included, brings
/// at most four pieces of constants and copied bytes. A piece of up to long_piece bytes takes at
/// most long_piece / 16 + 3 moves.
constexpr size_t piece_capacity(const message &m)
{
    return (2 * form_slots(m) + 1) * 4 * (long_piece / 16 + 3);
}

/// A form under construction, front to back.
template <uint32_t Size, size_t Capacity>
struct form_builder {
    byte_image<Size> image{};
    piece_list<Capacity> pieces;  ///< of the form, from a record
    piece_list<Capacity> checked; ///< the constants that a reader relies on
    uint32_t extent = 0;          ///< the end of the last byte that a reader checks or copies

    constexpr void constant(uint64_t value, uint32_t size)
    {
        const uint32_t at = pieces.end();
        for (uint32_t i = 0; i < size; ++i)
            image.bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
        if (checked.count != 0 && checked.end() == at)
            checked.pieces[checked.count - 1].size += size;
        else
            checked.pieces[checked.count++] = {at, size, 0};
        pieces.add(size, from_constants);
        extent = pieces.end();
    }
    /// Written as zero, never looked at.
    constexpr void padding_to(uint32_t at) { pieces.add(at - pieces.end(), from_constants); }
    constexpr void copy(uint32_t size, uint32_t record_at)
    {
        pieces.add(size, static_cast<int32_t>(record_at));
        extent = pieces.end();
    }
};

constexpr void lay_frame(auto &form, uint32_t record_at, const message &m)
{
    const frame_layout layout = frame_layout_of(m);
    const uint32_t start = form.pieces.end();
    form.constant(frame_table_at, word_size);
    form.constant(frame_table_at - layout.vtable_at, word_size);
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::table) {
            lay_frame(form, record_at + s.record_at, *s.nested);
        } else if (s.shape == slot_shape::scalar) {
            form.copy(s.width, record_at + s.record_at);
        } else {
            form.constant(word_size, word_size);
            form.constant(s.count, word_size);
            form.copy(s.count * s.width, record_at + s.record_at);
        }
    }
    form.padding_to(start + layout.vtable_at);
    form.constant(vtable_length(m), entry_size);
    form.constant(layout.table_length, entry_size);
    uint32_t field = word_size;
    for (const slot &s : m.slots) {
        form.constant(field, entry_size);
        field += frame_field_size(s);
    }
    form.padding_to(start + layout.length);
}

/// From the vtable on.
constexpr void lay_full_table(auto &form, uint32_t record_at, const message &m)
{
    uint32_t fields_end = word_size;
    uint32_t bodies = 0;
    for (const slot &s : m.slots) {
        fields_end += field_size(s);
        if (s.shape == slot_shape::array)
            bodies += array_body_size(s);
    }
    form.constant(vtable_length(m), entry_size);
    form.constant(fields_end + bodies, entry_size);
    uint32_t field = word_size;
    for (const slot &s : m.slots) {
        form.constant(field, entry_size);
        field += field_size(s);
    }
    form.constant(vtable_length(m), word_size);

    field = word_size;
    uint32_t body = fields_end;
    uint32_t nested = fields_end + bodies;
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::scalar) {
            form.copy(s.width, record_at + s.record_at);
        } else if (s.shape == slot_shape::array) {
            form.constant(body - field, word_size);
            body += array_body_size(s);
        } else {
            form.constant(nested + vtable_length(*s.nested) - field, word_size);
            nested += full_table_size(*s.nested);
        }
        field += field_size(s);
    }
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::array) {
            form.constant(s.count, word_size);
            form.copy(s.count * s.width, record_at + s.record_at);
        }
    }
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::table)
            lay_full_table(form, record_at + s.record_at, *s.nested);
    }
}

/// The same pieces as seen from the record: where in the form each byte of the record lies. Padding
/// in the record is constant zero.
template <size_t Capacity>
constexpr piece_list<Capacity> record_pieces(const piece_list<Capacity> &form, uint32_t record_size)
{
    piece_list<Capacity> sorted;
    for (size_t i = 0; i < form.count; ++i) {
        if (form.pieces[i].from >= 0)
            sorted.pieces[sorted.count++] = form.pieces[i];
    }
    std::sort(sorted.pieces, sorted.pieces + sorted.count,
              [](const piece &a, const piece &b) { return a.from < b.from; });
    piece_list<Capacity> record;
    for (size_t i = 0; i < sorted.count; ++i) {
        const piece &p = sorted.pieces[i];
        record.add(static_cast<uint32_t>(p.from) - record.end(), from_constants);
        record.add(p.size, static_cast<int32_t>(p.at));
    }
    record.add(record_size - record.end(), from_constants);
    return record;
}

enum class form_kind : uint8_t { frame, packed };

/// Regions without the root offset, with which they begin.
template <size_t Capacity>
constexpr piece_list<Capacity> behind_root(piece_list<Capacity> regions)
{
    regions.pieces[0].at += word_size;
    regions.pieces[0].size -= word_size;
    return regions;
}

/// A form of a message, from its root offset on, cut into moves and loads.
template <const message &M, form_kind Kind>
struct known_form {
    static_assert(is_fixed_size(M), "a frame has one length: the message holds no vector");
    static_assert(frame_layout_of(M).table_length <= UINT16_MAX, "idlc refuses such a description");
    static_assert(has_forms(M));

    static constexpr uint32_t size =
        Kind == form_kind::frame ? frame_layout_of(M).length : word_size + full_table_size(M);
    static constexpr auto built = [] {
        form_builder<size, piece_capacity(M)> form;
        if constexpr (Kind == form_kind::frame) {
            lay_frame(form, 0, M);
        } else {
            form.constant(word_size + vtable_length(M), word_size);
            lay_full_table(form, 0, M);
        }
        return form;
    }();
    /// A copy, so that the rest of `built`, which only the compiler needs, is not in the library.
    alignas(16) static constexpr byte_image<size> image = built.image;
    static constexpr auto write_moves = plan_moves(built.pieces, M.record_size);
    static constexpr auto checks = plan_loads(built.checked);
    static constexpr auto checks_behind_root = plan_loads(behind_root(built.checked));
    static constexpr uint32_t extent = built.extent;
    static constexpr auto read_moves =
        plan_moves(record_pieces(built.pieces, M.record_size), extent);
    static constexpr byte_image<M.record_size> zeros{};

    [[gnu::always_inline]] static void write(uint8_t *to, const uint8_t *record)
    {
        run_moves<write_moves, false>(to, record, constants_at(image.bytes));
    }
    /// The same in a loop.
    [[gnu::always_inline]] static void write_next(uint8_t *to, const uint8_t *record)
    {
        run_moves<write_moves, true>(to, record, image.bytes);
    }
    /// Whether the `extent` bytes at `bytes` are this form.
    [[gnu::always_inline]] static bool matches(const uint8_t *bytes)
    {
        return equals<checks, image>(bytes, constants_at(image.bytes));
    }
    /// The same, of bytes whose first word may be anything, and is not read.
    [[gnu::always_inline]] static bool matches_behind_root(const uint8_t *bytes)
    {
        return equals<checks_behind_root, image>(bytes, constants_at(image.bytes));
    }
    /// The whole record, padding included.
    [[gnu::always_inline]] static void read(uint8_t *record, const uint8_t *bytes)
    {
        run_moves<read_moves, true>(record, bytes, zeros.bytes);
    }
};

template <const message &M>
using frame_form = known_form<M, form_kind::frame>;
template <const message &M>
using packed_form = known_form<M, form_kind::packed>;

} // namespace vorl
