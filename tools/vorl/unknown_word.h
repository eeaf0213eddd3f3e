// The word of a command line that is no command and no option, named with what may have been meant.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vorl::commands {

/// After `app` refused a command line: "vorl send: there is no option --wiat; did you mean --wait?".
/// Empty: that was not why.
std::string unknown_word(const CLI::App &app);

} // namespace vorl::commands
