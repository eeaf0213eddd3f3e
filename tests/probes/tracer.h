// A tracer of its own process: it does with the probes of a library what a tracer with privileges does
// from outside. A breakpoint is put on the instruction of each, and when one is reached, the arguments
// are taken from where the note says that they are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/probes/sites.h"

namespace vorl::test {

struct probe_hit {
    std::string name;
    std::vector<std::uint64_t> arguments;

    bool operator==(const probe_hit &) const = default;
};

/// Attaches to the probes of the library that has `function`, for as long as the process lives.
/// `sites` are those of its file.
void attach_to(const void *function, const std::vector<probe_site> &sites);

/// What was hit since the last call.
std::vector<probe_hit> take_hits();

} // namespace vorl::test
