// A platform that orders nothing: no lock, counters that are relaxed atomics. What one thread sees of another here it
// has from the library, or from the test's own barriers.
#pragma once

#include <atomic>
#include <cstdint>

#include "runtime/bus.h"

namespace vorl::test {

struct counters {
    std::atomic<std::uint64_t> lookups{0};
    std::atomic<std::uint64_t> logs{0};
    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::uint64_t> allocations{0};
    std::atomic<std::uint64_t> releases{0};
    std::atomic<std::uint64_t> foreign{0}; ///< blocks or ids that are not of this platform
};
extern counters counted;

/// Sees every frame that the bus is handed, in the sending thread. Set before any thread starts.
extern void (*on_frame)(const frame_desc &desc);

} // namespace vorl::test
