// The hooks that are wrapped, for the dictionary of a new ring.
#pragma once

#include "capture/ring.h"

namespace vorl::tap {

void describe_hooks(ring::header &to);

/// A forked child's: whoever registered in the parent is not here.
void forget_registering();

} // namespace vorl::tap
