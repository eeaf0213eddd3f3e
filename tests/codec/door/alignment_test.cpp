// Buffers at any address: packed into and read from every position modulo 16.
#include <gtest/gtest.h>

#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

constexpr std::size_t margin = 16;

TEST(alignment, buffers_at_any_address)
{
    random_source random(11);
    for_all_messages([&random](const message &m, order o) {
        const sample s = sample::random(m, random, 2);
        const bytes expected = reference::pack(m, s.data(), o);
        const bytes before(s.type().record_size);
        std::vector<std::uint64_t> aligned(expected.size() / 8 + 8);
        auto *const memory = reinterpret_cast<std::uint8_t *>(aligned.data());
        for (std::size_t offset = 0; offset < 16; ++offset) {
            SCOPED_TRACE("offset " + std::to_string(offset));
            std::fill_n(memory, expected.size() + margin + 16, std::uint8_t{0xEE});
            auto length = static_cast<std::uint32_t>(expected.size());
            ASSERT_EQ(functions_of(m).pack(s.data(), memory + offset, &length), 0u);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), memory + offset));
            ASSERT_TRUE(std::all_of(memory, memory + offset,
                                    [](std::uint8_t byte) { return byte == 0xEE; }));
            ASSERT_TRUE(std::all_of(memory + offset + expected.size(),
                                    memory + expected.size() + margin + 16,
                                    [](std::uint8_t byte) { return byte == 0xEE; }));

            const unpacked u(m, memory + offset, static_cast<std::int32_t>(expected.size()));
            ASSERT_EQ(meaning(m, u.record()), meaning(m, s.data()));
            ASSERT_TRUE(u.what().logs.empty());
        }
    });
}

TEST(alignment, frames_at_any_address)
{
    random_source random(12);
    for_all_messages([&random](const message &m, order o) {
        if (!is_fixed_size(m))
            return;
        const sample s = sample::random(m, random);
        const bytes frame = reference::frame(m, s.data(), o);
        std::vector<std::uint64_t> aligned(frame.size() / 8 + 4);
        auto *const memory = reinterpret_cast<std::uint8_t *>(aligned.data());
        for (std::size_t offset = 0; offset < 16; ++offset) {
            std::copy(frame.begin(), frame.end(), memory + offset);
            const unpacked u(m, memory + offset, static_cast<std::int32_t>(frame.size()));
            ASSERT_EQ(meaning(m, u.record()), meaning(m, s.data())) << offset;
        }
    });
}

} // namespace
} // namespace vorl::test
