// A text of frames, line by line: of which form each line is.
#pragma once

#include <istream>

#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

void read_text(std::istream &in, reading &to);

} // namespace vorl::dumps
