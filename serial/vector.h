// Memory of unpacked vectors: who owns it and how it goes back.
//
// A vector's elements, or bytes, belong to the record that holds the vector, from the unpack that
// stored the pointer until the record is released. Elements own nothing themselves. Releasing sets
// the pointer to null and leaves the count, so a second release finds nothing to do.
#pragma once

#include "serial/schema.h"

namespace vorl {

/// Releases what the record owns: its vectors first, then those of nested records, each in slot
/// order, each under the name of the message that holds it. Services::release(block, tag) takes the
/// memory back.
template <class M, class Services>
void release_owned(uint8_t *record)
{
    each_slot(typename M::slots{}, [record]<class Slot, uint32_t>() {
        if constexpr (is_vector<Slot>) {
            if (void *block = member<void *>(record, Slot::at)) {
                Services::release(block, function_name<M, "_free_unpacked">::text);
                set_member<void *>(record, Slot::at, nullptr);
            }
        }
    });
    each_slot(typename M::slots{}, [record]<class Slot, uint32_t>() {
        if constexpr (is_table<Slot>)
            release_owned<typename Slot::message, Services>(record + Slot::at);
    });
}

} // namespace vorl
