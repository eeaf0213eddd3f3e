// What the benchmark runs on.
#pragma once

#include <cstddef>
#include <string>

namespace vorl::bench {

/// The name of a core, with the numbers that tell it from others of that name.
std::string processor(int core);

/// Bytes; 0: the system does not say.
size_t cache_size(int level);

/// Stays on the last of the cores that we may use, because the first ones have the interrupts.
/// Returns its number.
int stay_on_one_core();

} // namespace vorl::bench
