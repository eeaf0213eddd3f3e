// Descriptions as they were in a revision of a git repository.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "faults.h"

namespace idlc {

/// Of "REV:PATH", as git writes it: the description PATH, or all below it. Files are named so, too.
/// Throws file_error where git cannot be run, and for what git refuses.
std::vector<source> descriptions_of(const std::string &revision_and_path);

/// What `path` was in the revision: of a description, or a directory, in a work tree. It need not be
/// there any more, but its directory.
std::vector<source> descriptions_of(const std::string &revision, const std::string &path);

/// Whether a name is a revision and a path, rather than a file.
bool is_revision_and_path(const std::string &name);

} // namespace idlc
