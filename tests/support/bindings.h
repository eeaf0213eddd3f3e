// For programs that have the library's objects linked in: its hidden state.
#pragma once

#include "runtime/serial_ctx.h"

namespace vorl::test {

/// Puts all six blocks and flags back as they were at load time.
void forget_bindings();

/// Makes all six sides use the byte-swapped branches: binds the caches, then sets the flags. Undone by forget_bindings().
void swap_bytes();

} // namespace vorl::test
