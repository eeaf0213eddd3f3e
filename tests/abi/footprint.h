// The figures of docs/integrators.md, and what is measured held to them.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/abi/readelf.h"

namespace vorl::test {

/// The figure of a row of the page's table, for this machine.
inline std::uint64_t stated(const std::string &row)
{
    const std::string page = content(std::string(PROJECT_ROOT) + "/docs/integrators.md");
    const std::size_t at = page.find("\n| " + row + " | ");
    if (at == std::string::npos)
        throw std::runtime_error("docs/integrators.md has no row \"" + row + "\"");
    const std::string line = page.substr(at + 1, page.find('\n', at + 1) - at - 1);
    const std::regex form(R"(\| .* \| ([\d,]+) \| ([\d,]+|not measured) \|)");
    std::smatch figures;
    if (!std::regex_match(line, figures, form))
        throw std::runtime_error("docs/integrators.md: not two figures: " + line);
    std::string digits = figures[machine() == "AArch64" ? 2 : 1];
    std::erase(digits, ',');
    return std::stoull(digits);
}

inline void expect_at_most_stated(const std::string &row, std::uint64_t measured)
{
    EXPECT_LE(measured, stated(row)) << row;
    EXPECT_GT(measured, 0U) << row;
    std::printf("%s: %llu\n", row.c_str(), static_cast<unsigned long long>(measured));
}

inline void expect_stated(const std::string &row, std::uint64_t measured)
{
    expect_at_most_stated(row, measured);
    EXPECT_GE(2 * measured, stated(row)) << row;
}

inline void *library()
{
    static void *const opened = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr)
        throw std::runtime_error(dlerror());
    return opened;
}

} // namespace vorl::test
