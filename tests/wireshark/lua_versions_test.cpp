// The dissector's reader in Lua 5.2, of Debian 12's Wireshark, and in Lua 5.4, of newer ones: numbers are of another kind
// there, and what it says is the same.
#include "inspect/hex.h"
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
