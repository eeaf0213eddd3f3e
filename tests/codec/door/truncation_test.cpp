// Every message, framed and packed, cut short at every byte, the last byte that remains being the
// last that may be read. The record, the log and the memory must be what the reference has. Where a
// buffer is long, the cuts are at every position that some check looks at, one before and one
// after, and at a stride in between.
#include <gtest/gtest.h>

#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

constexpr std::size_t every_byte_up_to = 1024;
constexpr std::size_t stride = 61;

std::set<std::size_t> cuts_of(const message &m, const bytes &whole, order o)
{
    std::set<std::uint64_t> edges;
    expected_unpack(m, whole, o, 0, 0, &edges);
    std::set<std::size_t> cuts;
    for (std::size_t size = 0; size <= whole.size(); size += size < every_byte_up_to ? 1 : stride)
        cuts.insert(size);
    for (const std::uint64_t edge : edges) {
        for (const std::uint64_t size : {edge - 1, edge, edge + 1}) {
            if (size <= whole.size())
                cuts.insert(size);
        }
    }
    return cuts;
}

void check_cuts(const message &m, const bytes &whole, order o, guarded_buffer &memory)
{
    for (const std::size_t size : cuts_of(m, whole, o)) {
        const auto cut = std::span(whole).first(size);
        ASSERT_EQ(reading_difference(m, {memory.holding(cut), size}, o), "")
            << size << " of " << whole.size();
    }
}

TEST(truncation, packed)
{
    random_source random(8);
    guarded_buffer memory(65536);
    for_all_messages([&](const message &m, order o) {
        check_cuts(m, reference::pack(m, sample::ones(m).data(), o), o, memory);
        check_cuts(m, reference::pack(m, sample::random(m, random).data(), o), o, memory);
    });
}

TEST(truncation, framed)
{
    random_source random(9);
    guarded_buffer memory(65536);
    for_all_messages([&](const message &m, order o) {
        if (is_fixed_size(m))
            check_cuts(m, reference::frame(m, sample::random(m, random).data(), o), o, memory);
    });
}

} // namespace
} // namespace vorl::test
