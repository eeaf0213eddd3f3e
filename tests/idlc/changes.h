// What idlc compat prints, for tests.
#pragma once

#include <string>
#include <vector>

#include "tests/support/run.h"

namespace vorl::test {

/// The lines that tell of a change each.
inline std::vector<std::string> changes_of(const std::string &out)
{
    std::vector<std::string> changes;
    for (const std::string &line : lines_of(out)) {
        if (line.rfind("    ", 0) != 0)
            changes.push_back(line);
    }
    return changes;
}

} // namespace vorl::test
