// How much memory the log filter touches. A program of its own: the most that a process ever had is
// never less afterwards.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>

#include "tools/vorl/log_filter.h"

using namespace vorl;

namespace {

TEST(log_resident, a_line_without_end_takes_little_memory)
{
    const std::string text = "srv6_class_item_unpack [ZELKO]:Param invalid(null, 9, null) ";
    std::string piece;
    while (piece.size() < log_filter::window)
        piece += text;
    const auto peak_kilobytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    std::size_t passed = 0;
    log_filter filter(
        {}, [&passed](std::string_view bytes) { passed += bytes.size(); },
        [](std::size_t, const std::string &) {});
    const auto before = peak_kilobytes();
    constexpr std::size_t pieces = 500;
    for (std::size_t i = 0; i < pieces; ++i)
        filter.feed(piece);
    // 32,800,000 bytes and more.
    EXPECT_EQ(passed, pieces * piece.size());
    EXPECT_LT(peak_kilobytes() - before, 20000);
}

} // namespace
