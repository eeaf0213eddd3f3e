// docs/log.md and the table that it is made of: each text of the library, brought about here, is the
// example that the table has, from the place that it says.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "inspect/log_lines.h"
#include "srv6.h"
#include "srv6_cfg.h"
#include "tests/support/platform.h"
#include "tests/support/run.h"

namespace vorl::test {
namespace {

/// The README's local SID.
std::vector<std::uint8_t> packed_sid()
{
    srv6_localsid_fwd sid = {};
    sid.f0 = 1;
    sid.f5[0] = 1;
    sid.f6 = 48;
    std::vector<std::uint8_t> bytes(256);
    auto size = static_cast<std::uint32_t>(bytes.size());
    EXPECT_EQ(srv6_localsid_fwd__pack(&sid, bytes.data(), &size), 0U);
    bytes.resize(size);
    EXPECT_EQ(size, 68U);
    return bytes;
}

/// Unpacks with one byte changed.
void unpack_changed(std::size_t at, std::uint8_t to)
{
    std::vector<std::uint8_t> bytes = packed_sid();
    bytes.at(at) = to;
    srv6_localsid_fwd record = {};
    srv6_localsid_fwd__unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), &record);
}

void unpack_without_memory()
{
    srv6_common_fwd elements[3] = {};
    const srv6_common_fwd_update update = {1, 3, elements};
    std::vector<std::uint8_t> bytes(4096);
    auto size = static_cast<std::uint32_t>(bytes.size());
    ASSERT_EQ(srv6_common_fwd_update__pack(&update, bytes.data(), &size), 0U);
    srv6_common_fwd_update record = {};
    the_platform().fail_allocation_at = 1;
    srv6_common_fwd_update__unpack(bytes.data(), static_cast<std::int32_t>(size), &record);
}

void measure()
{
    const srv6_localsid_fwd sid = {};
    std::uint32_t size = UINT32_MAX;
    EXPECT_EQ(srv6_localsid_fwd__pack(&sid, nullptr, &size), 0U);
}

void unpack_nothing()
{
    srv6_localsid_fwd record = {};
    srv6_localsid_fwd__unpack(nullptr, 68, &record);
}

struct expected_line {
    std::function<void()> call;
    std::uint32_t line;
    std::uint32_t kind;
    const char *function;
    const char *text;
};

// Position 34 is the table's; at 0 there is its offset, at 34 its soffset of 30, at 4 its vtable.
const expected_line lines[] = {
    {unpack_nothing, 2, 22, "srv6_localsid_fwd_unpack", "[ZELKO]:Param invalid(null, 68, nonNull)"},
    {measure, 1, 22, "srv6_localsid_fwd_pack", "[ZELKO]:Param invalid(null, 4294967295, nonNull)"},
    {[] { unpack_changed(0, 65); }, 20, 22, "srv6_localsid_fwd_unpack_non_root",
     "[ZELKO]:Table offset(65) is out of range(4 - 68)"},
    {[] { unpack_changed(34, 34); }, 21, 22, "srv6_localsid_fwd_unpack_non_root",
     "[ZELKO]:Vtable offset(34) is out of range(4 - 64)"},
    {[] { unpack_changed(4, 66); }, 22, 22, "srv6_localsid_fwd_unpack_non_root",
     "[ZELKO]:Vtable Len(66) is out of range(0 - 64)"},
    // The elements are slot 1; three of 56 bytes.
    {unpack_without_memory, 1001, 12, "srv6_common_fwd_update_unpack",
     "[ZELKO]:Malloc unpack data unsuccess, size(168)"},
};

TEST(log_lines, examples_are_what_the_library_logs)
{
    const std::vector<inspect::log_entry> &entries = inspect::log_entries();
    ASSERT_EQ(entries.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
        const expected_line &expected = lines[i];
        SCOPED_TRACE(expected.text);
        reset_platform();
        expected.call();
        ASSERT_EQ(the_platform().logs.size(), 1U);
        const log_call &logged = the_platform().logs[0];
        EXPECT_EQ(logged.text, expected.text);
        EXPECT_EQ(logged.line, expected.line);
        EXPECT_EQ(logged.kind, expected.kind);
        EXPECT_EQ(logged.function, expected.function);

        const inspect::log_entry &entry = entries[i];
        EXPECT_STREQ(entry.example, expected.text);
        EXPECT_EQ(entry.text, logged.format);
        EXPECT_EQ(entry.kind, expected.kind);
        // Each of the line's numbers and words is explained, in its order.
        std::size_t conversions = 0;
        for (const char *at = entry.text; (at = std::strchr(at, '%')) != nullptr; ++at)
            ++conversions;
        EXPECT_EQ(entry.arguments.size(), conversions);
    }
}

TEST(log_lines, places_are_numbered_as_old_logs_have_them)
{
    std::map<std::string, std::string> places;
    for (const inspect::log_entry &entry : inspect::log_entries()) {
        for (const inspect::log_place &place : entry.places)
            places[std::to_string(place.line) + (place.plus_slot ? "+" : "")] =
                place.function + std::string(" ") + entry.text;
    }
    EXPECT_EQ(places,
              (std::map<std::string, std::string>{
                  {"1", "_pack [ZELKO]:Param invalid(%s, %u, %s)"},
                  {"2", "_unpack [ZELKO]:Param invalid(%s, %d, %s)"},
                  {"10", "_unpack [ZELKO]:Table offset(%u) is out of range(4 - %u)"},
                  {"11", "_unpack [ZELKO]:Vtable offset(%u) is out of range(4 - %u)"},
                  {"12", "_unpack [ZELKO]:Vtable Len(%u) is out of range(0 - %u)"},
                  {"20", "_unpack_non_root [ZELKO]:Table offset(%u) is out of range(4 - %u)"},
                  {"21", "_unpack_non_root [ZELKO]:Vtable offset(%u) is out of range(4 - %u)"},
                  {"22", "_unpack_non_root [ZELKO]:Vtable Len(%u) is out of range(0 - %u)"},
                  {"1000+", "_unpack [ZELKO]:Malloc unpack data unsuccess, size(%u)"},
                  {"2000+", "_unpack_non_root [ZELKO]:Malloc unpack data unsuccess, size(%u)"},
              }));
}

TEST(log_lines, page_is_the_committed_one)
{
    EXPECT_EQ(content(std::string(PROJECT_ROOT) + "/docs/log.md"), inspect::log_page())
        << "run ./dev regen";
}

TEST(log_lines, page_has_every_text_and_the_one_that_a_description_gives)
{
    const std::string page = inspect::log_page();
    for (const expected_line &line : lines)
        EXPECT_NE(page.find("`" + std::string(line.text) + "`:"), std::string::npos) << line.text;
    EXPECT_NE(page.find("For f1 of `srv6_cfg_query_dfx_rec` the text is another, and all else the "
                        "same: `[ZELKO]:Malloc unpack data unsuccess,                size(%u)`."),
              std::string::npos);
}

} // namespace
} // namespace vorl::test
