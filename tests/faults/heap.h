// malloc and free of this program, which the library falls back to: watched, and failing on demand.
#pragma once

#include <cstdint>

namespace vorl::test {

struct heap {
    std::uint64_t fail_allocation_at = 0; ///< 1: the next; 0: none
    std::uint64_t allocations = 0;
    std::uint64_t bytes = 0; ///< asked for, in all
    std::uint64_t live_blocks = 0;
};

/// The heap as this program's own objects see it: while watched, every call of theirs counts.
heap &the_heap();
void watch_heap(bool on);

} // namespace vorl::test
