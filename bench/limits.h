// What the paths are measured against: copies of a size known when they were compiled, and calls that
// do everything but encode. In a library of their own, so that a call of them costs what a call of
// ours costs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorl::bench {

using copy_function = void (*)(void *to, const void *from);

/// Copies `size` bytes in moves of 16; null where libc's memcpy is the faster in any case.
[[gnu::visibility("default")]] copy_function constant_copy(size_t size);

/// Copies `count` times `size` bytes that lie behind one another.
using copies_function = void (*)(void *to, const void *from, size_t size, size_t count);

/// Each as constant_copy does, which knows the size; null where that is.
[[gnu::visibility("default")]] copies_function constant_copies(size_t size);

/// A send that encodes nothing: takes its arguments, fills a descriptor, calls the bus.
[[gnu::visibility("default")]] uint32_t bus_call_only(uint32_t dest, const void *rec,
                                                      uint32_t ignored, uint64_t to);
/// The same with a frame of `length` bytes from the heap, as frames beyond 1024 bytes have.
[[gnu::visibility("default")]] uint32_t bus_call_with_block(uint32_t dest, const void *rec,
                                                            uint32_t length, uint64_t to);
/// Each by a call of libc's memcpy.
[[gnu::visibility("default")]] void libc_copies(void *to, const void *from, size_t size,
                                                size_t count);

/// A send of `count` frames that copies them instead of encoding: takes a block for frames and
/// descriptors, copies, fills the descriptors, calls the bus, gives the block back.
[[gnu::visibility("default")]] uint32_t bus_call_with_copies(uint32_t dest, const void *frames,
                                                             uint32_t length, uint32_t count,
                                                             uint64_t to, copies_function copies);
[[gnu::visibility("default")]] uint32_t empty_call(uint32_t dest, const void *rec, uint32_t ignored,
                                                   uint64_t to);

} // namespace vorl::bench
