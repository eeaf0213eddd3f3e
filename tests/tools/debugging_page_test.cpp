// docs/debugging.md: its commands print what it shows, and its examples are what it says.
#include "capture/capture_read.h"
#include "inspect/encode.h"
#include "tests/support/functions.h"
#include "tests/tools/program.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/library_log.h"

#include <algorithm>
#include <fstream>
#include <map>
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
    const std::string page = content(root + "/docs/debugging.md");
    const auto all = commands_of(page);
    ASSERT_EQ(all.size(), 7u);
    // From a refused frame to the byte in under five.
    EXPECT_EQ(commands_of(page.substr(0, page.find("\n## From a capture\n"))).size(), 4u);
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

// The capture has the frame as it was sent, and the damaged one as it was received; all else was
// received as it was sent.
TEST_F(debugging_page, the_capture_has_the_frame_before_and_after_the_damage)
{
    const std::vector<std::uint8_t> damaged = refused_frame();
    std::vector<std::uint8_t> whole = damaged;
    whole[0x98] ^= 0x40;
    std::map<capture::direction, std::vector<std::vector<std::uint8_t>>> frames;
    std::ifstream file(root + "/examples/refused.pcapng", std::ios::binary);
    capture::capture_reader reader(file, 0x7FFFFFFF,
                                   [](const std::string &note) { ADD_FAILURE() << note; });
    while (const auto one = reader.next())
        frames[one->found.facts.way].push_back(one->found.kept);
    auto &sent = frames[capture::direction::sent];
    auto &received = frames[capture::direction::received];
    ASSERT_EQ(sent.size(), 23u);
    ASSERT_EQ(received.size(), 23u);
    const auto differing = std::mismatch(sent.begin(), sent.end(), received.begin());
    ASSERT_NE(differing.first, sent.end());
    EXPECT_EQ(*differing.first, whole);
    EXPECT_EQ(*differing.second, damaged);
    *differing.second = whole;
    EXPECT_EQ(sent, received);
}

TEST_F(debugging_page, the_captures_are_small)
{
    for (const char *name : {"refused.pcapng", "demo.pcapng"}) {
        const auto size = fs::file_size(root + "/examples/" + name);
        EXPECT_GT(size, 10'000u) << name;
        EXPECT_LT(size, 200'000u) << name;
    }
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
