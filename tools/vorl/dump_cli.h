// The options of every command that reads frames as people have them (dumps/read_frames.h).
#pragma once

#include <CLI/CLI.hpp>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::commands {

/// --form, --hex, --binary, --lines, --one-frame, --skip.
void add_dump_options(CLI::App &command, dump_options &options);

/// Of the footer of such a command: the forms, and when lines are one frame.
extern const char *const dump_help;

} // namespace vorl::commands
