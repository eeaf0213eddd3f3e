// vorl explain, as a person runs it.
#include <nlohmann/json.hpp>

#include "tests/tools/program.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class explain_command : public tool_test {};

// A frame of srv6_bsid_fwd_key: 1, 0, 3; as xxd shows it, with f2's entry leading outside.
const std::string damaged = "00000000: 0400 0000 f0ff ffff 0100 0000 0000 0000  ................\n"
                            "00000010: 0300 0000 0a00 1000 0400 0800 1d00 0000  ................\n";
const std::string good = "04000000f0ffffff0100000000000000030000000a001000040008000c000000\n";

const std::string damaged_text =
    "srv6_bsid_fwd_key, 32 bytes\n"
    "  0x0000  04 00 00 00             root offset: the table is at 0x0004\n"
    "  0x0004  f0 ff ff ff             table of srv6_bsid_fwd_key, soffset -16: the vtable is at "
    "0x0014\n"
    "  0x0008  01 00 00 00             f0 uint32 = 1\n"
    "  0x000c  00 00 00 00             f1 uint32 = 0\n"
    "  0x0010  03 00 00 00             nothing that can be read leads to these bytes\n"
    "  0x0014  0a 00                   vtable length 10: 3 entries\n"
    "  0x0016  10 00                   table length 16 (not checked by readers)\n"
    "  0x0018  04 00                   f0 is at 0x0008\n"
    "  0x001a  08 00                   f1 is at 0x000c\n"
    "  0x001c  1d 00                   f2 is at 0x0021\n"
    "  >>>>>>  refused: f2: uint32 of 4 bytes at 0x0021 passes the end of the message, 0x0020\n"
    "          end of the field: 37, where 0 to 32 is accepted; 0x001c leads to 0x0021\n"
    "          a receiver stops here, and logs nothing\n"
    "          its record keeps what was read before; all else is zero, and vectors are released\n"
    "  0x001e  00 00                   padding\n"
    "  refused at offset 0x001c, f2: uint32 of 4 bytes at 0x0021 passes the end of the message, "
    "0x0020\n";
const std::string damaged_why =
    "srv6_bsid_fwd_key: refused at offset 0x001c, f2: uint32 of 4 bytes "
    "at 0x0021 passes the end of the message, 0x0020\n";

TEST_F(explain_command, shows_the_damaged_byte_and_what_it_leads_to)
{
    file("hex", damaged);
    // The second is the first's alias.
    for (const char *command : {"explain", "decode --explain"}) {
        const outcome bad =
            shell(std::string("vorl ") + command + " --message srv6_bsid_fwd_key hex");
        EXPECT_EQ(bad.status, 1) << command;
        EXPECT_EQ(bad.out, damaged_text) << command;
        EXPECT_EQ(bad.err, "hex:1: " + damaged_why) << command;
    }
}

TEST_F(explain_command, each_frame_gets_its_own)
{
    file("hex", good + damaged);
    const outcome shown = shell("vorl explain --message srv6_bsid_fwd_key < hex");
    EXPECT_EQ(shown.status, 1);
    EXPECT_EQ(shown.out.find("srv6_bsid_fwd_key, 32 bytes\n"), 0u);
    EXPECT_NE(shown.out.find("  accepted; values are not checked\n\nsrv6_bsid_fwd_key, 32 bytes\n"),
              std::string::npos);
    EXPECT_EQ(shown.err, "<stdin>:2: " + damaged_why);
}

TEST_F(explain_command, says_what_the_library_logs)
{
    // The vtable would be 13 bytes long.
    file("hex", "04000000f0ffffff0100000000000000030000000d001000040008000c000000\n");
    const outcome bad = shell("vorl explain --message srv6_bsid_fwd_key hex");
    EXPECT_NE(bad.out.find(
                  "  0x0014  0d 00                   vtable length 13\n"
                  "  >>>>>>  refused: the vtable of srv6_bsid_fwd_key would be 13 bytes long where "
                  "12 are left\n"
                  "          length of the vtable: 13, where 0 to 12 is accepted; 0x0014\n"
                  "          a receiver stops here, and logs [ZELKO]:Vtable Len(13) is out of "
                  "range(0 - 12) (line 22, srv6_bsid_fwd_key_unpack_non_root)\n"),
              std::string::npos)
        << bad.out;
}

TEST_F(explain_command, tells_of_the_other_byte_order)
{
    file("hex", "00000004fffffff0000000010000000200000003000a00100004000800000c00\n");
    const outcome bad = shell("vorl explain --message srv6_bsid_fwd_key hex");
    EXPECT_NE(
        bad.out.find("  >>>>>>  refused: the table of srv6_bsid_fwd_key would be at "
                     "0x4000000 (67108864), which is not from 4 to 28\n"
                     "          position of the table: 67108864, where 4 to 28 is accepted; 0x0000 "
                     "leads to 0x4000000\n"
                     "          with its bytes reversed the root offset is 4: the sender may "
                     "have the other byte order\n"
                     "          a receiver stops here, and logs [ZELKO]:Table "
                     "offset(67108864) is out of range(4 - 32) (line 20, "
                     "srv6_bsid_fwd_key_unpack_non_root)\n"),
        std::string::npos)
        << bad.out;
}

TEST_F(explain_command, tells_what_an_soffset_should_be)
{
    // The soffsets of a frame and of packed bytes, each with a bit too many; vtables are at 20 and 4.
    file("frame", "04000000f0fffffe0100000002000000030000000a001000040008000c000000\n");
    EXPECT_NE(
        shell("vorl explain --message srv6_bsid_fwd_key frame")
            .out.find("          a vtable of its length is at 0x0014: the four bytes should be "
                      "f0 ff ff ff (-16)\n"),
        std::string::npos);
    file("packed", "0e0000000a00100004000800 0c00 0a010000 010000000200000003000000\n");
    EXPECT_NE(
        shell("vorl explain --message srv6_bsid_fwd_key packed")
            .out.find("          a vtable of its length is at 0x0004: the four bytes should be "
                      "0a 00 00 00 (10)\n"),
        std::string::npos);
    // Nothing like it is there.
    file("none", "04000000f0fffffe0100000002000000030000000b001000040008000c000000\n");
    EXPECT_EQ(shell("vorl explain --message srv6_bsid_fwd_key none").out.find("should be"),
              std::string::npos);
}

TEST_F(explain_command, says_what_becomes_of_the_record)
{
    // The root of a message with a vector, and of one without, leads nowhere.
    file("hex", "ff00000000000000\n");
    const auto says = [this](const std::string &message, const std::string &line) {
        return shell("vorl explain hex --message " + message)
                   .out.find("          " + line + "\n") != std::string::npos;
    };
    EXPECT_TRUE(says("srv6_localsid_fwd_update", "its record stays as it was"));
    EXPECT_TRUE(says("srv6_bsid_fwd_key",
                     "its record keeps what was read before; all else is zero, "
                     "and vectors are released"));
}

// What is accepted may still be another message.
TEST_F(explain_command, says_how_many_bytes_are_nothing_of_the_message)
{
    const outcome done = shell("vorl explain --message srv6_localsid_fwd " VORL_TEST_REFUSED);
    EXPECT_EQ(done.status, 0);
    EXPECT_TRUE(done.out.ends_with("  accepted; values are not checked\n"
                                   "  but 182 of 206 bytes are nothing of this message; --guess "
                                   "lists what else they can be\n"))
        << done.out;
}

TEST_F(explain_command, json_has_every_byte_and_every_refusal)
{
    file("hex", damaged);
    const outcome bad = shell("vorl explain --json --message srv6_bsid_fwd_key hex");
    EXPECT_EQ(bad.status, 1);
    ASSERT_EQ(lines_of(bad.out).size(), 1u);
    const auto object = nlohmann::json::parse(bad.out);
    EXPECT_EQ(object["message"], "srv6_bsid_fwd_key");
    EXPECT_EQ(object["bytes"], 32);
    EXPECT_EQ(object["accepted"], false);
    std::string all;
    for (const auto &part : object["parts"]) {
        EXPECT_EQ(part["at"].get<std::size_t>(), all.size() / 2);
        all += part["hex"];
    }
    EXPECT_EQ(all, "04000000f0ffffff0100000000000000030000000a001000040008001d000000");
    EXPECT_EQ(object["parts"][2].dump(),
              R"({"at":8,"hex":"01000000","label":"","path":"f0","size":4,"text":"f0 uint32 = 1",)"
              R"("value":"1","what":"value"})");
    EXPECT_EQ(
        object["refusals"].dump(),
        R"([{"actual":37,"at":28,"hint":"","label":"","leads_to":33,"least":0,"log":null,"most":32,"path":"f2",)"
        R"("rule":"field","size":2,"text":"uint32 of 4 bytes at 0x0021 passes the end of the )"
        R"(message, 0x0020"}])");
    EXPECT_EQ(object["more_refusals"], 0);
}

TEST_F(explain_command, has_colours_where_they_are_asked_for)
{
    file("hex", damaged);
    const std::string command = "vorl explain --message srv6_bsid_fwd_key hex --color ";
    EXPECT_EQ(shell(command + "never").out, damaged_text);
    EXPECT_EQ(shell(command + "auto").out, damaged_text);
    const std::string coloured = shell(command + "always").out;
    EXPECT_NE(coloured.find("\033[31;1m  >>>>>>  refused: f2:"), std::string::npos);
    EXPECT_EQ(shell(command + "always | sed 's/\033\\[[0-9;]*m//g'").out, damaged_text);
    // `script` gives it a terminal.
    const std::string on_terminal =
        "script -qec 'vorl explain --message srv6_bsid_fwd_key hex' /dev/null";
    EXPECT_NE(shell("TERM=xterm " + on_terminal).out.find("\033[31;1m"), std::string::npos);
    EXPECT_NE(shell("unset TERM; " + on_terminal).out.find("\033[31;1m"), std::string::npos);
    EXPECT_EQ(shell("TERM=xterm NO_COLOR=1 " + on_terminal).out.find("\033["), std::string::npos);
    EXPECT_EQ(shell("TERM=dumb " + on_terminal).out.find("\033["), std::string::npos);
}

TEST_F(explain_command, has_labels_in_paths_and_values)
{
    file("labels.toml",
         "version = 1\n[srv6_bsid_fwd_key]\n"
         "f0 = { name = \"policy\" }\n"
         "f1 = { name = \"state\", form = \"enum\", values = { 0 = \"down\", 1 = \"up\" } }\n"
         "f2 = { name = \"flags\", form = \"hex\" }\n");
    file("hex", damaged);
    const std::string command = "vorl explain --labels labels.toml --message srv6_bsid_fwd_key hex";
    const outcome bad = shell(command);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("  0x0008  01 00 00 00             f0 (policy) uint32 = 1\n"
                           "  0x000c  00 00 00 00             f1 (state) uint32 = down\n"),
              std::string::npos)
        << bad.out;
    EXPECT_NE(bad.out.find("  0x001c  1d 00                   f2 (flags) is at 0x0021\n"
                           "  >>>>>>  refused: f2 (flags): uint32 of 4 bytes at 0x0021 passes"),
              std::string::npos)
        << bad.out;
    EXPECT_EQ(bad.err,
              "hex:1: srv6_bsid_fwd_key: refused at offset 0x001c, f2 (flags): uint32 of 4 "
              "bytes at 0x0021 passes the end of the message, 0x0020\n");
    const auto object = nlohmann::json::parse(shell(command + " --json").out);
    EXPECT_EQ(object["parts"][3]["label"], "state");
    EXPECT_EQ(object["parts"][3]["value"], "down");
    EXPECT_EQ(object["refusals"][0]["label"], "flags");
    EXPECT_EQ(
        shell("export VORL_LABELS=labels.toml; vorl explain --message srv6_bsid_fwd_key hex").out,
        bad.out);
}

TEST_F(explain_command, has_the_labels_of_elements)
{
    const std::string object =
        R"({"message":"srv6_localsid_fwd_update","f1":[{"f0":1},{"f5":"2001:db8:a001:5066::","f6":48}]})";
    file("objects", object + "\n");
    const std::string shown = shell("vorl encode objects | vorl explain --message "
                                    "srv6_localsid_fwd_update --labels " VORL_TEST_LABELS)
                                  .out;
    EXPECT_NE(shown.find("f1[1].f6 (records[1].locator_length) uint16 = 48\n"), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("f1[1].f5 (records[1].sid) = 2001:db8:a001:5066:: (locator "
                         "2001:db8:a001::/48, function 0x5066)\n"),
              std::string::npos)
        << shown;
}

TEST_F(explain_command, guesses_are_a_list)
{
    file("hex", good);
    const outcome list = shell("vorl explain --guess hex");
    EXPECT_EQ(list.status, 0);
    const auto lines = lines_of(list.out);
    ASSERT_GT(lines.size(), 9u);
    EXPECT_EQ(lines[0].find("hex:1: 32 bytes, which do not say what they are. "), 0u);
    // Three uint32: nine messages have just these slots.
    for (std::size_t i = 1; i <= 9; ++i)
        EXPECT_NE(lines[i].find(": exactly what this library writes"), std::string::npos);
    EXPECT_NE(list.out.find("\n  srv6_bsid_fwd_key: exactly what this library writes\n"),
              std::string::npos);
    const auto object = nlohmann::json::parse(shell("vorl explain --guess --json hex").out);
    EXPECT_EQ(object["bytes"], 32);
    EXPECT_EQ(object["guesses"][0]["is_as_written"], true);
}

TEST_F(explain_command, needs_a_message_or_a_guess)
{
    file("hex", good);
    const outcome none = shell("vorl explain hex");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "hex:1: nothing says which message the frame is of; give --message NAME "
                        "('vorl explain --guess' lists what it can be)\n");
    EXPECT_EQ(shell("vorl explain --guess --message srv6_bsid_fwd_key hex").status, 2);
    EXPECT_EQ(shell("vorl explain --message srv6_bsid_fwd_key </dev/null").err,
              "<stdin>: holds no bytes; give those of a frame\n");
    const outcome nothing = shell("vorl explain </dev/null");
    EXPECT_EQ(nothing.status, 2);
    EXPECT_EQ(nothing.err,
              "<stdin>: holds no bytes; give those of a frame, and --message NAME unless "
              "they are a capture's\n");
    EXPECT_EQ(shell("vorl explain --guess </dev/null").status, 1);
    EXPECT_EQ(shell("vorl decode </dev/null").status, 2);
}

} // namespace
