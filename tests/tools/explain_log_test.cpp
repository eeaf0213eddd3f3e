// vorl explain --log as a person runs it.
#include <nlohmann/json.hpp>

#include "tests/tools/program.h"

using namespace vorl::test;

namespace {

class explain_log : public tool_test {};

const std::string ours = "[ZELKO]:Table offset(65) is out of range(4 - 68)";
const std::string placed = "srv6_class_item_unpack_non_root:20 " + ours;

/// How many lines of an explanation there are.
std::size_t marked(const std::string &out)
{
    std::size_t count = 0;
    for (const std::string &line : lines_of(out))
        count += line.starts_with("    | ") ? 1 : 0;
    return count;
}

TEST_F(explain_log, arguments_are_explained_one_after_the_other)
{
    const outcome two = shell("vorl explain --log 'a " + ours +
                              "' '[ZELKO]:Malloc unpack data "
                              "unsuccess, size(8)'");
    EXPECT_EQ(two.status, 0) << two.err;
    EXPECT_EQ(two.err, "");
    const auto lines = lines_of(two.out);
    EXPECT_EQ(lines.at(0), "a " + ours);
    EXPECT_TRUE(lines.at(1).starts_with("    | where ")) << lines[1];
    EXPECT_EQ(marked(two.out), lines.size() - 2);
}

TEST_F(explain_log, an_argument_that_is_not_ours)
{
    for (const std::string line : {"hello", "[ZELKO]:hello"}) {
        const outcome none = shell("vorl explain --log '" + line + "' '" + ours + "'");
        EXPECT_EQ(none.status, 1);
        EXPECT_EQ(none.err, "vorl explain --log: \"" + line +
                                "\" is no line that the library writes; one has a text as in "
                                "'[ZELKO]:Table offset(65) is out of range(4 - 68)', and "
                                "docs/log.md has them all\n");
        EXPECT_NE(none.out.find(ours + "\n    | where "), std::string::npos) << "the next one";
    }
}

TEST_F(explain_log, a_filter_passes_all_bytes_on)
{
    file("log", std::string("\x00\xff\r\n", 4) + placed + "\nno newline");
    for (const char *command : {"vorl explain --log <log", "cat log | vorl explain --log -"}) {
        const outcome out = shell(command);
        EXPECT_EQ(out.status, 0);
        EXPECT_EQ(out.err, "");
        EXPECT_GT(marked(out.out), 5U);
        EXPECT_EQ(
            shell(std::string(command) + " | grep -av '^    | ' | head -c -1 | cmp - log").status,
            0);
    }
}

TEST_F(explain_log, a_log_without_a_line_of_ours)
{
    const outcome none = shell("printf 'a\\nb' | vorl explain --log");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "a\nb");
    EXPECT_EQ(none.err, "");
}

TEST_F(explain_log, as_json)
{
    file("log", "first\n" + placed + "\n[ZELKO]:new\n");
    const outcome out = shell("vorl explain --log --json <log");
    EXPECT_EQ(out.status, 0);
    EXPECT_EQ(out.err, "<stdin>:3: not a text that this version writes\n");
    ASSERT_EQ(lines_of(out.out).size(), 1U);
    const auto object = nlohmann::json::parse(out.out);
    EXPECT_EQ(object["line"], 2);
    EXPECT_EQ(object["text"], ours);
    EXPECT_EQ(object["entry"], "[ZELKO]:Table offset(%u) is out of range(4 - %u)");
    EXPECT_EQ(object["message"], "srv6_class_item");
    EXPECT_EQ(object["function"], "srv6_class_item_unpack_non_root");
    EXPECT_EQ(object["place"], 20);
    ASSERT_EQ(object["numbers"].size(), 2U);
    EXPECT_EQ(object["numbers"][0]["value"], "65");
    EXPECT_EQ(
        object["numbers"][0]["meaning"],
        "the position of the table, in bytes from the first byte of the message; this is what "
        "is out of range");
    EXPECT_EQ(object["tells"], nlohmann::json::array(
                                   {"If the position is right, the message lacks at least 1 of its "
                                    "bytes at the end."}));
    for (const char *key : {"where", "checked", "then", "cause", "next"})
        EXPECT_FALSE(object[key].get<std::string>().empty()) << key;
    EXPECT_EQ(object.size(), 13U);
}

TEST_F(explain_log, as_json_what_is_not_known_is_left_out)
{
    const outcome out =
        shell("vorl explain --log --json '[ZELKO]:Param invalid(null, 68, nonNull)'");
    const auto lines = lines_of(out.out);
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string &line : lines) {
        const auto object = nlohmann::json::parse(line);
        EXPECT_FALSE(object.contains("message"));
        EXPECT_FALSE(object.contains("function"));
        EXPECT_FALSE(object.contains("where"));
        EXPECT_TRUE(object.contains("perhaps"));
    }
}

TEST_F(explain_log, colour_is_for_terminals_and_for_who_asks)
{
    const std::string on = "\033[36m    | ";
    file("log", ours + "\n");
    EXPECT_EQ(shell("vorl explain --log <log").out.find('\033'), std::string::npos);
    EXPECT_NE(shell("NO_COLOR=1 vorl explain --log --color always <log").out.find(on),
              std::string::npos);
    const std::string terminal = "SHELL=/bin/sh script -qec 'vorl explain --log";
    EXPECT_NE(shell("unset NO_COLOR; " + terminal + " <log' /dev/null").out.find(on),
              std::string::npos);
    EXPECT_NE(shell("export NO_COLOR=; " + terminal + " <log' /dev/null").out.find(on),
              std::string::npos);
    EXPECT_EQ(shell("export NO_COLOR=1; " + terminal + " <log' /dev/null").out.find(on),
              std::string::npos);
    EXPECT_EQ(shell("unset NO_COLOR; " + terminal + " --color never <log' /dev/null").out.find(on),
              std::string::npos);
}

// The log stays open until the explanation has been seen.
TEST_F(explain_log, a_live_log_is_explained_line_by_line)
{
    const outcome live =
        shell("mkfifo pipe; vorl explain --log <pipe >out & exec 3>pipe; "
              "printf '%s\\nunfin' '" +
              ours +
              "' >&3; "
              "for i in $(seq 600); do grep -q 'says which' out && grep -q '^unfin' out && break; "
              "sleep 0.1; done; cat out; exec 3>&-; wait; echo; cat out");
    EXPECT_EQ(live.status, 0);
    const std::size_t half = live.out.find("unfin\n");
    ASSERT_NE(half, std::string::npos) << live.out;
    EXPECT_GT(marked(live.out.substr(0, half)), 5U) << live.out;
}

TEST_F(explain_log, what_cannot_be_read_or_written)
{
    const outcome directory = shell("vorl explain --log <.");
    EXPECT_EQ(directory.status, 1);
    EXPECT_EQ(directory.err,
              "<stdin>: cannot be read (Is a directory); give a readable file or a pipe\n");
    file("log", ours + "\n");
    const outcome full = shell("vorl explain --log <log >/dev/full");
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "vorl: standard output cannot be written\n");
}

TEST_F(explain_log, wrong_usage)
{
    EXPECT_EQ(shell("vorl explain").status, 2);
    EXPECT_EQ(shell("vorl explain --log --color blue x").status, 2);
    EXPECT_EQ(shell("vorl explain --log --none").status, 2);
    EXPECT_EQ(shell("vorl explain --log -- '-- " + ours + "'").status, 0);
}

} // namespace
