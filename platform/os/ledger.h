// The blocks of both allocators: who took them, and whether they come back as they must.
#pragma once

#include <stdint.h>

namespace vorl::platform {

enum class allocator : uint8_t { main, cache };

/// A block of `size` bytes, aligned for anything, filled with 0xA5. Null when there is no memory or
/// the environment says so.
[[gnu::visibility("default")]] void *take_block(allocator from, uint32_t size, uint32_t id,
                                                const char *tag);

/// Takes a block back and checks that it may come back so. What is not a live block is left alone.
[[gnu::visibility("default")]] void return_block(void *block, uint32_t id, const char *tag);

} // namespace vorl::platform
