// What vorl's options make of a dump.
#include "tests/tools/program.h"

using namespace vorl::test;

namespace {

using dumps_commands = tool_test;

const std::string decode = "vorl decode --message srv6_class_item ";
const std::string frame = "04000000f0ffffff0700000000000000030000000a000d0004000800"
                          "0c000000\n";
const std::string object = "{\"message\":\"srv6_class_item\",\"f0\":7,\"f1\":0,\"f2\":3}\n";

} // namespace

TEST_F(dumps_commands, lines_of_a_wrapped_frame_are_put_together_unless_told_otherwise)
{
    file("hex", frame.substr(0, 40) + "\n" + frame.substr(40));
    const outcome whole = shell(decode + "hex");
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.out, object);
    EXPECT_EQ(whole.err, "vorl: hex: lines 1 to 2 are read as one frame, wrapped; --lines reads a "
                         "frame a line\n");
    const outcome told = shell(decode + "--one-frame hex");
    EXPECT_EQ(told.out, object);
    EXPECT_EQ(told.err, "");
    const outcome lines = shell(decode + "--lines hex");
    EXPECT_EQ(lines.status, 1);
    EXPECT_EQ(lines.out, "");
    EXPECT_EQ(count(lines.err, "hex:1: srv6_class_item: refused at "), 1u) << lines.err;
    EXPECT_EQ(count(lines.err, "hex:2: srv6_class_item: refused at "), 1u) << lines.err;
}

TEST_F(dumps_commands, headers_are_taken_off)
{
    file("hex", "aabbccdd" + frame + "aabb\n" + "aabbccdd" + frame);
    const outcome skipped = shell(decode + "--skip 4 hex");
    EXPECT_EQ(skipped.status, 1);
    EXPECT_EQ(skipped.out, object + object);
    EXPECT_EQ(count(skipped.err, "hex:2: the frame has 2 bytes, and --skip takes 4 off; give a "
                                 "smaller --skip\n"),
              1u)
        << skipped.err;
}

TEST_F(dumps_commands, forms_are_recognised_or_named)
{
    file("hex", frame);
    for (const char *form : {"--form hex", "--form auto", "--hex"})
        EXPECT_EQ(shell(decode + form + " hex").out, object) << form;
    for (const char *form :
         {"xxd", "hexdump", "od", "gdb", "c", "string", "base64", "pcap", "binary"})
        EXPECT_EQ(shell(decode + "--form " + form + " hex").status, 1) << form;
    for (const char *wrong :
         {"--form dump", "--form hex --binary", "--hex --binary", "--form hex --hex",
          "--lines --one-frame", "--skip -1", "--skip 2147483648"})
        EXPECT_EQ(shell(decode + wrong + " hex").status, 2) << wrong;
}

TEST_F(dumps_commands, help_states_the_rule)
{
    const outcome help = shell("vorl decode --help");
    EXPECT_EQ(count(help.out, "\nWhere a frame ends. "), 1u);
    for (const char *form :
         {"hex", "xxd", "hexdump", "od", "gdb", "c", "string", "base64", "pcap", "binary"})
        EXPECT_EQ(count(help.out, std::string("\n  ") + form + " "), 1u) << form;
}
