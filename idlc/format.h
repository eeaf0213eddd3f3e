// A description in its one format (docs/idl.md): what idlc makes of it stays the same, byte for byte.
#pragma once

#include <string>

#include "faults.h"

namespace idlc {

/// The text is one that parse() takes without a fault.
std::string formatted(const source &from);

/// The first line in which two texts differ, from 1; 0: they are the same.
std::size_t first_difference(const std::string &a, const std::string &b);

} // namespace idlc
