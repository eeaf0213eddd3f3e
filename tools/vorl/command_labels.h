// vorl labels, and the option by which other commands take labels.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vorl::commands {

void add_labels(CLI::App &app, int &status);

/// --labels FILE.
void add_labels_option(CLI::App &command, std::string &file);

} // namespace vorl::commands
