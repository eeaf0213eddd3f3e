// Where a message's slots lie, in its record and in its frame.
#pragma once

#include "faults.h"
#include "model.h"

namespace idlc {

/// Those that the message holds are laid out already. A message that is too large is reported, and
/// marked as faulty.
void lay_out(const package &p, message &m, faults &to);

} // namespace idlc
