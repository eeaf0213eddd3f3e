// How much memory an explanation touches. A program of its own: the most that a process ever had is
// never less afterwards.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "catalogue/catalogue.h"
#include "inspect/explain.h"
#include "tests/tools/many_records.h"

using namespace vorl;

namespace {

TEST(explain_resident, many_records_take_little_memory)
{
    const message &m = catalogue::find_message("srv6_cfg_query_dfx_rec")->data;
    const bytes input = test::one_item_many_times(60000);
    const auto peak_kilobytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const auto before = peak_kilobytes();
    EXPECT_TRUE(inspect::explain(m, input).damages.empty());
    // The records are 994,320,000 bytes.
    EXPECT_LT(peak_kilobytes() - before, 100000);
}

} // namespace
