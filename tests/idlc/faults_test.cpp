// Faulty descriptions: each fault gives one error that says where, what and what to do, and shows the
// place; exit status 1, and no file is written.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/idlc/refusal.h"

namespace {

using namespace vorl::test;

const fs::path errors = IDLC_ERRORS;

std::string take_lead(const std::string &line, const std::string &lead)
{
    if (line.rfind(lead, 0) != 0)
        throw std::runtime_error("'" + lead + "' is wanted: " + line);
    return line.substr(lead.size());
}

class faulty_description : public testing::TestWithParam<std::string> {};

// A fixture opens with "// expect: LINE:COLUMN: TEXT", a line for each error; "// with: FILE" names
// what of errors/with stands before it in the call.
TEST_P(faulty_description, is_refused_where_the_fault_is_and_nowhere_else)
{
    const scratch_directory scratch;
    const std::string name = GetParam() + ".idl";
    fs::copy(errors / name, scratch.path());
    const std::vector<std::string> lines = lines_of(content(errors / name));
    expectations expected;
    std::size_t at = 0;
    for (; lines.at(at).rfind("// expect: ", 0) == 0; ++at)
        expected.push_back(take_lead(lines[at], "// expect: "));
    ASSERT_FALSE(expected.empty());
    std::string descriptions;
    if (lines[at].rfind("// with: ", 0) == 0) {
        const std::string other = take_lead(lines[at], "// with: ");
        fs::copy(errors / "with" / other, scratch.path());
        descriptions = other + " ";
    }
    expect_refusal(scratch.path(), descriptions + name, name, expected);
}

std::vector<std::string> fixtures()
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(errors)) {
        if (entry.path().extension() == ".idl")
            names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}
INSTANTIATE_TEST_SUITE_P(errors, faulty_description, testing::ValuesIn(fixtures()),
                         [](const auto &info) { return info.param; });

TEST(idlc_refuses, an_empty_file)
{
    expect_refusal_of("", {"1:1: the description is empty; a description opens with"});
    expect_refusal_of("\n\n", {"3:1: the description is empty; a description opens with"});
}

const std::string good = "package srv6;\nmessage srv6_a {\n    uint8 f0;\n}\n";

TEST(idlc_refuses, nul_bytes)
{
    using std::string_literals::operator""s;
    const std::string rest = "\nmessage srv6_a { uint8 f0; }\n";
    expect_refusal_of("package srv6\0;"s + rest,
                      {"1:13: byte 0 has no meaning in a description; remove it"});
    expect_refusal_of("\0\0\0package srv6;"s + rest,
                      {"1:1: byte 0 has no meaning in a description"});
    expect_refusal_of("// \0\n"s + good,
                      {"1:4: a comment holds ASCII text, and not byte 0; remove"});
    expect_refusal_of(good +
                          "message srv6_b { vector<table srv6_a> f0 [malloc_text = \"\0 %u\"]; }"s,
                      {"5:58: a text holds printable ASCII without backslashes, and not byte 0"});
    expect_refusal_of("package srv6\x7F;" + rest,
                      {"1:13: byte 127 has no meaning in a description"});
    expect_refusal_of("package srv6;\n\f" + rest, {"2:1: byte 12 has no meaning in a description"});
}

TEST(idlc_refuses, text_that_is_not_ascii)
{
    std::string wide;
    for (const char c : good)
        wide += {c, '\0'};
    const std::string said = "1:1: the file is UTF-16, or no text; save it as ASCII, or as UTF-8";
    expect_refusal_of(wide, {said});
    expect_refusal_of("\xFF\xFE" + wide, {said});
    expect_refusal_of("\xFE\xFF" + std::string(1, '\0') + wide, {said});
    expect_refusal_of("// caf\xE9\n" + good, {"1:7: a comment holds ASCII text, and not byte 233"});
}

TEST(idlc_refuses, comments_that_end_with_a_carriage_return_once)
{
    expect_refusal_of("// a\r// b\rpackage srv6;\r// c\rmessage srv6_a { uint8 f0; }\r",
                      {"1:5: a carriage return ends no line here, so the comment goes on; end"});
}

TEST(idlc_accepts, lines_that_end_as_on_any_system)
{
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        const scratch_directory scratch;
        write(scratch.path() / "a.idl",
              "package srv6;" + end + "message srv6_a {" + end + "    uint8 f0;" + end + "}" + end);
        const outcome o = run(scratch.path(), idlc + " a.idl");
        EXPECT_EQ(o.status, 0) << o.err;
    }
}

TEST(idlc_refuses, files_that_cannot_be_read)
{
    const scratch_directory scratch;
    fs::create_directory(scratch.path() / "directory.idl");
    fs::create_symlink("/dev/zero", scratch.path() / "endless.idl");
    write(scratch.path() / "a.idl", good);
    const auto before = files_in(scratch.path());
    const outcome o = run(scratch.path(), idlc + " none.idl a.idl directory.idl endless.idl");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err,
              "none.idl: error: cannot be read, No such file or directory; name a file that can\n"
              "directory.idl: error: cannot be read, Is a directory; name a file that can\n"
              "endless.idl: error: is longer than 8 MiB; name another file, or split it\n");
    EXPECT_EQ(files_in(scratch.path()), before);
}

TEST(idlc_refuses, all_descriptions_for_a_fault_in_one)
{
    const scratch_directory scratch;
    write(scratch.path() / "good.idl", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    write(scratch.path() / "bad.idl", "package srv6_cfg;\nmessage srv6_cfg_a { uint8 f1; }\n");
    expect_refusal(scratch.path(), "good.idl bad.idl", "bad.idl", {"2:28: slot 0 of 'srv6_cfg_a'"});
}

// One of each kind, each in a message of its own; what is right among them is not blamed.
TEST(idlc_refuses, several_faults_in_one_run)
{
    expect_refusal_of("package srv6;\n"
                      "message srv6_a {\n"
                      "    uint23 f0;\n"
                      "    uint32 f1\n"
                      "    uint8 f2;\n"
                      "    table srv6_cc f3;\n"
                      "    uint8 f4;\n"
                      "    uint8 f4;\n"
                      "    array<uint8, 0> f5;\n"
                      "}\n"
                      "message srv6_b {\n"
                      "    table srv6_a f0;\n"
                      "message srv6_c {\n"
                      "    table srv6_b f0;\n"
                      "    uint32 f1 $;\n"
                      "}\n"
                      "}\n"
                      "message cfg_d {\n"
                      "    vector<table srv6_d> f0;\n"
                      "}\n",
                      {"3:5: unknown type 'uint23'; did you mean 'uint32'?",
                       "4:14: ';' is missing after the slot, before 'uint8'; add it",
                       "6:11: unknown type: there is no message 'srv6_cc' in package 'srv6'; did",
                       "8:11: duplicate slot 'f4' in 'srv6_a'; slot 5 is named 'f5'",
                       "9:18: an array of zero elements; give it at least one",
                       "12:21: message 'srv6_b' is not closed, its '}' is missing before 'message'",
                       "15:15: '$' has no meaning in a description; remove it",
                       "17:1: this '}' closes nothing; remove it",
                       "18:9: message 'cfg_d' is not of package 'srv6'; name it 'srv6_...'",
                       "19:18: unknown type: there is no message 'srv6_d' in package 'srv6'; did"});
}

TEST(idlc_refuses, the_faults_of_all_files_in_the_order_of_the_call)
{
    const scratch_directory scratch;
    write(scratch.path() / "z.idl", "package srv6;\nmessage srv6_a { uint9 f0; }\n");
    write(scratch.path() / "a.idl", "package srv6_cfg;\nmessage srv6_cfg_a { table srv6_a f0; }\n");
    const outcome o = run(scratch.path(), idlc + " z.idl a.idl");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "z.idl:2:18: error: unknown type 'uint9'; did you mean 'uint8'?\n"
                     "    2 | message srv6_a { uint9 f0; }\n"
                     "      |                  ^~~~~\n"
                     "a.idl:2:28: error: unknown type: there is no message 'srv6_a' in package "
                     "'srv6_cfg'; it is of package 'srv6', and a table holds messages of its own "
                     "package; describe one here\n"
                     "    2 | message srv6_cfg_a { table srv6_a f0; }\n"
                     "      |                            ^~~~~~\n");
}

std::string with_faults(std::size_t count)
{
    std::string text = "package srv6;\nmessage srv6_a {\n";
    for (std::size_t i = 0; i < count; ++i)
        text += "    uint9 f" + std::to_string(i) + ";\n";
    return text + "}\n";
}

TEST(idlc_refuses, with_so_many_errors_and_the_number_of_the_others)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", with_faults(33));
    const auto errors_of = [&scratch](const std::string &option) {
        const outcome o = run(scratch.path(), idlc + " a.idl " + option);
        EXPECT_EQ(o.status, 1);
        std::size_t count = 0;
        for (const std::string &line : lines_of(o.err))
            count += line.find(": error: ") != std::string::npos ? 1 : 0;
        return std::pair(count, lines_of(o.err).back());
    };
    EXPECT_EQ(
        errors_of(""),
        std::pair(std::size_t{20}, std::string("13 more errors; --max-errors 33 shows them, too")));
    EXPECT_EQ(errors_of("--max-errors 1").first, 1U);
    EXPECT_EQ(errors_of("--max-errors=32").second, "1 more error; --max-errors 33 shows it, too");
    EXPECT_EQ(errors_of("--max-errors 33"),
              std::pair(std::size_t{33}, std::string("      |     ^~~~~")));
}

TEST(idlc_shows, colours_on_a_terminal_alone)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", with_faults(1));
    const auto err = [&scratch](const std::string &option) {
        return run(scratch.path(), idlc + " a.idl " + option).err;
    };
    EXPECT_EQ(err("").find('\033'), std::string::npos);
    EXPECT_EQ(err("--color auto"), err("--color never"));
    EXPECT_EQ(err("--color always"),
              "\033[1ma.idl:3:5: \033[0m\033[1;31merror: \033[0munknown type 'uint9'; did you mean "
              "'uint8'?\n    3 |     uint9 f0;\n      |     \033[1;32m^~~~~\033[0m\n");
    // On a terminal, which script(1) makes.
    const auto terminal = [&scratch](const std::string &environment) {
        return run(scratch.path(),
                   "script -qec \"" + environment + " " + idlc + " a.idl\" /dev/null")
            .out;
    };
    EXPECT_NE(terminal("TERM=xterm").find("\033[1;31merror"), std::string::npos);
    EXPECT_EQ(terminal("TERM=dumb").find('\033'), std::string::npos);
    EXPECT_EQ(terminal("TERM=xterm NO_COLOR=1").find('\033'), std::string::npos);
}

TEST(idlc_shows, the_part_of_a_long_line_where_the_fault_is)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", "package srv6; message srv6_a { uint8 f0; }" +
                                        std::string(500, ' ') + "message srv6_b { uint9\tf0; }" +
                                        std::string(500, ' ') + "// end\n");
    const outcome o = run(scratch.path(), idlc + " a.idl");
    const std::vector<std::string> lines = lines_of(o.err);
    ASSERT_EQ(lines.size(), 3U) << o.err;
    EXPECT_EQ(lines[0], "a.idl:1:560: error: unknown type 'uint9'; did you mean 'uint8'?");
    EXPECT_EQ(lines[1], "    1 | ..." + std::string(43, ' ') + "message srv6_b { uint9\tf0; }" +
                            std::string(49, ' ') + "...");
    EXPECT_EQ(lines[2], "      | " + std::string(63, ' ') + "^~~~~");
}

// The place of the error is behind the last slot, where the brace is missing; the note has the other.
TEST(idlc_shows, the_brace_that_is_not_closed)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", "package srv6;\nmessage srv6_a {\n    uint8 f0;\n");
    EXPECT_EQ(
        run(scratch.path(), idlc + " a.idl").err,
        "a.idl:3:14: error: message 'srv6_a' is not closed, its '}' is missing before the end of "
        "the file; add '}' after its last slot\n"
        "    3 |     uint8 f0;\n"
        "      |              ^\n"
        "a.idl:2:16: note: the '{' that it closes\n"
        "    2 | message srv6_a {\n"
        "      |                ^\n");
}

TEST(idlc_shows, tabs_as_tabs_so_that_the_caret_stands_below_the_place)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl",
          "package srv6;\nmessage srv6_a {\n\tuint8\tf0;\tuint9 f1;\n}\n");
    EXPECT_EQ(run(scratch.path(), idlc + " a.idl").err,
              "a.idl:3:12: error: unknown type 'uint9'; did you mean 'uint8'?\n"
              "    3 | \tuint8\tf0;\tuint9 f1;\n"
              "      | \t     \t   \t^~~~~\n");
}

} // namespace
