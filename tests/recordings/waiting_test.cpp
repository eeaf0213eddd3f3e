// Items that wait: in memory, and in a file where they are many.
#include <gtest/gtest.h>

#include <memory>

#include "tools/vorl/diff/waiting.h"

using namespace vorl;
using namespace vorl::diff;

namespace {

item numbered(std::uint64_t number)
{
    item i;
    i.place = "packet " + std::to_string(number);
    i.has_facts = number % 2 == 0;
    i.way = number % 3 == 0 ? capture::direction::received : capture::direction::sent;
    i.process = static_cast<std::uint32_t>(number);
    i.identifier = static_cast<std::uint32_t>(number * 7);
    i.length = static_cast<std::uint32_t>(number % 100);
    i.is_text = number % 5 == 0;
    i.content = std::string(number % 300, static_cast<char>(number));
    return i;
}

void expect_same(const item &a, const item &b)
{
    EXPECT_EQ(a.place, b.place);
    EXPECT_EQ(a.has_facts, b.has_facts);
    EXPECT_EQ(a.way, b.way);
    EXPECT_EQ(a.process, b.process);
    EXPECT_EQ(a.identifier, b.identifier);
    EXPECT_EQ(a.length, b.length);
    EXPECT_EQ(a.is_text, b.is_text);
    EXPECT_EQ(a.content, b.content);
}

} // namespace

TEST(waiting, items_come_out_as_they_went_in_whatever_waits_in_the_file)
{
    constexpr std::uint64_t bound = 20'000;
    item_store store(bound);
    item_queue a(store), b(store);
    std::uint64_t in[2] = {0, 0}, out[2] = {0, 0}, most = 0;
    item_queue *const queues[] = {&a, &b};
    // More goes in than comes out, then all comes out.
    for (std::uint64_t step = 0; step < 20'000; ++step) {
        const std::size_t which = step % 3 == 0 ? 1 : 0;
        queues[which]->push(numbered(in[which]++));
        if (step % 7 == 0 && !a.empty())
            expect_same(a.pop(), numbered(out[0]++));
        if (step % 11 == 0 && !b.empty())
            expect_same(b.pop(), numbered(out[1]++));
        most = std::max(most, store.in_memory());
    }
    for (const std::size_t which : {1, 0}) {
        while (!queues[which]->empty()) {
            expect_same(queues[which]->pop(), numbered(out[which]++));
            most = std::max(most, store.in_memory());
        }
    }
    EXPECT_EQ(in[0] + in[1], 20'000U);
    EXPECT_EQ(out[0], in[0]);
    EXPECT_EQ(out[1], in[1]);
    EXPECT_EQ(store.in_memory(), 0U);
    EXPECT_GT(store.in_file(), 1'000'000U);
    EXPECT_LE(most, bound + 2 * 200'000); // and a piece of the file for each queue
}

TEST(waiting, few_items_need_no_file)
{
    item_store store;
    item_queue q(store);
    for (std::uint64_t i = 0; i < 1'000; ++i)
        q.push(numbered(i));
    for (std::uint64_t i = 0; i < 1'000; ++i)
        expect_same(q.pop(), numbered(i));
    EXPECT_TRUE(q.empty());
    EXPECT_EQ(store.in_file(), 0U);
}
