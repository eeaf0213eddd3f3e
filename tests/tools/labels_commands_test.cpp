// vorl labels, and other commands with --labels, as a person runs them.
#include "tests/facts/counts.h"
#include "tests/support/facts.h"
#include "tests/tools/program.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class labels_commands : public tool_test {
  protected:
    labels_commands()
    {
        unsetenv("VORL_LABELS");
        file("l.toml", "version = 1\n"
                       "[srv6_bsid_fwd_key]\n"
                       "f0 = { name = \"number\", form = \"hex\" }\n"
                       "f2 = { name = \"colour\", unit = \"of four\" }\n");
        // With a problem that leaves the rest right.
        file("half.toml", "version = 1\n"
                          "[srv6_bsid_fwd_key]\n"
                          "f0 = { name = \"number\", form = \"hex\" }\n"
                          "f7 = { name = \"colour\" }\n");
        file("named.jsonl", named);
        file("plain.jsonl", plain);
    }

    const std::string named =
        R"({"message":"srv6_bsid_fwd_key","number":"0x0000001f","f1":0,"colour":3})"
        "\n";
    const std::string plain = R"({"message":"srv6_bsid_fwd_key","f0":31,"f1":0,"f2":3})"
                              "\n";
    const std::string half_problem = "half.toml:4: srv6_bsid_fwd_key: \"f7\" is no slot; the "
                                     "message has f0 to f2\n";
};

} // namespace

TEST_F(labels_commands, encode_reads_names_and_forms)
{
    const std::string bytes = shell("vorl encode plain.jsonl").out;
    EXPECT_EQ(shell("vorl encode --labels l.toml named.jsonl").out, bytes);
    EXPECT_EQ(shell("vorl encode --labels l.toml plain.jsonl").out, bytes);
    const outcome without = shell("vorl encode named.jsonl");
    EXPECT_EQ(without.status, 1);
    EXPECT_EQ(without.err, "named.jsonl:1: number: is no member of srv6_bsid_fwd_key; its members "
                           "are f0 to f2\n");
}

TEST_F(labels_commands, decode_writes_names_and_forms)
{
    shell("vorl encode plain.jsonl > plain.hex");
    const std::string decode = "vorl decode --message srv6_bsid_fwd_key plain.hex";
    EXPECT_EQ(shell(decode).out, plain);
    EXPECT_EQ(shell(decode + " --labels l.toml").out, named);
    EXPECT_EQ(shell("VORL_LABELS=l.toml " + decode).out, named);
    EXPECT_EQ(shell("VORL_LABELS= " + decode).out, plain);
    // The option is the nearer one.
    EXPECT_EQ(shell("VORL_LABELS=absent.toml " + decode + " --labels l.toml").out, named);
}

TEST_F(labels_commands, send_and_recv)
{
    const outcome both = shell("vorl recv 7 --count 1 --timeout 60 --labels l.toml > out & "
                               "vorl send --to 7 --wait 60 --labels l.toml named.jsonl; wait");
    EXPECT_EQ(both.status, 0) << both.err;
    EXPECT_EQ(text_of("out"), named);
}

TEST_F(labels_commands, describe_shows_them_beside_the_slots)
{
    EXPECT_EQ(shell("vorl describe srv6_bsid_fwd_key --labels l.toml").out,
              "srv6_bsid_fwd_key\n"
              "  Key of the binding SID object.\n"
              "\n"
              "  package       srv6\n"
              "  msg_id        0x45917BB6 (1167162294)\n"
              "  record        12 bytes\n"
              "  frame         32 bytes, its table 16\n"
              "\n"
              "  slot  name    unit     form  wire type  record   table   frame\n"
              "  f0    number           hex   uint32          0       4       8\n"
              "  f1                           uint32          4       8      12\n"
              "  f2    colour  of four        uint32          8      12      16\n"
              "\n"
              "  record: offset in the record, of the count for a vector.\n"
              "  table, frame: offset of the field in a frame, from its table's start and from "
              "its own.\n");
}

TEST_F(labels_commands, describe_of_a_message_that_they_do_not_name_is_as_without_them)
{
    EXPECT_EQ(shell("vorl describe srv6_iid_fwd --labels l.toml").out,
              shell("vorl describe srv6_iid_fwd").out);
}

TEST_F(labels_commands, what_is_wrong_is_a_warning_and_the_rest_is_used)
{
    const outcome half = shell("vorl encode plain.jsonl | "
                               "vorl decode --message srv6_bsid_fwd_key --labels half.toml -");
    EXPECT_EQ(half.status, 0);
    EXPECT_EQ(half.err, half_problem);
    EXPECT_EQ(half.out,
              "{\"message\":\"srv6_bsid_fwd_key\",\"number\":\"0x0000001f\",\"f1\":0,\"f2\":3}\n");
    for (const char *command : {"encode --labels half.toml plain.jsonl",
                                "describe --labels half.toml srv6_bsid_fwd_key"}) {
        EXPECT_EQ(shell("vorl " + std::string(command)).status, 0) << command;
        EXPECT_EQ(shell("vorl " + std::string(command)).err, half_problem) << command;
    }
    EXPECT_EQ(shell("VORL_LABELS=half.toml vorl encode plain.jsonl").err, half_problem);
}

TEST_F(labels_commands, ten_warnings_and_a_count)
{
    std::string text = "version = 1\n";
    for (int i = 0; i < 12; ++i)
        text += "m" + std::to_string(i) + " = 0\n";
    file("many.toml", text);
    std::string expected;
    for (int i = 0; i < 10; ++i)
        expected += "many.toml:" + std::to_string(i + 2) + ": \"m" + std::to_string(i) +
                    "\" is no message; 'vorl list' shows them all\n";
    EXPECT_EQ(shell("vorl encode --labels many.toml plain.jsonl").err,
              expected + "many.toml: 2 more; 'vorl labels check' shows them all\n");
    const outcome check = shell("vorl labels check many.toml");
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(lines_of(check.err).size(), 12u);
}

TEST_F(labels_commands, a_file_that_cannot_be_read_ends_the_command)
{
    for (const char *command :
         {"vorl encode --labels absent.toml plain.jsonl",
          "VORL_LABELS=absent.toml vorl encode plain.jsonl", "vorl labels check absent.toml"}) {
        const outcome absent = shell(command);
        EXPECT_EQ(absent.status, 1) << command;
        EXPECT_EQ(absent.out, "") << command;
        EXPECT_EQ(absent.err, "absent.toml: cannot be opened (No such file or directory); give a "
                              "readable file, or - for standard input\n")
            << command;
    }
    EXPECT_EQ(shell("vorl encode --labels - plain.jsonl").err,
              "labels: standard input is for what they label; give the name of a file\n");
    const outcome endless = shell("vorl labels check /dev/zero");
    EXPECT_EQ(endless.status, 1);
    EXPECT_EQ(endless.err,
              "/dev/zero:1: the file is longer than 1 MiB; leave out what is no label\n");
}

TEST_F(labels_commands, check)
{
    const outcome right = shell("vorl labels check l.toml");
    EXPECT_EQ(right.status, 0);
    EXPECT_EQ(right.out + right.err, "");
    const outcome wrong = shell("vorl labels check half.toml");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.out, "");
    EXPECT_EQ(wrong.err, half_problem);
    EXPECT_EQ(shell("vorl labels check - < half.toml").err,
              "<stdin>:4: srv6_bsid_fwd_key: \"f7\" is no slot; the message has f0 to f2\n");
}

TEST_F(labels_commands, start_names_every_slot_of_every_message_in_comments)
{
    const outcome all = shell("vorl labels start");
    EXPECT_EQ(all.status, 0);
    for (const message_fact &fact : message_facts)
        EXPECT_NE(all.out.find("\n[" + std::string(fact.name) + "]\n"), std::string::npos)
            << fact.name;
    std::size_t headings = 0;
    for (const std::string &line : lines_of(all.out)) {
        if (line.starts_with("["))
            ++headings;
        else
            EXPECT_TRUE(line.empty() || line.starts_with("# ") || line == "version = 1") << line;
    }
    EXPECT_EQ(headings, counts::messages);
    const outcome check = shell("vorl labels start | vorl labels check -");
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.err, "");
}

TEST_F(labels_commands, start_of_named_messages)
{
    const std::string expected =
        "# Names, units and forms of slots, for vorl --labels. To label a slot, take the # from "
        "its\n"
        "# line and give it a name; 'vorl labels --help' has the other keys.\n"
        "version = 1\n"
        "\n"
        "# Key of the interface identifier (IID) object.\n"
        "[srv6_iid_fwd_key]\n"
        "# f0 = { name = \"\" }  # uint32\n"
        "# f1 = { name = \"\" }  # uint32\n"
        "# f2 = { name = \"\" }  # array<uint32, 4>: 16 bytes, the size of an IPv6 address or a "
        "SID\n"
        "# f3 = { name = \"\" }  # uint8\n";
    EXPECT_EQ(shell("vorl labels start srv6_iid_fwd_key").out, expected);
    // By its identifier, too; given twice it is written once, for TOML allows no second table.
    EXPECT_EQ(shell("vorl labels start srv6_iid_fwd_key 0x7DD23B26").out, expected);
    const outcome none = shell("vorl labels start srv6_nothing");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err,
              "vorl: no message is called srv6_nothing; 'vorl list' shows names and identifiers\n");
}

TEST_F(labels_commands, usage)
{
    for (const char *wrong : {"vorl labels", "vorl labels chekc l.toml", "vorl labels check"})
        EXPECT_EQ(shell(wrong).status, 2) << wrong;
    for (const char *command : {"labels", "labels check", "labels start"}) {
        const outcome help = shell("vorl " + std::string(command) + " --help");
        EXPECT_EQ(help.status, 0) << command;
        EXPECT_NE(help.out.find("\n  vorl labels "), std::string::npos) << command;
    }
}

// The example labels all that the demo's state has, and is read back as it was.
TEST_F(labels_commands, the_examples_labels_fit_the_examples_state)
{
    const outcome check = shell("vorl labels check '" VORL_TEST_LABELS "'");
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.err, "");
    const std::string decoded =
        "for m in $(sed -n 's/^{\"message\":\"\\([a-z0-9_]*\\)\".*/\\1/p' '" VORL_TEST_EXAMPLE
        "' | sort -u); do "
        "grep \"^{\\\"message\\\":\\\"$m\\\"\" '" VORL_TEST_EXAMPLE "' | vorl encode - | "
        "vorl decode --message $m --labels '" VORL_TEST_LABELS "' -; done";
    const outcome labelled = shell(decoded + " > labelled.jsonl");
    EXPECT_EQ(labelled.status, 0);
    EXPECT_EQ(labelled.err, "");
    // No member is left with the name of its slot.
    EXPECT_EQ(shell("grep -c '\"f[0-9]*\":' labelled.jsonl").out, "0\n");
    EXPECT_EQ(shell("vorl encode --labels '" VORL_TEST_LABELS "' labelled.jsonl | sort").out,
              shell("vorl encode '" VORL_TEST_EXAMPLE "' | sort").out);
}
