// Frames of a capture, put together to the sends that they were of.
#include <gtest/gtest.h>

#include "tests/capture/captures.h"
#include "tools/vorl/replay/sends.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::replay;

namespace {

struct place {
    std::uint32_t thread;
    std::uint64_t time;
    std::uint32_t index;
    std::uint32_t of_send;
};

void add(send_queue &to, std::uint64_t packet, const place &p, bool is_wanted = true,
         std::size_t size = 8)
{
    capture::captured c{packet, 0, true, frame_of(packet, pattern(size))};
    c.found.facts.thread = p.thread;
    c.found.facts.time = p.time;
    c.found.facts.index = p.index;
    c.found.facts.of_send = p.of_send;
    to.add(std::move(c), is_wanted);
}

/// The packets of each send that is over: "1 2 | 3".
std::string over(send_queue &from)
{
    std::string all;
    while (const std::optional<send> next = from.next()) {
        all += all.empty() ? "" : " | ";
        for (std::size_t i = 0; i < next->frames.size(); ++i)
            all += (i == 0 ? "" : " ") + std::to_string(next->frames[i].packet);
        all += next->is_part ? " ..." : "";
    }
    return all;
}

} // namespace

TEST(sends, a_batch_is_put_together_with_other_threads_in_between)
{
    send_queue q;
    add(q, 1, {1, 100, 0, 3});
    EXPECT_EQ(over(q), "");
    add(q, 2, {2, 101, 0, 1});
    add(q, 3, {1, 100, 1, 3});
    EXPECT_EQ(over(q), ""); // the other thread's send waits
    add(q, 4, {1, 100, 2, 3});
    EXPECT_EQ(over(q), "1 3 4 | 2");
    q.end();
    EXPECT_EQ(over(q), "");
}

TEST(sends, what_is_not_wanted_ends_its_batch_all_the_same)
{
    send_queue q;
    add(q, 1, {1, 100, 0, 3});
    add(q, 2, {1, 100, 1, 3}, false);
    add(q, 3, {1, 100, 2, 3}, false);
    EXPECT_EQ(over(q), "1");
    add(q, 4, {1, 200, 0, 1}, false);
    EXPECT_EQ(over(q), "");
}

TEST(sends, a_batch_whose_end_was_lost_is_over_with_the_threads_next_send)
{
    send_queue q;
    add(q, 1, {1, 100, 0, 3});
    add(q, 2, {1, 200, 0, 3});
    EXPECT_EQ(over(q), "1");
    add(q, 3, {1, 200, 0, 3}); // of the same time, from its start
    EXPECT_EQ(over(q), "2");
    q.end();
    EXPECT_EQ(over(q), "3");
}

TEST(sends, a_batch_whose_end_was_lost_is_over_a_second_later)
{
    send_queue q;
    add(q, 1, {1, 100, 0, 3});
    add(q, 2, {2, 100 + 999'999'999, 0, 1});
    EXPECT_EQ(over(q), "");
    add(q, 3, {2, 100 + 1'000'000'000, 0, 1});
    EXPECT_EQ(over(q), "1 | 2 | 3");
}

TEST(sends, what_waits_is_bounded)
{
    send_queue q(9'000);
    for (std::uint64_t packet = 1; packet <= 4; ++packet) {
        add(q, packet, {1, 100, static_cast<std::uint32_t>(packet - 1), 0xFFFFFFFF}, true, 3'000);
        EXPECT_EQ(over(q), packet == 3 ? "1 2 3 ..." : "") << packet;
    }
    q.end();
    EXPECT_EQ(over(q), "4");
}

// A damaged file may hold any number of batches of which one frame is there.
TEST(sends, batches_without_end_are_bounded_too)
{
    send_queue q(100'000);
    std::uint64_t given = 0;
    for (std::uint32_t thread = 0; thread < 100'000; ++thread) {
        add(q, thread + 1, {thread, 100, 0, 2}, false);
        add(q, thread + 1, {thread, 100, 1, 3}, true);
        while (q.next())
            ++given;
    }
    EXPECT_GT(given, 99'000U);
}
