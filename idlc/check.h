// What the grammar cannot say: names, references, identifiers, sizes.
#pragma once

#include <vector>

#include "faults.h"
#include "model.h"

namespace idlc {

/// FNV-1a, 32 bit: offset basis 0x811C9DC5, prime 0x01000193 (the constants of the algorithm's
/// authors).
std::uint32_t fnv1a(const std::string &text);

/// Resolves every reference, gives every message its msg_id, orders each package by dependency and
/// lays out every record and frame. All packages that share a bus are checked together, because
/// identifiers must differ across them. Each fault is added to `to`; what only follows from one is
/// not. The packages must stay where they are afterwards (references point into them).
void check(std::vector<package> &packages, faults &to);

} // namespace idlc
