// Labels files (docs/labels.md), as compat wants them.
#pragma once

#include <string>

#include "compat.h"

namespace idlc {

/// The labels of that file. What is wrong with it is said on standard error, and left out. They are
/// of the messages that this program was built with. Throws file_error where the file cannot be
/// read, usage_error where this program was built without the reader of such files.
labels labels_of(const std::string &path);

} // namespace idlc
