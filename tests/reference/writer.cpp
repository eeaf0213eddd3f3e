#include <cstring>

#include "tests/reference/reference.h"

namespace vorl::reference {

bool is_scalar(const slot &s) { return s.shape == slot_shape::scalar; }

bool is_vector(const slot &s)
{
    return s.shape == slot_shape::byte_vector || s.shape == slot_shape::table_vector;
}

bool holds_vectors(const message &m)
{
    for (const slot &s : m.slots) {
        if (is_vector(s) || (s.nested != nullptr && holds_vectors(*s.nested)))
            return true;
    }
    return false;
}

std::uint32_t frame_length(const message &m)
{
    const bytes zeros(m.record_size);
    return static_cast<std::uint32_t>(frame(m, zeros.data(), order::little).size());
}

namespace {

/// A slot of a record, as the packer sees it.
struct content {
    const vorl::slot &slot;
    const std::uint8_t *member;
    std::uint64_t count = 0;             ///< of elements, for everything but scalars and tables
    const std::uint8_t *first = nullptr; ///< element
    bool is_written = true;
    bool is_damaged = false; ///< a count and no pointer
};

content content_of(const vorl::slot &slot, const std::uint8_t *record)
{
    content c{.slot = slot, .member = record + slot.record_at};
    if (is_scalar(slot)) {
        c.is_written = load(c.member, slot.width, order::little) != 0;
    } else if (is_vector(slot)) {
        c.count = load(record + slot.count_at, 4, order::little);
        std::memcpy(&c.first, c.member, sizeof c.first);
        c.is_written = c.count != 0;
        c.is_damaged = c.count != 0 && c.first == nullptr;
    } else {
        c.count = slot.count;
        c.first = c.member;
    }
    return c;
}

/// In the field area.
std::uint64_t field_size(const content &c)
{
    if (!c.is_written)
        return 0;
    return is_scalar(c.slot) ? c.slot.width : 4;
}

/// Behind the fields: a count and the elements, or their offsets.
std::uint64_t body_size(const content &c)
{
    if (!c.is_written || is_scalar(c.slot) || c.slot.shape == slot_shape::table)
        return 0;
    if (c.slot.shape == slot_shape::byte_vector)
        return 4 + c.count;
    return 4 + c.count * (c.slot.nested != nullptr ? 4 : c.slot.width);
}

std::uint64_t vtable_size(const message &m) { return 4 + 2 * m.slots.size; }

std::optional<std::uint64_t> table_size(const message &m, const std::uint8_t *record)
{
    std::uint64_t size = vtable_size(m) + 4;
    for (const vorl::slot &slot : m.slots) {
        const content c = content_of(slot, record);
        if (c.is_damaged)
            return std::nullopt;
        size += field_size(c) + body_size(c);
        if (!c.is_written || slot.nested == nullptr)
            continue;
        const std::uint64_t tables = slot.shape == slot_shape::table ? 1 : c.count;
        for (std::uint64_t i = 0; i < tables; ++i) {
            const auto inner =
                table_size(*slot.nested, (slot.shape == slot_shape::table ? c.member : c.first) +
                                             i * slot.nested->record_size);
            if (!inner)
                return std::nullopt;
            size += *inner;
        }
    }
    return size;
}

/// vtable, table, bodies, then the tables that they lead to. Offsets are from word to target, so
/// the whole can stand anywhere.
bytes packed_table(const message &m, const std::uint8_t *record, order o, inner_form inner_as)
{
    const std::uint64_t table = vtable_size(m);
    bytes out(table + 4);
    store(&out[0], table, 2, o);
    store(&out[table], table, 4, o);

    std::vector<std::uint64_t> word_at(m.slots.size);
    for (std::size_t s = 0; s < m.slots.size; ++s) {
        const content c = content_of(m.slots[s], record);
        if (!c.is_written)
            continue;
        const std::uint64_t size = field_size(c);
        word_at[s] = out.size();
        store(&out[4 + 2 * s], out.size() - table, 2, o);
        out.resize(out.size() + size);
        if (is_scalar(c.slot))
            store(&out[word_at[s]], load(c.member, size, order::little), size, o);
    }
    for (std::size_t s = 0; s < m.slots.size; ++s) {
        const content c = content_of(m.slots[s], record);
        const std::uint64_t size = body_size(c);
        if (size == 0)
            continue;
        std::uint64_t at = out.size();
        out.resize(out.size() + size);
        store(&out[word_at[s]], at - word_at[s], 4, o);
        store(&out[at], c.count, 4, o);
        at += 4;
        word_at[s] = at;
        if (c.slot.nested != nullptr)
            continue;
        const std::size_t width = c.slot.width;
        for (std::uint64_t i = 0; i < c.count; ++i)
            store(&out[at + i * width], load(c.first + i * width, width, order::little), width, o);
    }
    store(&out[2], out.size() - table, 2, o);
    for (std::size_t s = 0; s < m.slots.size; ++s) {
        const content c = content_of(m.slots[s], record);
        if (!c.is_written || c.slot.nested == nullptr)
            continue;
        const message &inner = *c.slot.nested;
        const bool one = c.slot.shape == slot_shape::table;
        for (std::uint64_t i = 0; i < (one ? 1 : c.count); ++i) {
            const std::uint8_t *from = (one ? c.member : c.first) + i * inner.record_size;
            // A frame's table is at its byte 4. A record of variable size has none.
            const bool as_frame = inner_as == inner_form::framed && !holds_vectors(inner);
            const bytes nested =
                as_frame ? frame(inner, from, o) : packed_table(inner, from, o, inner_as);
            const std::uint64_t word = word_at[s] + 4 * i;
            store(&out[word], out.size() + (as_frame ? 4 : vtable_size(inner)) - word, 4, o);
            out.insert(out.end(), nested.begin(), nested.end());
        }
    }
    return out;
}

void append(bytes &to, std::uint64_t value, std::size_t width, order o)
{
    to.resize(to.size() + width);
    store(&to[to.size() - width], value, width, o);
}

void append(bytes &to, const bytes &from) { to.insert(to.end(), from.begin(), from.end()); }

void pad(bytes &to, std::size_t multiple)
{
    while (to.size() % multiple != 0)
        to.push_back(0);
}

} // namespace

std::optional<std::uint64_t> measured_size(const message &m, const void *record)
{
    const auto size = table_size(m, static_cast<const std::uint8_t *>(record));
    return size ? std::optional(*size + 4) : std::nullopt;
}

bytes pack(const message &m, const void *record, order byte_order, inner_form inner)
{
    bytes out;
    append(out, 4 + vtable_size(m), 4, byte_order);
    append(out, packed_table(m, static_cast<const std::uint8_t *>(record), byte_order, inner));
    return out;
}

bytes frame(const message &m, const void *record, order byte_order)
{
    const auto *from = static_cast<const std::uint8_t *>(record);
    bytes out;
    append(out, 4, 4, byte_order); // the table is at 4
    append(out, 0, 4, byte_order); // its way to the vtable, below
    std::vector<std::size_t> entries;
    for (const vorl::slot &slot : m.slots) {
        entries.push_back(out.size() - 4);
        const std::uint8_t *member = from + slot.record_at;
        const std::size_t width = slot.width;
        if (is_scalar(slot)) {
            append(out, load(member, width, order::little), width, byte_order);
        } else if (slot.shape == slot_shape::table) {
            append(out, frame(*slot.nested, member, byte_order));
        } else if (slot.shape == slot_shape::table_array) {
            append(out, 4, 4, byte_order);
            append(out, slot.count, 4, byte_order);
            bytes frames;
            for (std::uint32_t i = 0; i < slot.count; ++i) {
                // To byte 4 of the frame that comes behind all offsets and the frames before it.
                append(out, 4 * (slot.count - i) + frames.size() + 4, 4, byte_order);
                append(frames,
                       frame(*slot.nested, member + i * slot.nested->record_size, byte_order));
            }
            append(out, frames);
        } else {
            append(out, 4, 4, byte_order);
            append(out, slot.count, 4, byte_order);
            for (std::uint32_t i = 0; i < slot.count; ++i)
                append(out, load(member + i * width, width, order::little), width, byte_order);
        }
    }
    const std::size_t table_length = out.size() - 4;
    pad(out, 4);
    store(&out[4], 4 - out.size(), 4, byte_order);
    append(out, 4 + 2 * m.slots.size, 2, byte_order);
    append(out, table_length, 2, byte_order);
    for (const std::size_t entry : entries)
        append(out, entry, 2, byte_order);
    pad(out, 8);
    return out;
}

} // namespace vorl::reference
