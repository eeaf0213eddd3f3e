// vorl list, describe, encode and decode, and what every command refuses.
#include <map>

#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tests/tools/program.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class commands : public tool_test {};

const std::string two_objects = "# two objects\n"
                                "{\"message\":\"srv6_bsid_fwd_key\",\"f0\":1,\"f2\":3}\n"
                                "\n"
                                "{\"message\":\"srv6_sidnhp_fwd_delete\",\"f1\":[{\"f0\":1}]}\r\n";
/// The frame of the first, with f2 at `f2_entry` of its table.
std::string key_frame_of(const std::string &f2_entry)
{
    return hex_line(R"(
                u32 table                                 // root offset
        table:  u32 table-vtable                          // soffset
                u32 1  u32 0  u32 3
        vtable: u16 10  u16 16  u16 4  u16 8  u16 )" +
                    f2_entry + " zeros 2");
}
const std::string key_frame = key_frame_of("12");
const std::string key_packed = hex_line(R"(
            u32 table                                     // root offset
    vtable: u16 10  u16 12  u16 4  u16 0  u16 8
    table:  u32 table-vtable                              // soffset
            u32 1  u32 3)");
const std::string batch = hex_line(R"(
            u32 table                                     // root offset
    vtable: u16 8  u16 16  u16 0  u16 4
    table:  u32 table-vtable                              // soffset
            u32 @list
    list:   u32 1  u32 @a
    a_vtable: u16 10  u16 8  u16 4  u16 0  u16 0
    a:      u32 a-a_vtable  u32 1)");

} // namespace

TEST_F(commands, list_shows_all_messages)
{
    const outcome all = shell("vorl list");
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "");
    const auto lines = lines_of(all.out);
    ASSERT_EQ(lines.size(), counts::messages + 1);
    EXPECT_EQ(lines[0],
              "message                                     msg_id  record     frame  slots");
    EXPECT_EQ(lines[1],
              "srv6_vrf_class_data                   0xAEF44FB0      24        48      6");
    EXPECT_EQ(lines[7],
              "srv6_common_fwd_update                0x7919FA9B      16  variable      2");
    for (const auto &[package, messages] : counts::packages) {
        const outcome listed = shell("vorl list --package " + std::string(package));
        EXPECT_EQ(lines_of(listed.out).size(), messages + 1) << package;
    }
    for (const message_fact &fact : message_facts)
        EXPECT_EQ(count(all.out, "\n" + std::string(fact.name) + " "), 1u) << fact.name;
}

TEST_F(commands, list_as_json)
{
    const auto lines = lines_of(shell("vorl list --json").out);
    ASSERT_EQ(lines.size(), counts::messages);
    EXPECT_EQ(lines[0], R"({"message":"srv6_vrf_class_data","package":"srv6","msg_id":2935246768,)"
                        R"("record_size":24,"frame_length":48,"slots":6})");
    EXPECT_EQ(lines[6], R"({"message":"srv6_common_fwd_update","package":"srv6",)"
                        R"("msg_id":2031745691,"record_size":16,"frame_length":null,"slots":2})");
}

TEST_F(commands, list_of_an_unknown_package)
{
    const outcome none = shell("vorl list --package srv7");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "vorl list: no package is called srv7; there are srv6, srv6_cfg and "
                        "srv6_sync\n");
}

TEST_F(commands, describe_a_fixed_size_message)
{
    EXPECT_EQ(shell("vorl describe srv6_iid_fwd_key").out,
              "srv6_iid_fwd_key\n"
              "  Key of the interface identifier (IID) object.\n"
              "\n"
              "  package       srv6\n"
              "  msg_id        0x7DD23B26 (2110929702)\n"
              "  record        28 bytes\n"
              "  frame         56 bytes, its table 37\n"
              "\n"
              "  slot  wire type         record   table   frame\n"
              "  f0    uint32                 0       4       8\n"
              "  f1    uint32                 4       8      12\n"
              "  f2    array<uint32, 4>       8      12      16   16 bytes, the size of an IPv6 "
              "address or a SID\n"
              "  f3    uint8                 24      36      40\n"
              "\n"
              "  record: offset in the record, of the count for a vector.\n"
              "  table, frame: offset of the field in a frame, from its table's start and from "
              "its own.\n");
}

TEST_F(commands, describe_by_identifier)
{
    const std::string expected =
        "srv6_cfg_query_comm_param\n"
        "  Parameters common to every query key: two words and a run of bytes of any length.\n"
        "\n"
        "  package       srv6_cfg\n"
        "  msg_id        0xCA55202A (3394576426)\n"
        "  record        24 bytes\n"
        "  frame         variable size, measured per record\n"
        "\n"
        "  slot  wire type      record\n"
        "  f0    uint32              0\n"
        "  f1    uint32              4\n"
        "  f2    vector<uint8>       8   pointer at 16   bytes of the query, up to 2^30 - 1\n"
        "\n"
        "  record: offset in the record, of the count for a vector.\n";
    EXPECT_EQ(shell("vorl describe 0xCA55202A").out, expected);
    EXPECT_EQ(shell("vorl describe 0xca55202a").out, expected);
}

TEST_F(commands, describe_the_largest_frame)
{
    const outcome item = shell("vorl describe srv6_cfg_query_dfx_item");
    EXPECT_EQ(count(item.out, "  record        16572 bytes\n"), 1u) << item.out;
    EXPECT_EQ(count(item.out, "  frame         16632 bytes, its table 16608\n"), 1u) << item.out;
    EXPECT_EQ(count(item.out, "  f4    array<uint8, 24>      16548   16576   16580\n"), 1u)
        << item.out;
}

TEST_F(commands, describe_of_an_unknown_message)
{
    for (const char *name : {"srv6_none", "0x12345678", "0xCA55202AF", "0x", "CA55202A"}) {
        const outcome none = shell(std::string("vorl describe ") + name);
        EXPECT_EQ(none.status, 1);
        EXPECT_EQ(none.err, std::string("vorl: no message is called ") + name +
                                "; 'vorl list' shows names and identifiers\n");
    }
}

TEST_F(commands, encode_writes_frames_or_packed_bytes)
{
    file("two.jsonl", two_objects);
    EXPECT_EQ(shell("vorl encode two.jsonl").out, key_frame + batch);
    EXPECT_EQ(shell("vorl encode --frame --hex - <two.jsonl").out, key_frame + batch);
    EXPECT_EQ(shell("vorl encode --packed two.jsonl").out, key_packed + batch);
    EXPECT_EQ(shell("head -2 two.jsonl | vorl encode --packed --binary - | od -An -v -tx1 | "
                    "tr -d ' \\n'; echo")
                  .out,
              key_packed);
}

TEST_F(commands, encode_writes_one_object_in_binary)
{
    file("two.jsonl", two_objects);
    const outcome two = shell("vorl encode --binary two.jsonl");
    EXPECT_EQ(two.status, 1);
    EXPECT_EQ(two.out, "");
    EXPECT_EQ(two.err, "two.jsonl:4: srv6_sidnhp_fwd_delete: is a second object; give --binary one "
                       "object, or take --hex\n");
}

TEST_F(commands, encode_stops_at_a_bad_line)
{
    file("bad.jsonl", "{\"message\":\"srv6_bsid_fwd_key\",\"f0\":1,\"f2\":3}\n"
                      "{\"message\":\"srv6_bsid_fwd_key\",\"f0\":-1}\n"
                      "{\"message\":\"srv6_bsid_fwd_key\"}\n");
    const outcome bad = shell("vorl encode bad.jsonl");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, key_frame);
    EXPECT_EQ(bad.err,
              "bad.jsonl:2: f0: -1 is negative; give a whole number from 0 to 4294967295\n");
    EXPECT_EQ(shell("vorl encode - <bad.jsonl").err,
              "<stdin>:2: f0: -1 is negative; give a whole number from 0 to 4294967295\n");
}

TEST_F(commands, decode_reads_frames_and_packed_bytes_alike)
{
    file("hex", key_frame + "\n# packed\n" + key_packed);
    const outcome keys = shell("vorl decode --message srv6_bsid_fwd_key hex");
    const std::string line = R"({"message":"srv6_bsid_fwd_key","f0":1,"f1":0,"f2":3})";
    EXPECT_EQ(keys.status, 0);
    EXPECT_EQ(keys.out, line + "\n" + line + "\n");
    EXPECT_EQ(keys.err, "");
    file("one.jsonl", line);
    EXPECT_EQ(shell("vorl encode --binary one.jsonl | "
                    "vorl decode --message srv6_bsid_fwd_key --binary --sparse -")
                  .out,
              R"({"message":"srv6_bsid_fwd_key","f0":1,"f2":3})"
              "\n");
}

TEST_F(commands, every_message_is_encoded_and_decoded)
{
    std::map<std::string, std::string> objects;
    for (const auto &[info, fact] : all_messages()) {
        sample sample(*info, 1, 2);
        objects[name_of(*info)] = json::format_record(*info, sample.record(), json::zeros::write);
    }
    ASSERT_EQ(objects.size(), counts::messages);
    std::string script =
        "set -e\n"
        "check() {\n"
        "  vorl encode --packed --binary $1 | vorl decode --binary --message $1 -\n"
        "  vorl encode $1 | vorl decode --message $1 -\n"
        "}\n";
    std::string expected;
    for (const auto &[name, line] : objects) {
        file(name, line + "\n");
        script += "check " + name + "\n";
        expected.append(line).append("\n").append(line).append("\n");
    }
    file("all.sh", script);
    const outcome all = shell(". ./all.sh");
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_TRUE(all.out == expected);
}

TEST_F(commands, decode_says_why_a_frame_is_refused)
{
    // The root offset leads past the end; the field of f2 does; a good frame is the last.
    file("hex", "64" + key_frame.substr(2) + key_frame_of("29") + key_frame);
    const outcome bad = shell("vorl decode --message srv6_bsid_fwd_key hex");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "{\"message\":\"srv6_bsid_fwd_key\",\"f0\":1,\"f1\":0,\"f2\":3}\n");
    EXPECT_EQ(bad.err,
              "hex:1: srv6_bsid_fwd_key: refused at offset 0x0000: the table of srv6_bsid_fwd_key "
              "would be at 0x0064 (100), which is not from 4 to 28; vorl explain shows the bytes\n"
              "hex:2: srv6_bsid_fwd_key: refused at offset 0x001c, f2: uint32 of 4 bytes at 0x0021 "
              "passes the end of the message, 0x0020; vorl explain shows the bytes\n");
}

TEST_F(commands, decode_of_nothing)
{
    file("empty", "");
    file("comments", "\n# no frame\n \n");
    for (const char *arguments :
         {"empty", "comments", "--binary empty", "--explain empty", "--explain --binary empty"}) {
        const outcome none =
            shell(std::string("vorl decode --message srv6_bsid_fwd_key ") + arguments);
        EXPECT_EQ(none.status, 1) << arguments;
        EXPECT_EQ(none.out, "") << arguments;
        const std::string name =
            std::string(arguments).find("comments") == 0 ? "comments" : "empty";
        EXPECT_EQ(none.err, name + ": holds no bytes; give those of a frame\n") << arguments;
    }
    EXPECT_EQ(shell("vorl decode --message srv6_bsid_fwd_key - </dev/null").err,
              "<stdin>: holds no bytes; give those of a frame\n");
}

TEST_F(commands, decode_help_says_that_a_frame_has_no_type)
{
    EXPECT_EQ(count(shell("vorl decode --help").out,
                    "\nA frame does not carry its type: decoding it as another message may "
                    "succeed, with nonsense.\n"),
              1u);
}

TEST_F(commands, decode_of_what_is_no_hex)
{
    file("hex", key_frame + "hello\n");
    const outcome bad = shell("vorl decode --message srv6_bsid_fwd_key hex");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(lines_of(bad.out).size(), 1u);
    EXPECT_EQ(bad.err, "hex:2: has \"h\" where a pair of hex digits must be; give hex digits, or "
                       "another form that --help lists\n");
}

TEST_F(commands, files_that_cannot_be_read)
{
    EXPECT_EQ(shell("vorl encode nowhere").err, "nowhere: cannot be opened (No such file or "
                                                "directory); give a readable file, or - for "
                                                "standard input\n");
    EXPECT_EQ(shell("vorl send --to 1 .").err,
              ".: is a directory; give a file, or - for standard input\n");
    EXPECT_EQ(shell("vorl decode --message srv6_pid_state nowhere").status, 1);
}

TEST_F(commands, output_that_cannot_be_written)
{
    file("two.jsonl", two_objects);
    for (const char *command : {"vorl list", "vorl encode two.jsonl"}) {
        const outcome full = shell(std::string(command) + " >/dev/full");
        EXPECT_EQ(full.status, 1) << command;
        EXPECT_EQ(full.err, "vorl: standard output cannot be written\n");
    }
}

TEST_F(commands, wrong_usage_has_its_own_status)
{
    EXPECT_EQ(shell("vorl").status, 2);
    EXPECT_EQ(shell("vorl paint").status, 2);
    EXPECT_EQ(shell("vorl send file").status, 2);
    EXPECT_EQ(shell("vorl send --to -1 file").status, 2);
    EXPECT_EQ(shell("vorl send --to 4294967296 file").status, 2);
    EXPECT_EQ(shell("vorl send --to 1 --explicit 0 file").status, 2);
    EXPECT_EQ(shell("vorl send --to 1 --batch 0 file").status, 2);
    EXPECT_EQ(shell("vorl encode --hex --binary file").status, 2);
    EXPECT_EQ(shell("vorl encode --frame --packed file").status, 2);
    EXPECT_EQ(shell("echo 04000000 | vorl decode -").status, 2);
    EXPECT_EQ(shell("vorl recv").status, 2);
}

TEST_F(commands, the_program_is_linked_with_neither_library_nor_bus)
{
    const outcome dynamic = shell("readelf -dW '" VORL_TEST_PROGRAM "'");
    ASSERT_EQ(dynamic.status, 0) << dynamic.err;
    EXPECT_GE(count(dynamic.out, "(NEEDED)"), 1u);
    EXPECT_EQ(count(dynamic.out, "libvorl_srv6"), 0u) << dynamic.out;
    EXPECT_EQ(count(dynamic.out, "libkavrovorl"), 0u) << dynamic.out;
}

// The program alone, as on a machine that has nothing else of it.
TEST_F(commands, need_library_and_bus_to_send_and_to_receive_alone)
{
    file("two.jsonl", two_objects);
    const std::string alone = "mkdir -p bin && cp '" VORL_TEST_PROGRAM "' bin && "
                              "env -u LD_LIBRARY_PATH " VORL_TEST_EMULATOR " bin/vorl ";
    EXPECT_EQ(shell(alone + "--version").out, "vorl " VORL_TEST_VERSION "\n");
    EXPECT_EQ(count(shell(alone + "--help").out, "\n  describe "), 1u);
    EXPECT_EQ(lines_of(shell(alone + "list").out).size(), counts::messages + 1);
    EXPECT_EQ(count(shell(alone + "describe srv6_iid_fwd_key").out, "0x7DD23B26"), 1u);
    EXPECT_EQ(shell(alone + "encode two.jsonl").out, key_frame + batch);
    EXPECT_EQ(shell(alone + "encode --packed two.jsonl").out, key_packed + batch);
    file("hex", key_frame);
    EXPECT_EQ(shell(alone + "decode --message srv6_bsid_fwd_key hex").out,
              "{\"message\":\"srv6_bsid_fwd_key\",\"f0\":1,\"f1\":0,\"f2\":3}\n");
    EXPECT_EQ(shell(alone + "decode --explain --message srv6_bsid_fwd_key hex").status, 0);

    for (const std::string command : {"send", "recv"}) {
        const outcome refused =
            shell(alone + (command == "send" ? "send --to 7 two.jsonl" : "recv 7"));
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_TRUE(refused.err.starts_with(
            "vorl " + command +
            ": cannot load libvorl_srv6.so.1 (libvorl_srv6.so.1: cannot open "
            "shared object file: No such file or directory), looked for in "))
            << refused.err;
        EXPECT_EQ(count(refused.err, "/bin/../lib/"), 1u)
            << "the path beside the program: " << refused.err;
        EXPECT_TRUE(refused.err.ends_with(
            "; install package libvorl-srv6-1 and the platform's bus, libkavrovorl.so, or name "
            "their directories in LD_LIBRARY_PATH\n"))
            << refused.err;
    }
}

TEST_F(commands, version)
{
    const outcome version = shell("vorl --version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "vorl " VORL_TEST_VERSION "\n");
    EXPECT_EQ(version.err, "");
    EXPECT_EQ(count(shell("vorl --help").out, "\n  --version "), 1u);
}

TEST_F(commands, help_names_every_option)
{
    EXPECT_EQ(shell("vorl --help").status, 0);
    const std::map<std::string, std::vector<std::string>> options = {
        {"list", {"--package", "--json"}},
        {"describe", {"MESSAGE", "--json", "--labels"}},
        {"send",
         {"--to", "--explicit", "--keep-going", "--batch", "--wait", "--raw", "--message",
          "--labels", "FILE"}},
        {"recv", {"DEST", "--count", "--timeout", "--queue-bytes", "--sparse"}},
        {"encode", {"--frame", "--packed", "--hex", "--binary", "FILE"}},
        {"decode",
         {"--message", "--form", "--hex", "--binary", "--lines", "--one-frame", "--skip",
          "--explain", "--sparse", "FILE"}},
        {"explain",
         {"--message", "--guess", "--log", "--form", "--hex", "--binary", "--lines", "--one-frame",
          "--skip", "--json", "--color", "INPUT"}},
    };
    for (const auto &[command, names] : options) {
        EXPECT_EQ(count(shell("vorl --help").out, "\n  " + command + " "), 1u) << command;
        const outcome help = shell("vorl " + command + " --help");
        EXPECT_EQ(help.status, 0);
        for (const std::string &name : names)
            EXPECT_GE(count(help.out, "  " + name), 1u) << command << " " << name;
    }
}
