// Memory of unpacked vectors: who owns it and how it goes back.
//
// A vector's elements, or bytes, belong to the record that holds the vector, from the read that
// stored the pointer until the record is released. Elements own nothing themselves. Releasing sets
// the pointer to null and leaves the count, so a second release finds nothing to do.
#pragma once

#include "serial/plain/listener.h"
#include "serial/wire.h"

namespace vorl {

/// Releases what one slot owns, if it is a vector.
[[gnu::always_inline]] inline void release_slot(uint8_t *record, const slot &s, const listener &to,
                                                const message &m)
{
    if (!s.is_vector())
        return;
    if (void *block = member<void *>(record, s.record_at)) {
        to.release(to, block, m);
        set_member<void *>(record, s.record_at, nullptr);
    }
}

namespace plain {

/// Releases what the record owns: its own vectors first, then those of nested records, in slot
/// order. The listener is given the message that holds the vector.
void release(uint8_t *record, const listener &to, const message &m);

} // namespace plain
} // namespace vorl
