// __sendmsg and __sendtomsg are __sendsingle or __sendbatch, by the number of records.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "api/send.h"

namespace vorl::test {
namespace {

// __sendsingle ignores its third argument, which a message that is sent by number passes as 0.
TEST(send_by_count, one_record_is_sent_single_and_more_as_a_batch)
{
    struct record {
        int value;
    };
    static std::vector<std::uint64_t> passed;
    const auto single = [](std::uint32_t dest, const record *r, std::uint32_t ignored,
                           std::uint64_t to) {
        passed = {1, dest, static_cast<std::uint64_t>(r->value), ignored, to};
        return std::uint32_t{11};
    };
    const auto batch = [](std::uint32_t dest, const record *r, std::uint32_t count,
                          std::uint64_t to) {
        passed = {2, dest, static_cast<std::uint64_t>(r->value), count, to};
        return std::uint32_t{12};
    };
    const record some[] = {{5}, {6}, {7}};
    EXPECT_EQ(send_by_count(3, some, 1, 9, +single, +batch), 11u);
    EXPECT_EQ(passed, (std::vector<std::uint64_t>{1, 3, 5, 0, 9}));
    for (const std::uint32_t count : {2u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(send_by_count(3, some, count, 9, +single, +batch), 12u);
        EXPECT_EQ(passed, (std::vector<std::uint64_t>{2, 3, 5, count, 9}));
    }
    passed.clear();
    EXPECT_EQ(send_by_count(3, some, 0, 9, +single, +batch), 0xFFFFFFFFu);
    EXPECT_TRUE(passed.empty());
}

} // namespace
} // namespace vorl::test
