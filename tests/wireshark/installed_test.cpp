// The dissector as it is installed: Wireshark finds it without being told, among its plugins.
#include "tests/codec/support/messages.h"
#include "tests/wireshark/tshark.h"

using namespace vorl;
using namespace vorl::test;

namespace {

std::string one_frame()
{
    captured_frames frames;
    frames.add(catalogue::find_message("srv6_class_item")->data.msg_id,
               {0x04, 0x00, 0x00, 0x00, 0xF0, 0xFF, 0xFF, 0xFF, 0x07, 0x00, 0x00,
                0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x0A, 0x00,
                0x0D, 0x00, 0x04, 0x00, 0x08, 0x00, 0x0C, 0x00, 0x00, 0x00});
    return frames.text();
}

} // namespace

TEST(wireshark_plugin, is_installed_where_wireshark_looks)
{
    const scratch_directory root;
    const outcome installed =
        run(root.path(), VORL_TEST_INSTALL " --prefix '" + root.path().string() + "'");
    ASSERT_EQ(installed.status, 0) << installed.err;
    const fs::path plugins = root.path() / VORL_TEST_LIBDIR "/wireshark/plugins";
    EXPECT_TRUE(fs::is_regular_file(plugins / "vorl/init.lua"));
    const outcome folders = run("/", "tshark -G folders");
    EXPECT_NE(folders.out.find("/usr/" VORL_TEST_LIBDIR "/wireshark/plugins\n"), std::string::npos)
        << folders.out;

    // A user's plugins are found in the same way.
    const scratch_directory home;
    fs::create_directories(home.path() / ".local/lib/wireshark");
    fs::copy(plugins, home.path() / ".local/lib/wireshark/plugins", fs::copy_options::recursive);
    const std::string wanted = " -T fields -e vorl.srv6_class_item.f0";
    const outcome once = run_tshark(one_frame(), wanted, home.path());
    EXPECT_EQ(once.out, "7\n") << once.err;
    EXPECT_EQ(once.err.find("lua"), std::string::npos) << once.err;
    // A second one beside it says so, and is not loaded.
    const outcome twice = run_tshark(one_frame(), from_the_tree + wanted, home.path());
    EXPECT_EQ(twice.out, "7\n");
    EXPECT_NE(
        twice.err.find("vorl: a dissector of this name is there already, so " VORL_TEST_DISSECTOR
                       "/init.lua is not loaded; remove one\n"),
        std::string::npos)
        << twice.err;
}
