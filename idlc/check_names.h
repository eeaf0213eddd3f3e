// Names of packages, messages and slots, and what is generated from them.
#pragma once

#include <vector>

#include "faults.h"
#include "model.h"

namespace idlc {

/// Whether the message's name begins with that of its package, and goes on behind an underscore.
bool is_of(const package &p, const message &m);

void check_names(std::vector<package> &packages, faults &to);

/// No two things may bring one identifier into the generated files, nor two packages one file.
void check_generated_names(const std::vector<package> &packages, faults &to);

} // namespace idlc
