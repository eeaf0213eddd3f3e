// A frame into the ring.
#pragma once

#include "capture/ring.h"

namespace vorl::tap {

/// Nanoseconds of CLOCK_MONOTONIC.
uint64_t now();

/// Of this thread; asked for once a thread.
uint32_t thread_number();
/// In a forked child the thread has another.
void forget_thread();

struct seen_frame {
    uint64_t time;
    uint64_t handle = 0;
    const void *data;
    uint32_t length;
    uint32_t flags; ///< of ring::entry, without the thread
    uint32_t destination = 0;
    uint32_t identifier;
    uint32_t result = 0;
    uint32_t index = 0;
    uint32_t of_send = 1;
};

/// Whether the list of a filter has it; an empty one has all.
inline bool has(const std::atomic<uint32_t> &count, const std::atomic<uint32_t> *list,
                uint32_t wanted)
{
    const uint32_t size = count.load(std::memory_order_relaxed);
    bool found = size == 0;
    for (uint32_t i = 0; i < size && i < ring::filter::room; ++i)
        found |= list[i].load(std::memory_order_relaxed) == wanted;
    return found;
}

inline const ring::filter &filter_of(const ring::header &r)
{
    return r.settings.filters[r.settings.which.load(std::memory_order_acquire) & 1];
}

/// No lock, no allocation, no system call.
void record(ring::header &to, const seen_frame &f);

} // namespace vorl::tap
