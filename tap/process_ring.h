// The ring of this process: made at its first use of the bus, and anew in a forked child.
#pragma once

#include "capture/ring.h"

namespace vorl::tap {

/// Null: there is none yet, or it could not be made.
extern std::atomic<ring::header *> process_ring;

/// Makes the ring, unless another thread is at it or it could not be made. Leaves errno alone.
ring::header *make_ring();

/// A forked child's: the ring is the parent's.
void forget_ring();

/// Null: nothing is to be recorded now.
inline ring::header *recording_ring()
{
    ring::header *found = process_ring.load(std::memory_order_acquire);
    if (found == nullptr) [[unlikely]]
        found = make_ring();
    return found != nullptr && found->settings.on.load(std::memory_order_relaxed) != 0 ? found
                                                                                       : nullptr;
}

/// Adds to the dictionary, as long as there is room.
void add_to_dictionary(ring::header &to, ring::dictionary_entry::kind_type kind,
                       uint32_t identifier, const char *text);

/// A line on standard error: "vorl-tap: process N: " and the parts, one behind the other.
void report(const char *what, const char *name = "", const char *more = "", const char *why = "",
            const char *rest = "");

} // namespace vorl::tap
