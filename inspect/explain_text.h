// An explanation as people read it: a line of the bytes' offset, the bytes, and what they are.
//
//   OFFSET  BYTES                   MEANING
//   0x0000  04 00 00 00             root offset: the table is at 0x0004
#pragma once

#include <iosfwd>

#include "inspect/explain.h"

namespace vorl::inspect {

enum class colours : bool { none, terminal };

/// Of a long body the first 64 bytes are shown, and how many more there are.
void write_text(const explanation &e, std::ostream &out, colours use,
                const labels *names = nullptr);

} // namespace vorl::inspect
