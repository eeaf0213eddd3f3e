// The options of vorl explain.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/vorl/commands.h"

namespace vorl::commands {

/// `vorl explain --log [LINE...]`.
void add_explain_log(CLI::App &command, explain_log_options &options);

} // namespace vorl::commands
