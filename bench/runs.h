// Runs: each a process of its own, because where a process happens to have its stack, its heap and its
// code moves times by some percent for as long as it lives. What is reported is the median of runs.
#pragma once

#include <functional>
#include <string>

namespace vorl::bench {

/// Starts this program again, once a run, with --run NUMBER behind its arguments, and waits for it.
/// Where a program cannot start itself, as in an emulator, `measure` is called in a copy of this
/// process. False when one failed; then there are no more.
bool in_processes(int runs, char **arguments, const std::function<void(int)> &measure);

} // namespace vorl::bench
