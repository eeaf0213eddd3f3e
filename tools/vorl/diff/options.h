// vorl diff on the command line.
#pragma once

#include <CLI/CLI.hpp>

namespace vorl::commands {

/// Adds the command; its exit status goes to `status`.
void add_diff(CLI::App &app, int &status);

} // namespace vorl::commands
