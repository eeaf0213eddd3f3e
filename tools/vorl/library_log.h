// The library's log lines. The program that links this exports ZDT_OsalLogWrite, which the library
// looks up in the global scope, so that what would go to the router's log is kept here instead.
#pragma once

#include <string>
#include <vector>

namespace vorl {

/// The lines logged since the last call, oldest first, as "function: text". Any thread.
std::vector<std::string> take_library_log();

} // namespace vorl
