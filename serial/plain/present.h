// Whether a slot of a record is packed: the rule, and the one place where it stands. The kernels
// apply it to sixteen bytes at once (serial/fast/zeros.h); tests hold them to this.
#pragma once

#include "serial/slot.h"
#include "serial/wire.h"

namespace vorl {

/// The number of elements of a slot: N for an array, the count in the record for a vector.
[[gnu::always_inline]] inline uint32_t element_count(const slot &s, const uint8_t *record)
{
    return s.is_vector() ? member<uint32_t>(record, s.count_at) : s.count;
}

/// Where the elements of a slot lie; null for a vector whose pointer is null.
[[gnu::always_inline]] inline const uint8_t *elements_of(const slot &s, const uint8_t *record)
{
    return s.is_vector() ? member<const uint8_t *>(record, s.record_at) : record + s.record_at;
}

/// False: the slot is left out, its vtable entry is 0, and a reader finds zero, or no elements. A
/// scalar is left out when it is zero, a vector when its count is zero, any other slot never.
[[gnu::always_inline]] inline bool is_present(const slot &s, const uint8_t *record)
{
    if (s.is_vector())
        return member<uint32_t>(record, s.count_at) != 0;
    if (s.shape != slot_shape::scalar)
        return true;
    uint64_t value = 0;
    memcpy(&value, record + s.record_at, s.width);
    return value != 0;
}

} // namespace vorl
