// The dissector's reader in Lua 5.2, of Debian 12's Wireshark, and in Lua 5.4, of newer ones: numbers are of another kind
// there, and what it says is the same.
#include "inspect/hex.h"
#include "inspect/labels.h"
#include "tests/wireshark/damaged_frames.h"

using namespace vorl;
using namespace vorl::test;

TEST(wireshark_reader, says_what_the_librarys_reader_says_in_both_versions_of_lua)
{
    const captured_frames frames = damaged_frames(10'000, 20261123);
    std::string given;
    std::string expected;
    for (const capture::frame &f : frames.frames) {
        given += std::to_string(f.facts.identifier) + " " +
                 to_hex(f.kept.data(), f.kept.size(), "") + "\n";
        const capture::verdict due = capture::judge(f);
        expected += due.why ? std::string(due.why->rule) + " at " + std::to_string(due.why->at) +
                                  ", " + due.why->member + ": " + due.why->what + "\n"
                            : "accepted\n";
    }
    const scratch_directory at;
    write(at.path() / "frames", given);
    for (const char *lua : {"lua5.2", "lua5.4"}) {
        const outcome done =
            run(at.path(), std::string(lua) + " " VORL_TEST_ROOM
                                              "/read_frames.lua " VORL_TEST_DISSECTOR " frames");
        EXPECT_EQ(done.status, 0) << done.err;
        EXPECT_EQ(lines_of(done.out), lines_of(expected)) << lua;
    }
}

TEST(wireshark_views, are_the_same_in_both_versions_of_lua)
{
    const inspect::labels_file labels = inspect::read_labels(R"(version = 1
[srv6_localsid_fwd]
f0 = { name = "number", form = "dec" }
f2 = { form = "hex" }
f3 = { form = "ipv4" }
f4 = { form = "time", unit = "s" }
f5 = { name = "sid", form = "sid", locator = 47, function = 19 }
f7 = { form = "enum", values = { 1 = "ipv4", 0x20 = "ipv6" } }
f8 = { form = "time", unit = "ms", since = "start" }
f9 = { form = "flags", bits = { 0 = "psp", 1 = "usp" } }
f11 = { form = "unit", unit = "Mbit/s" }
)");
    ASSERT_TRUE(labels.problems.empty());
    std::string given;
    const auto give = [&given](bytes packet) {
        packet.erase(packet.begin(), packet.begin() + 12); // the tags
        given += to_hex(packet.data(), packet.size(), "") + "\n";
    };
    give(
        to_packet(capture::describe(*catalogue::find_message("srv6_localsid_fwd"), &labels.right)));
    for (const capture::frame &f : damaged_frames(2'000, 20261124).frames) {
        bytes packet = capture::frame_head(f.facts, f.facts.length, 0);
        packet.insert(packet.end(), f.kept.begin(), f.kept.end());
        give(packet);
    }
    const scratch_directory at;
    write(at.path() / "frames", given);
    const auto shown = [&at](const char *lua) {
        const outcome done =
            run(at.path(), std::string(lua) + " " VORL_TEST_ROOM
                                              "/show_frames.lua " VORL_TEST_DISSECTOR " frames");
        EXPECT_EQ(done.status, 0) << lua << ": " << done.err;
        return lines_of(done.out);
    };
    const std::vector<std::string> lines = shown("lua5.2");
    EXPECT_GT(lines.size(), 100'000U);
    EXPECT_TRUE(lines == shown("lua5.4"));
    std::size_t labelled = 0;
    for (const std::string &line : lines)
        labelled += line.find("[sid: ") != std::string::npos ? 1 : 0;
    EXPECT_GT(labelled, 10U);
}

TEST(wireshark_reader, all_files_are_lua_of_both_versions)
{
    for (const auto &entry : fs::directory_iterator(VORL_TEST_DISSECTOR)) {
        for (const char *lua : {"lua5.2", "lua5.4"}) {
            const outcome done = run("/", std::string(lua) + " -e 'assert(loadfile(\"" +
                                              entry.path().string() + "\"))'");
            EXPECT_EQ(done.status, 0) << lua << ": " << done.err;
        }
    }
}
