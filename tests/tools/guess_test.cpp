// Which messages some bytes can be: what wrote them is always among the likeliest.
#include <gtest/gtest.h>

#include <algorithm>

#include "inspect/encode.h"
#include "inspect/explain.h"
#include "inspect/guess.h"
#include "tests/codec/support/fixture.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"

using namespace vorl;
using inspect::encode;
using inspect::encoding;
using inspect::guess;

namespace {

TEST(guess, has_the_message_among_those_that_write_these_bytes)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        test::sample sample(*info, 1, 3);
        for (const encoding as : {encoding::frame, encoding::packed}) {
            const auto bytes = encode(*info, sample.record(), as);
            const auto found = guess(bytes);
            const auto at = std::find_if(found.begin(), found.end(),
                                         [m = info](const auto &c) { return &c.info->data == m; });
            ASSERT_NE(at, found.end()) << name_of(*info);
            EXPECT_FALSE(at->why_not);
            EXPECT_TRUE(at->is_as_written);
            EXPECT_TRUE(at->has_its_slots);
            EXPECT_EQ(at->stray, 0u) << name_of(*info);
            for (auto before = found.begin(); before != at; ++before)
                EXPECT_TRUE(before->is_as_written)
                    << name_of(before->info->data) << " before " << name_of(*info);
        }
        ++messages;
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(guess, names_all_messages_where_none_accepts)
{
    // A frame of srv6_bsid_fwd_key with a vtable of 13 bytes.
    const auto bytes = test::buffer_of("u32 table  table: u32 table-vtable  u32 1  u32 2  u32 3  "
                                       "vtable: u16 13  u16 16  u16 4  u16 8  u16 12  zeros 2");
    const auto found = guess(bytes);
    ASSERT_EQ(found.size(), test::counts::messages);
    for (const auto &c : found) {
        ASSERT_TRUE(c.why_not);
        EXPECT_STREQ(c.why_not->rule, "vtable length");
        EXPECT_EQ(c.why_not->at, 20u);
    }
}

// The most of a batch that is damaged in its second element is still that batch's.
TEST(guess, prefers_a_long_message_that_is_damaged_to_a_short_one_with_much_behind_it)
{
    const message &m = catalogue::find_message("srv6_localsid_fwd_update")->data;
    test::sample sample(m, 1, 2);
    auto bytes = encode(m, sample.record(), encoding::frame);
    const auto whole = inspect::explain(m, bytes);
    ASSERT_EQ(whole.tables.size(), 3u);
    bytes[whole.tables[2].at + 1] ^= 0x40; // the soffset of the second element
    const auto found = guess(bytes);
    ASSERT_TRUE(found[0].why_not);
    EXPECT_EQ(found[0].why_not->member, "f1[1]");
    bool is_among_the_first = false;
    for (std::size_t i = 0; i < 3; ++i)
        is_among_the_first = is_among_the_first || &found[i].info->data == &m;
    EXPECT_TRUE(is_among_the_first);
}

TEST(guess, counts_what_nothing_leads_to)
{
    auto bytes = test::buffer_of("u32 table  table: u32 table-vtable  u32 1  u32 2  u32 3  "
                                 "vtable: u16 10  u16 16  u16 4  u16 8  u16 12  zeros 2");
    bytes.insert(bytes.end(), {1, 2, 3});
    const auto found = guess(bytes);
    ASSERT_FALSE(found.empty());
    EXPECT_FALSE(found[0].is_as_written);
    EXPECT_TRUE(found[0].has_its_slots);
    EXPECT_EQ(found[0].stray, 5u); // with the two bytes of padding before them
}

} // namespace
