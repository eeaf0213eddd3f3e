// What __unpack does with arguments that it cannot use: one log line, the record size, and nothing
// else, for every message.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/codec/support/fixture.h"
#include "tests/support/bindings.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

struct bad_call {
    bool has_buf;
    std::int32_t len;
    bool has_out;
    const char *text;
};

constexpr bad_call bad_calls[] = {
    {false, 100, true, "[ZELKO]:Param invalid(null, 100, nonNull)"},
    {false, 0, true, "[ZELKO]:Param invalid(null, 0, nonNull)"},
    {true, 3, true, "[ZELKO]:Param invalid(nonNull, 3, nonNull)"},
    {true, 0, true, "[ZELKO]:Param invalid(nonNull, 0, nonNull)"},
    {true, -1, true, "[ZELKO]:Param invalid(nonNull, -1, nonNull)"},
    {true, INT32_MIN, true, "[ZELKO]:Param invalid(nonNull, -2147483648, nonNull)"},
    {true, 100, false, "[ZELKO]:Param invalid(nonNull, 100, null)"},
    {true, INT32_MAX, false, "[ZELKO]:Param invalid(nonNull, 2147483647, null)"},
    {true, -5, false, "[ZELKO]:Param invalid(nonNull, -5, null)"},
    {false, 4, false, "[ZELKO]:Param invalid(null, 4, null)"},
    {false, INT32_MIN, false, "[ZELKO]:Param invalid(null, -2147483648, null)"},
};

TEST(unpack_arguments, bad_ones_are_logged_once_and_touch_nothing)
{
    const std::uint8_t bytes[100] = {};
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        for (const bad_call &bad : bad_calls) {
            SCOPED_TRACE(bad.text);
            forget_bindings();
            reset_platform();
            std::vector<std::uint8_t> out(m.fact->record_size);
            for (std::size_t i = 0; i < out.size(); ++i)
                out[i] = static_cast<std::uint8_t>(0xC3 + 7 * i);
            const std::vector<std::uint8_t> untouched = out;

            EXPECT_EQ(functions_of(*m.info).unpack(bad.has_buf ? bytes : nullptr, bad.len,
                                                   bad.has_out ? out.data() : nullptr),
                      m.fact->record_size);
            EXPECT_EQ(out, untouched);
            ASSERT_EQ(the_platform().logs.size(), 1u);
            const log_call &line = the_platform().logs[0];
            EXPECT_EQ(line.text, bad.text);
            EXPECT_EQ(line.format, "[ZELKO]:Param invalid(%s, %d, %s)");
            EXPECT_EQ(line.function, std::string(m.fact->name) + "_unpack");
            EXPECT_EQ(line.kind, 22u);
            EXPECT_EQ(line.ctx, &serial_ctxs[2 * m.fact->package()]);

            for (const serial_ctx &ctx : serial_ctxs)
                EXPECT_EQ(ctx.cache_bound, 0u);
            EXPECT_TRUE(the_platform().use_flag_arguments.empty());
            EXPECT_TRUE(the_platform().memory.empty());
        }
    }
}

TEST(unpack_arguments, bad_ones_are_silent_without_a_log)
{
    const std::uint8_t bytes[100] = {};
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        for (const bad_call &bad : bad_calls) {
            forget_bindings();
            reset_platform();
            the_platform().has_log = false;
            std::vector<std::uint8_t> out(m.fact->record_size, 0xC3);
            EXPECT_EQ(functions_of(*m.info).unpack(bad.has_buf ? bytes : nullptr, bad.len,
                                                   bad.has_out ? out.data() : nullptr),
                      m.fact->record_size);
            EXPECT_EQ(out, std::vector<std::uint8_t>(out.size(), 0xC3));
            EXPECT_TRUE(the_platform().logs.empty());
        }
    }
}

// A side that is bound reads what the writers of the type write by a shorter way, which has no more use
// for a record that is not there.
TEST(unpack_arguments, no_record_is_refused_by_a_side_in_use)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        forget_bindings();
        reset_platform();
        sample in(*m.info);
        functions_of(*m.info).sendsingle(1, in.record(), 0, 0);
        ASSERT_EQ(the_platform().sends.size(), 1u);
        const std::vector<std::uint8_t> forms[] = {packed(*m.info, in.record()),
                                                   the_platform().sends[0].frames[0].bytes};
        std::vector<std::uint8_t> out(m.fact->record_size);
        for (const std::vector<std::uint8_t> &bytes : forms) {
            const auto len = static_cast<std::int32_t>(bytes.size());
            functions_of(*m.info).unpack(bytes.data(), len, out.data());
            EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
            functions_of(*m.info).free_unpacked(out.data());
            EXPECT_EQ(serial_ctxs[2 * m.fact->package()].cache_bound, 1u);

            the_platform().forget_calls();
            EXPECT_EQ(functions_of(*m.info).unpack(bytes.data(), len, nullptr),
                      m.fact->record_size);
            ASSERT_EQ(the_platform().logs.size(), 1u);
            EXPECT_EQ(the_platform().logs[0].text,
                      "[ZELKO]:Param invalid(nonNull, " + std::to_string(len) + ", null)");
            EXPECT_TRUE(the_platform().memory.empty());
        }
    }
}

// Four bytes hold a root offset and no table: the least that is not a bad argument.
TEST(unpack_arguments, four_bytes_are_enough_to_be_read)
{
    const std::vector<std::uint8_t> bytes = buffer_of("u32 table  table:");
    ASSERT_EQ(bytes.size(), 4u);
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        forget_bindings();
        reset_platform();
        std::vector<std::uint8_t> out(m.fact->record_size, 0xC3);
        EXPECT_EQ(functions_of(*m.info).unpack(bytes.data(), 4, out.data()), m.fact->record_size);
        ASSERT_EQ(the_platform().logs.size(), 1u);
        EXPECT_EQ(the_platform().logs[0].text, "[ZELKO]:Table offset(4) is out of range(4 - 4)");
    }
}

} // namespace
} // namespace vorl::test
