// How a target says that something is wrong.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vorl::fuzz {

/// Ends the process: the input that is running is kept as a finding.
[[noreturn]] inline void finding(const std::string &text)
{
    std::fprintf(stderr, "finding: %s\n", text.c_str());
    std::abort();
}

inline void check(bool holds, const char *what)
{
    if (!holds)
        finding(what);
}

} // namespace vorl::fuzz
