// What the sends of all messages have in common.
#include "tests/api/sending.h"

namespace vorl::test {
namespace {

using send_all = sending;

TEST_F(send_all, the_bus_result_is_passed_through)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(m.info->name);
        sample in(*m.info, 2, 1);
        for (const std::uint32_t result : {0u, 1u, 42u, 0x80000000u, 0xFFFFFFFFu}) {
            the_platform().bus_result = result;
            for (const std::uint64_t to : some_targets) {
                for (const single_way &way : single_ways)
                    EXPECT_EQ(way.send(*m.info, in.record(), to), result);
                for (const batch_way &way : batch_ways)
                    EXPECT_EQ(way.send(*m.info, in.record(), 2, to), result);
            }
        }
        EXPECT_EQ(the_platform().live_blocks, 0u);
    }
}

TEST_F(send_all, no_records)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(m.info->name);
        the_platform().forget_calls();
        the_platform().bus_result = 5;
        EXPECT_EQ(m.info->functions.sendmsg(some_dest, nullptr, 0), not_sent);
        EXPECT_EQ(m.info->functions.sendtomsg(some_dest, nullptr, 0, 0), not_sent);
        EXPECT_EQ(m.info->functions.sendtomsg(some_dest, nullptr, 0, some_target), not_sent);
        EXPECT_TRUE(the_platform().memory.empty());
        expect_nothing_sent();

        // A batch of none is handed to the bus all the same; the frame area of a variable-size
        // message has one size.
        for (const std::uint64_t to : some_targets) {
            the_platform().forget_calls();
            EXPECT_EQ(m.info->functions.sendbatch(some_dest, nullptr, 0, to), 5u);
            expect_addressed(only_call(), to, 0);
            expect_one_block(m.fact->is_fixed_size() ? 0 : 65536,
                             std::string(m.fact->name) + "__sendbatch");
        }
    }
}

} // namespace
} // namespace vorl::test
