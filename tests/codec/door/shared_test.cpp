// The codecs as a user has them: through the shared library's exported functions.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/codec/support/library.h"

namespace vorl::test {
namespace {

template <class Work>
void for_all_messages(Work &&work)
{
    for (const message *m : all_messages()) {
        SCOPED_TRACE(name_of(*m));
        work(*m);
    }
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

void expect_same_reading(const message &m, std::span<const std::uint8_t> buffer,
                         guarded_buffer &memory, std::uint32_t fail_allocation_at = 0)
{
    ASSERT_EQ(reading_difference(m, {memory.holding(buffer), buffer.size()}, order::little, 0xEE,
                                 fail_allocation_at),
              "")
        << buffer.size() << " bytes";
}

TEST(shared, packs)
{
    random_source random(13);
    guarded_buffer memory(131072);
    for_all_messages([&](const message &m) {
        for (const sample &s : {sample::zeros(m), sample::ones(m), sample::random(m, random)}) {
            const bytes packed = library_pack(s);
            ASSERT_EQ(hex(packed), hex(reference::pack(m, s.data(), order::little)));
            expect_same_reading(m, packed, memory);
            expect_same_reading(m, packed, memory, 1);
            expect_same_reading(m, packed, memory, 2);
            const unpacked back(m, packed.data(), static_cast<std::int32_t>(packed.size()));
            EXPECT_EQ(meaning(m, back.record()), meaning(m, s.data()));
        }
    });
}

TEST(shared, frames)
{
    random_source random(14);
    guarded_buffer memory(131072);
    for_all_messages([&](const message &m) {
        const sample s = sample::random(m, random, 2, 0xEE);
        const bytes expected = is_fixed_size(m) ? reference::frame(m, s.data(), order::little)
                                                : reference::pack(m, s.data(), order::little);
        EXPECT_EQ(hex(sent_single(m, s.data())), hex(expected));
        bytes twice(2 * m.record_size);
        std::memcpy(&twice[0], s.data(), m.record_size);
        std::memcpy(&twice[m.record_size], s.data(), m.record_size);
        if (2 * expected.size() <= 65536 || is_fixed_size(m)) {
            EXPECT_EQ(sent_batch(m, twice.data(), 2), (std::vector<bytes>{expected, expected}));
        }
        expect_same_reading(m, expected, memory);
    });
}

TEST(shared, truncations)
{
    guarded_buffer memory(131072);
    for_all_messages([&](const message &m) {
        const bytes packed = reference::pack(m, sample::ones(m, 1).data(), order::little);
        for (std::size_t size = 0; size < packed.size(); size += size < 256 ? 1 : 509)
            expect_same_reading(m, std::span(packed).first(size), memory);
    });
}

} // namespace
} // namespace vorl::test
