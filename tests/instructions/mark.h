// The marks around what is counted. Whatever counts instructions runs the driver, looks out for these
// marks, and keeps one count a path: mark_callgrind.cpp and mark_qemu.cpp say how.
#pragma once

#include <string>

namespace vorl::instructions {

/// From here on instructions count for the path that is named next.
void begin_path();

/// The count so far is that of `path`.
void end_path(const std::string &path);

} // namespace vorl::instructions
