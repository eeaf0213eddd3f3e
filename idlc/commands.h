// The commands. Each takes the arguments behind its name, and returns the exit status.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "faults.h"
#include "model.h"

namespace idlc {

int run_compile(std::span<const std::string> given);
int run_fmt(std::span<const std::string> given);
int run_compat(std::span<const std::string> given);

/// All packages that share a bus, parsed and checked. What is wrong is added to `to`.
std::vector<package> compile(std::span<const source> sources, faults &to);

} // namespace idlc
