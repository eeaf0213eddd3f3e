// What the library keeps in memory, at most what docs/integrators.md states. There is no lower bound: the
// kernel may take pages back at any time. Not in an emulator, whose mappings are not the router's.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "catalogue/functions.h"
#include "tests/abi/footprint.h"

namespace vorl::test {
namespace {

struct resident {
    std::uint64_t all = 0;            ///< KiB
    std::uint64_t of_the_process = 0; ///< KiB that no other process shares
};

/// Of the library's mappings in this process.
resident resident_now()
{
    std::ifstream maps("/proc/self/smaps");
    resident sum;
    bool is_ours = false;
    for (std::string line; std::getline(maps, line);) {
        std::uint64_t amount = 0;
        if (line.find('-') < line.find(' '))
            is_ours = line.find("libvorl_srv6.so") != std::string::npos;
        else if (is_ours && std::sscanf(line.c_str(), "Rss: %lu kB", &amount) == 1)
            sum.all += amount;
        else if (is_ours && std::sscanf(line.c_str(), "Private_Dirty: %lu kB", &amount) == 1)
            sum.of_the_process += amount;
    }
    return sum;
}

TEST(resident, memory_is_at_most_what_is_stated)
{
    library();
    const resident loaded = resident_now();
    for (const catalogue::package_info *package : catalogue::packages)
        ASSERT_EQ(catalogue::functions_of(*package, library()).recv_init(), 0U);
    const resident registered = resident_now();
    expect_at_most_stated("resident after load: KiB", loaded.all);
    expect_at_most_stated("of these in the process alone: KiB", loaded.of_the_process);
    expect_at_most_stated("resident after the three `_recv_init`: KiB", registered.all);
}

} // namespace
} // namespace vorl::test
