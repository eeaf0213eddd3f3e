// docs/debugging.md: its commands print what it shows, and its example is what it says.
#include "inspect/encode.h"
#include "tests/support/functions.h"
#include "tests/tools/program.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/library_log.h"

#include <sstream>

using namespace vorl;
using namespace vorl::test;

namespace {

const std::string root = VORL_TEST_ROOT;

class debugging_page : public tool_test {};

struct shown_command {
    std::string command;
    std::string output;
};

/// Of every block that opens with ```console: the command behind $, and the lines behind it.
std::vector<shown_command> commands_of(const std::string &page)
{
    static const std::string opening = "\n```console\n$ ";
    std::vector<shown_command> found;
    for (std::size_t at = 0; (at = page.find(opening, at)) != std::string::npos;) {
        at += opening.size();
        const std::size_t line_end = page.find('\n', at);
        const std::size_t end = page.find("```\n", line_end);
        found.push_back(
            {page.substr(at, line_end - at), page.substr(line_end + 1, end - line_end - 1)});
        at = end;
    }
    return found;
}

std::vector<std::uint8_t> refused_frame()
{
    std::istringstream dump(content(root + "/examples/refused.xxd"));
    std::vector<std::uint8_t> frame;
    std::ostringstream notes;
    read_frames(
        dump, "refused.xxd", {}, [&frame](const std::string &, const bytes &one) { frame = one; },
        notes);
    return frame;
}

TEST_F(debugging_page, commands_print_what_is_shown)
{
    const auto all = commands_of(content(root + "/docs/debugging.md"));
    ASSERT_EQ(all.size(), 4u); // from a refused frame to the byte in under five
    for (const auto &[command, output] : all)
        EXPECT_EQ(shell("cd '" + root + "'; " + command).out, output) << command;
}

TEST_F(debugging_page, the_frame_is_one_of_the_example_with_one_bit_changed)
{
    const std::vector<std::uint8_t> frame = refused_frame();
    std::size_t found = 0;
    for (const std::string &line : lines_of(content(root + "/examples/pe1.jsonl"))) {
        if (!line.starts_with("{"))
            continue;
        const json::record object = json::parse_record(line);
        auto whole = inspect::encode(object.type(), object.data(), inspect::encoding::frame);
        if (whole.size() != frame.size())
            continue;
        whole[0x98] ^= 0x40;
        found += whole == frame ? 1 : 0;
    }
    EXPECT_EQ(found, 1u);
}

TEST_F(debugging_page, the_log_has_what_the_library_writes_of_the_frame)
{
    const std::vector<std::uint8_t> frame = refused_frame();
    const message &m = catalogue::find_message("srv6_localsid_fwd_update")->data;
    EXPECT_EQ(m.msg_id, 0xD501B69Bu);
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    take_library_log();
    functions_of(m).unpack(frame.data(), static_cast<std::int32_t>(frame.size()), record.data());
    functions_of(m).free_unpacked(record.data());
    const auto lines = take_library_log();
    ASSERT_EQ(lines.size(), 1u);
    // "function: text" here; "function:line text" in the file.
    const std::size_t colon = lines[0].find(": ");
    const std::string log = content(root + "/examples/refused.log");
    EXPECT_NE(log.find(lines[0].substr(0, colon) + ":21 " + lines[0].substr(colon + 2) + "\n"),
              std::string::npos)
        << lines[0];
}

} // namespace
