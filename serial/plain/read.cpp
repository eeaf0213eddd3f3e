#include "serial/plain/read.h"

namespace vorl::plain {

template <byte_order Order>
bool find_table(uint32_t position, checked_table &table, table_role role, received from,
                const listener &to, const message &m)
{
    const uint32_t last = from.len - word_size;
    if (position < word_size || position > last) {
        to.refused(to, table_check::position, role, position, position, from.len, m);
        return false;
    }
    const uint32_t vtable = position - load<Order, uint32_t>(from.bytes + position);
    if (vtable < word_size || vtable > last) {
        // The first number is the table's position, not the vtable's.
        to.refused(to, table_check::vtable_position, role, position, position, last, m);
        return false;
    }
    const uint32_t length = load<Order, uint16_t>(from.bytes + vtable);
    if (length > from.len - vtable) {
        to.refused(to, table_check::vtable_length, role, position, length, from.len - vtable, m);
        return false;
    }
    table = {position, vtable, length};
    if (to.watch != nullptr)
        to.watch(to, {reading_step::kind::table, &m, 0, position, vtable, length, {}});
    return true;
}

template <byte_order Order>
bool read_slots(const checked_table &table, uint8_t *record, table_role role, received from,
                const listener &to, const message &m)
{
    const slot_reader<Order> reader{from, to, m, role};
    for (uint32_t i = 0; i < m.slots.size; ++i) {
        const slot &s = m.slots[i];
        const auto tables = [&](uint32_t words, uint32_t count, uint8_t *records) {
            return read_tables<Order>(words, count, records, from, to, *s.nested);
        };
        if (!reader.read(table, i, s, record, tables))
            return false;
    }
    return true;
}

template <byte_order Order>
bool read_table(uint32_t position, uint8_t *record, received from, const listener &to,
                const message &m)
{
    checked_table table;
    return find_table<Order>(position, table, table_role::non_root, from, to, m) &&
           read_slots<Order>(table, record, table_role::non_root, from, to, m);
}

template <byte_order Order>
bool read_tables(uint32_t words, uint32_t count, uint8_t *records, received from,
                 const listener &to, const message &m)
{
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t word = words + i * word_size;
        const uint64_t position = uint64_t{word} + load<Order, uint32_t>(from.bytes + word);
        const auto tell = [&](reading_step::kind what) {
            if (to.watch != nullptr)
                to.watch(to, {what, &m, 0, word, position, i, {}});
        };
        if (position > UINT32_MAX)
            return refuse_position(word, position, to, m);
        tell(reading_step::kind::element);
        if (!read_table<Order>(static_cast<uint32_t>(position), records + size_t{i} * m.record_size,
                               from, to, m))
            return false;
        tell(reading_step::kind::leave);
    }
    return true;
}

template <byte_order Order>
bool refuse_field(const checked_table &table, uint32_t index, const received &from,
                  const listener &to, const message &m)
{
    const slot_reader<Order> reader{from, to, m, {}};
    const slot &s = m.slots[index];
    const auto tell = [&](field_check check, uint32_t at, uint64_t leads_to) {
        to.refused_field(to, {reading_step::kind::refused, &m, index, at, leads_to, 0, check});
        return false;
    };
    const uint32_t entry = reader.entry_of(table, index);
    const uint32_t at = table.at + entry;
    if (!reader.has_field(table, entry, s))
        return tell(field_check::field, at, at);
    found_body body{};
    return reader.find_body(at, s, body, tell);
}

bool refuse_position(uint32_t word, uint64_t position, const listener &to, const message &m)
{
    to.refused_field(
        to, {reading_step::kind::refused, &m, 0, word, position, 0, field_check::position});
    return false;
}

bool refuse_memory(uint32_t index, uint32_t elements, uint64_t size, table_role role,
                   const listener &to, const message &m)
{
    to.no_memory(
        to, {reading_step::kind::refused, &m, index, elements, size, 0, field_check::memory}, role);
    return false;
}

#define FOR_BOTH_ORDERS(order)                                                                     \
    template bool find_table<order>(uint32_t, checked_table &, table_role, received,               \
                                    const listener &, const message &);                            \
    template bool read_slots<order>(const checked_table &, uint8_t *, table_role, received,        \
                                    const listener &, const message &);                            \
    template bool read_table<order>(uint32_t, uint8_t *, received, const listener &,               \
                                    const message &);                                              \
    template bool refuse_field<order>(const checked_table &, uint32_t, const received &,           \
                                      const listener &, const message &);                          \
    template bool read_tables<order>(uint32_t, uint32_t, uint8_t *, received, const listener &,    \
                                     const message &);
FOR_BOTH_ORDERS(native)
FOR_BOTH_ORDERS(swapped)

} // namespace vorl::plain
