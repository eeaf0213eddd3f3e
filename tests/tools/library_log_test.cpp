// What the library logs when the program that loads it keeps its log.
#include <gtest/gtest.h>

#include "tests/codec/support/fixture.h"
#include "tests/support/functions.h"
#include "tools/vorl/library_log.h"

using namespace vorl;

TEST(library_log, is_kept)
{
    const message &m = catalogue::find_message("srv6_bsid_fwd_key")->data;
    const catalogue::message_functions &functions = test::functions_of(m);
    std::vector<std::uint64_t> record(2);
    // A root offset, and nothing there.
    const reference::bytes bad = test::buffer_of("u32 end+1  zeros 4");
    functions.unpack(bad.data(), 8, record.data());
    functions.unpack(bad.data(), 3, record.data());
    EXPECT_EQ(take_library_log(),
              (std::vector<std::string>{
                  "srv6_bsid_fwd_key_unpack_non_root: [ZELKO]:Table offset(9) is out of range(4 - "
                  "8)",
                  "srv6_bsid_fwd_key_unpack: [ZELKO]:Param invalid(nonNull, 3, nonNull)"}));
    EXPECT_TRUE(take_library_log().empty());
}
