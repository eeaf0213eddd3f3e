// The platform's bounded functions, memset_s and memcpy_s, where the process has them.
#pragma once

#include <stddef.h>

extern "C" {
// Weak: null in a process that has none.
[[gnu::weak]] int memset_s(void *to, size_t capacity, int value, size_t count);
[[gnu::weak]] int memcpy_s(void *to, size_t capacity, const void *from, size_t count);
}

namespace vorl {

/// `size` zeros at `to`. Non-zero: there is no memset_s, or it refused, whatever it has written to
/// those bytes by then; the caller writes all of them.
[[gnu::always_inline]] inline int set_zero(void *to, size_t size)
{
    return memset_s != nullptr ? memset_s(to, size, 0, size) : 1;
}

/// The same, of `size` bytes from `from` and memcpy_s.
[[gnu::always_inline]] inline int copy_bytes(void *to, const void *from, size_t size)
{
    return memcpy_s != nullptr ? memcpy_s(to, size, from, size) : 1;
}

} // namespace vorl
