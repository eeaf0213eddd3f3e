// A file of frames, in any form that people have them in.
#pragma once

#include <functional>
#include <string>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl {

/// Calls `take` for each frame of the file, "-" for standard input; it returns false for a frame
/// that is refused, which it has said. False: a frame was refused. Throws std::runtime_error when
/// the file cannot be read, or holds none.
bool each_frame(const std::string &file, const dump_options &form,
                const std::function<bool(const std::string &place, const bytes &frame)> &take);

} // namespace vorl
