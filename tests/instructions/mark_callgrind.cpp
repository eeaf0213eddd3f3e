// callgrind writes a dump a path, which bears the path's name.
#include <valgrind/callgrind.h>

#include "tests/instructions/mark.h"

namespace vorl::instructions {

void begin_path() { CALLGRIND_ZERO_STATS; }

void end_path(const std::string &path) { CALLGRIND_DUMP_STATS_AT(path.c_str()); }

} // namespace vorl::instructions
