// Words of a command line that are not there, messages by any name, and descriptions for programs.
#include <nlohmann/json.hpp>

#include "serial/layout.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tests/tools/program.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class usage : public tool_test {};

TEST_F(usage, unknown_words_are_named_with_what_may_be_meant)
{
    const std::pair<const char *, const char *> wrong[] = {
        {"explian x", "vorl: there is no command explian; did you mean explain?\n"},
        {"nonsense", "vorl: there is no command nonsense; 'vorl --help' lists them\n"},
        {"send --to 7 --wiat 3 x", "vorl send: there is no option --wiat; did you mean --wait?\n"},
        {"send --to 7 --wiat=3 x",
         "vorl send: there is no option --wiat=3; did you mean --wait?\n"},
        {"recv 7 --cuont 1", "vorl recv: there is no option --cuont; did you mean --count?\n"},
        {"decode --mesage srv6_class_item x",
         "vorl decode: there is no option --mesage; did you mean --message?\n"},
        {"decode --xyzzy x", "vorl decode: there is no option --xyzzy; 'vorl decode --help' lists "
                             "them\n"},
        {"labels chek x", "vorl labels: there is no command chek; did you mean check?\n"},
        {"describe srv6_class_item x",
         "vorl describe: x is one argument too many; 'vorl describe --help' says what it takes\n"},
    };
    for (const auto &[arguments, error] : wrong) {
        const outcome done = shell(std::string("vorl ") + arguments);
        EXPECT_EQ(done.status, 2) << arguments;
        EXPECT_EQ(done.out, "") << arguments;
        EXPECT_EQ(done.err, error) << arguments;
    }
}

TEST_F(usage, messages_that_are_nearly_right)
{
    EXPECT_EQ(shell("vorl describe srv6_localsid_fdw").err,
              "vorl: no message is called srv6_localsid_fdw; did you mean srv6_localsid_fwd?\n");
}

TEST_F(usage, identifiers_are_decimal_or_hexadecimal)
{
    const std::string described = shell("vorl describe srv6_cfg_query_comm_param").out;
    ASSERT_FALSE(described.empty());
    for (const char *id : {"0xCA55202A", "0xca55202a", "0XCA55202A", "3394576426"})
        EXPECT_EQ(shell(std::string("vorl describe ") + id).out, described) << id;
    for (const char *id : {"3394576427", "33945764260", "-900390870", "3394576426.0"})
        EXPECT_NE(shell(std::string("vorl describe -- ") + id).status, 0) << id;
}

TEST_F(usage, every_message_is_described_for_programs)
{
    std::string script;
    for (const auto &[info, fact] : all_messages())
        script += std::string("vorl describe --json ") + name_of(*info) + "\n";
    file("all.sh", script);
    const auto lines = lines_of(shell(". ./all.sh").out);
    ASSERT_EQ(lines.size(), counts::messages);
    std::size_t index = 0;
    for (const auto &[info, fact] : all_messages()) {
        const message &m = *info;
        SCOPED_TRACE(name_of(m));
        const auto object = nlohmann::json::parse(lines[index++]);
        EXPECT_EQ(object["message"], name_of(m));
        EXPECT_EQ(object["msg_id"], m.msg_id);
        EXPECT_EQ(object["record_size"], m.record_size);
        ASSERT_EQ(object["slots"].size(), m.slots.size);
        EXPECT_EQ(object["frame_length"].is_null(), !is_fixed_size(m));
        // Fields stand back to back in a frame, the first behind root offset and soffset.
        std::uint32_t at = 8;
        for (std::size_t i = 0; i < m.slots.size; ++i) {
            const auto &slot = object["slots"][i];
            EXPECT_EQ(slot["slot"], "f" + std::to_string(i));
            EXPECT_EQ(slot["record_offset"],
                      m.slots[i].is_vector() ? m.slots[i].count_at : m.slots[i].record_at);
            EXPECT_EQ(slot["frame_offset"].is_null(), !is_fixed_size(m));
            if (!is_fixed_size(m))
                continue;
            EXPECT_EQ(slot["frame_offset"], at);
            at += frame_field_size(m.slots[i]);
        }
    }
}

TEST_F(usage, every_command_has_an_example)
{
    for (const char *command : {"list", "describe", "send", "recv", "encode", "decode", "explain",
                                "labels", "labels check", "labels start"}) {
        const std::string help = shell(std::string("vorl ") + command + " --help").out;
        const bool of_itself =
            help.find(std::string("\n  vorl ") + command + " ") != std::string::npos;
        EXPECT_TRUE(of_itself) << command << ": " << help;
    }
}

// `script` gives the command a terminal; its standard output goes to a file.
TEST_F(usage, long_work_shows_its_progress_on_a_terminal)
{
    file("frame", "04000000f0ffffff0100000000000000030000000a001000040008000c000000\n");
    file("slow.sh",
         "(yes \"$(cat frame)\" | head -200; sleep 1.3; yes \"$(cat frame)\" | head -200) | "
         "vorl decode --message srv6_bsid_fwd_key - >out\n");
    const std::string shown = shell("script -qec 'sh ./slow.sh' /dev/null").out;
    EXPECT_NE(shown.find("256 frames read\033[K"), std::string::npos) << shown;
    EXPECT_TRUE(shown.ends_with("\r\033[K")) << shown;
    EXPECT_EQ(lines_of(text_of("out")).size(), 400u);
    // Not where nobody looks.
    EXPECT_EQ(shell("sh ./slow.sh").err, "");
}

TEST_F(usage, descriptions_for_programs_have_labels)
{
    file("labels.toml",
         "version = 1\n[srv6_class_item]\n"
         "f0 = { name = \"class_number\", form = \"hex\" }\nf1 = { unit = \"ms\" }\n");
    const auto object = nlohmann::json::parse(
        shell("vorl describe --json --labels labels.toml srv6_class_item").out);
    EXPECT_EQ(object["slots"][0].dump(),
              R"({"doc":"","form":"hex","frame_offset":8,"name":"class_number","record_offset":0,)"
              R"("slot":"f0","type":"uint32","unit":""})");
    EXPECT_EQ(object["slots"][1]["unit"], "ms");
    EXPECT_FALSE(object["slots"][2].contains("name"));
}

} // namespace
