// tests/abi/exports.txt, the names that the shared library exports, and how others differ from it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace vorl::test {

inline constexpr const char *sort_exports =
    "sort it: LC_ALL=C sort -u -o tests/abi/exports.txt tests/abi/exports.txt";

inline std::vector<std::string> listed_exports(const char *path) { return lines_of(content(path)); }

/// Expects the list to name what was found and nothing else. A failure has a line for each other
/// name, to be copied into the list.
inline void expect_listed(const std::vector<std::string> &listed,
                          const std::set<std::string> &found)
{
    const std::set<std::string> names(listed.begin(), listed.end());
    const auto only_in = [](const std::set<std::string> &one, const std::set<std::string> &other,
                            const std::string &heading) {
        std::vector<std::string> only;
        std::set_difference(one.begin(), one.end(), other.begin(), other.end(),
                            std::back_inserter(only));
        std::string text = only.empty() ? "" : heading;
        for (const std::string &name : only)
            text += name + "\n";
        return text;
    };
    const std::string text =
        only_in(found, names, "exported, but not in tests/abi/exports.txt; add:\n") +
        only_in(names, found, "in tests/abi/exports.txt, but not exported; remove:\n");
    if (!text.empty())
        ADD_FAILURE() << text << "and " << sort_exports;
}

} // namespace vorl::test
