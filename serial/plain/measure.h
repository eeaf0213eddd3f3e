// How many bytes a record takes when it is packed.
#pragma once

#include "serial/layout.h"
#include "serial/plain/present.h"

namespace vorl {

/// Adds the bytes that one slot takes, its body included. `tables(count, records, size)` adds those
/// of the tables that the slot leads to. False: a vector has a count but no pointer, which is what
/// a failed unpack leaves; such a record must not be sent on as if the vector were empty.
template <class Tables>
[[gnu::always_inline]] inline bool add_slot_size(const slot &s, const uint8_t *record,
                                                 uint64_t &size, Tables &&tables)
{
    if (!is_present(s, record))
        return true;
    size += field_size(s);
    if (s.shape == slot_shape::scalar)
        return true;
    if (s.shape == slot_shape::table)
        return tables(1, record + s.record_at, size);
    const uint64_t count = element_count(s, record);
    const uint8_t *elements = elements_of(s, record);
    if (elements == nullptr)
        return false;
    size += word_size + count * element_size(s);
    return s.nested == nullptr || tables(static_cast<uint32_t>(count), elements, size);
}

namespace plain {

/// Adds the bytes that `count` tables take, each from its vtable on, with all that they lead to.
/// False as add_slot_size. The sum cannot wrap: counts are 32 bits, elements
/// below 2^18 bytes, and a record has fewer than 2^14 vectors.
bool add_tables_size(uint32_t count, const uint8_t *records, uint64_t &size, const message &m);

/// The packed size of a record in bytes. 0 when it cannot be packed: no record, a count without a
/// pointer, a size past 32 bits.
uint32_t packed_size(const uint8_t *record, const message &m);

} // namespace plain
} // namespace vorl
