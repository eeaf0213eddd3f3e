// What __pack does with its arguments: the capacity is tested before the buffer, and a null buffer
// is a measuring call.
#include <gtest/gtest.h>

#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

constexpr std::uint32_t refused = 0xFFFFFFFF;

class pack_arguments : public testing::Test {
  protected:
    void SetUp() override { reset_platform(); }
};

TEST_F(pack_arguments, no_record_is_refused_in_silence)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        std::uint8_t buf[64] = {};
        for (const std::uint32_t capacity : {0u, 3u, 64u}) {
            std::uint32_t length = capacity;
            EXPECT_EQ(functions_of(*m.info).pack(nullptr, buf, &length), refused);
            EXPECT_EQ(length, capacity);
            EXPECT_EQ(functions_of(*m.info).pack(nullptr, nullptr, &length), refused);
            EXPECT_EQ(length, capacity);
        }
        EXPECT_EQ(buf[0], 0);
    }
    EXPECT_TRUE(the_platform().logs.empty());
}

TEST_F(pack_arguments, measuring_reports_the_size_and_logs)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        the_platform().forget_calls();
        std::uint32_t length = 3000000000;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), 0u);
        const std::uint32_t need = length;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), 0u);
        EXPECT_EQ(length, need);
        ASSERT_EQ(the_platform().logs.size(), 2u);
        const log_call &line = the_platform().logs[0];
        EXPECT_EQ(line.format, "[ZELKO]:Param invalid(%s, %u, %s)");
        EXPECT_EQ(line.text, "[ZELKO]:Param invalid(null, 3000000000, nonNull)");
        EXPECT_EQ(line.function, std::string(m.fact->name) + "_pack");
        EXPECT_EQ(line.kind, 22u);
        EXPECT_EQ(the_platform().logs[1].text,
                  "[ZELKO]:Param invalid(null, " + std::to_string(need) + ", nonNull)");

        // One byte less is refused, with a buffer and without.
        length = need - 1;
        std::vector<std::uint8_t> buf(need, 0xC3);
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), refused);
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), buf.data(), &length), refused);
        EXPECT_EQ(length, need - 1);
        EXPECT_EQ(buf, std::vector<std::uint8_t>(need, 0xC3));
        length = 0;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), refused);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(the_platform().logs.size(), 2u);

        // Exactly enough, and more than enough, are not.
        length = need;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), buf.data(), &length), 0u);
        EXPECT_EQ(length, need);
        std::vector<std::uint8_t> roomy(need + 5, 0xC3);
        length = need + 5;
        EXPECT_EQ(functions_of(*m.info).pack(in.record(), roomy.data(), &length), 0u);
        EXPECT_EQ(length, need);
        buf.resize(need + 5, 0xC3);
        EXPECT_EQ(roomy, buf);
        EXPECT_EQ(the_platform().logs.size(), 2u);
        EXPECT_TRUE(the_platform().memory.empty());
    }
}

TEST_F(pack_arguments, a_count_without_a_pointer_is_refused_at_every_level)
{
    for (const known_message &m : messages_where(false)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        each_vector(*m.info, in.record(), [&](const vorl::slot &slot, void *record) {
            void *elements = pointer_of(record, slot);
            set_vector(record, slot, 1, nullptr);
            std::uint8_t buf[64] = {};
            for (std::uint32_t capacity : {0u, 64u, 0xFFFFFFFFu}) {
                std::uint32_t length = capacity;
                EXPECT_EQ(functions_of(*m.info).pack(in.record(), nullptr, &length), refused);
                EXPECT_EQ(functions_of(*m.info).pack(in.record(), buf, &length), refused);
                EXPECT_EQ(length, capacity);
            }
            EXPECT_EQ(buf[0], 0);
            set_vector(record, slot, 1, elements);
        });
    }
    EXPECT_TRUE(the_platform().logs.empty());
}

} // namespace
} // namespace vorl::test
