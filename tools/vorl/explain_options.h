// The options of vorl explain, whose two uses, frames and lines of a log, share a command.
#pragma once

#include <CLI/CLI.hpp>

namespace vorl::commands {

void add_explain(CLI::App &app, int &status);

} // namespace vorl::commands
