// The compiler as a program: each faulty description gives an error that says where, what and what
// to do, and shows the place, exit status 1 and no file; a wrong call tells what is wrong with it,
// and exit status 2; a good one writes, and --check compares.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using namespace vorl::test;

const std::string idlc = "'" IDLC_PROGRAM "'";
const fs::path errors = IDLC_ERRORS;

std::map<std::string, std::string> files_in(const fs::path &directory)
{
    std::map<std::string, std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), directory).string()] = content(entry.path());
    }
    return files;
}

/// What stands below an error: its line, and a caret below the place. `text` is the description.
void expect_excerpt(const std::string &text, std::size_t line, std::size_t column,
                    const std::string &above, const std::string &below)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
    }
    std::string shown = lines.at(line - 1);
    if (shown.ends_with('\r'))
        shown.pop_back();
    std::string margin = std::to_string(line);
    margin = std::string(5 - margin.size(), ' ') + margin + " | ";
    if (shown.size() <= 120) {
        for (char &c : shown)
            c = (c >= ' ' && c <= '~') || c == '\t' ? c : '?';
        EXPECT_EQ(above, margin + shown);
        EXPECT_EQ(below.find('^'), margin.size() + column - 1) << above << "\n" << below;
    }
    EXPECT_EQ(below.substr(0, 8), "      | ") << below;
    EXPECT_EQ(below.find_first_not_of(" \t|^~"), std::string::npos) << below;
}

/// An error as it is expected: "LINE:COLUMN: TEXT", of which the text may be the beginning alone.
using expectations = std::vector<std::string>;

// Runs idlc on descriptions in `directory`, of which `name` is the faulty one.
void expect_refusal(const fs::path &directory, const std::string &descriptions,
                    const std::string &name, const expectations &expected)
{
    const auto before = files_in(directory);
    const outcome o = run(directory, idlc + " " + descriptions);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    ASSERT_FALSE(o.err.empty());
    EXPECT_EQ(o.err.back(), '\n');
    const std::vector<std::string> lines = lines_of(o.err);
    std::size_t errors = 0;
    for (std::size_t i = 0; i < lines.size(); i += 3) {
        const std::size_t kind = lines[i].find(": error: ");
        if (kind == std::string::npos) {
            EXPECT_NE(lines[i].find(": note: "), std::string::npos) << o.err;
        } else {
            ASSERT_LT(errors, expected.size()) << "more than were expected: " << o.err;
            const std::string said = lines[i].substr(0, kind) + ": " + lines[i].substr(kind + 9);
            const std::string wanted = name + ":" + expected[errors++];
            EXPECT_EQ(said.substr(0, wanted.size()), wanted);
            EXPECT_NE(said.find("; "), std::string::npos) << "no word of what to do: " << said;
        }
        const std::string place = lines[i].substr(name.size() + 1);
        ASSERT_LT(i + 2, lines.size()) << o.err;
        expect_excerpt(content(directory / name), std::stoul(place),
                       std::stoul(place.substr(place.find(':') + 1)), lines[i + 1], lines[i + 2]);
    }
    EXPECT_EQ(errors, expected.size()) << o.err;
    EXPECT_EQ(files_in(directory), before) << "something was written";
}

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

// Descriptions that no text file shows well.
void expect_refusal_of(const std::string &text, const expectations &expected)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", text);
    expect_refusal(scratch.path(), "a.idl", "a.idl", expected);
}

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

std::string with_slots(std::size_t count, const std::string &type)
{
    std::string text = "package srv6;\nmessage srv6_a {\n";
    for (std::size_t i = 0; i < count; ++i)
        text += type + " f" + std::to_string(i) + ";\n";
    return text + "}\n";
}

TEST(idlc_refuses, more_slots_than_compilers_take)
{
    expect_refusal_of(with_slots(257, "uint8"), {"259:1: 'srv6_a' has more than 256 slots; nest"});
    expect_refusal_of(with_slots(40000, "uint8"), {"259:1: 'srv6_a' has more than 256 slots"});
    // Slot 16383 lies at 4 + 4 * 16383, which is 65536.
    expect_refusal_of(
        with_slots(16384, "uint32"),
        {"16386:1: slot 'f16383' of 'srv6_a' would lie at offset 65536, past the 16"});
    // The same where a vector makes the message one of variable size: 8 bytes a slot.
    expect_refusal_of(with_slots(8193, "vector<uint8>"),
                      {"8195:1: slot 'f8192' of 'srv6_a' would lie at offset 65540, past the 16"});
}

enum class links { to_next, to_previous };

// `count` messages, each of which holds the next, or the one before.
std::string chain(std::size_t count, links to, const std::string &innermost)
{
    std::string text = "package srv6;\n";
    for (std::size_t i = 0; i < count; ++i) {
        const bool is_last = to == links::to_next ? i + 1 == count : i == 0;
        const std::size_t held = to == links::to_next ? i + 1 : i - 1;
        text += "message srv6_m" + std::to_string(i) + " { " +
                (is_last ? innermost : "table srv6_m" + std::to_string(held)) + " f0; }\n";
    }
    return text;
}

TEST(idlc_refuses, nesting_without_end)
{
    const std::string said = "messages nest deeper than 32 levels here; hold fewer";
    for (const std::size_t count : {33U, 100000U}) {
        for (const char *innermost : {"uint8", "vector<uint8>"}) {
            expect_refusal_of(chain(count, links::to_next, innermost), {"33:26: " + said});
            expect_refusal_of(chain(count, links::to_previous, innermost), {"34:26: " + said});
        }
    }
    // A cycle longer than the limit is first of all too deep.
    expect_refusal_of(chain(100000, links::to_next, "table srv6_m0"), {"33:26: " + said});
    expect_refusal_of(chain(32, links::to_next, "table srv6_m0"),
                      {"33:26: forward cycle: srv6_m0 -> srv6_m1 -> "});
}

TEST(idlc_accepts, the_most_slots_and_the_deepest_nesting)
{
    for (const std::string &text :
         {with_slots(256, "uint8"), with_slots(200, "array<uint8, 100>"),
          chain(32, links::to_next, "vector<uint8>"),
          chain(32, links::to_previous, "vector<uint8>"), chain(32, links::to_next, "uint8")}) {
        const scratch_directory scratch;
        write(scratch.path() / "srv6.idl", text);
        const outcome o = run(scratch.path(), idlc + " srv6.idl");
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_EQ(o.err, "");
        for (const std::string compiler : {COMPILERS_CXX}) {
            const outcome c =
                run(scratch.path(), compiler + " -std=c++20 " ARCHITECTURE_FLAGS
                                               " -fsyntax-only -I '" PROJECT_ROOT "' srv6.cpp");
            EXPECT_EQ(c.status, 0) << compiler << ": " << c.err.substr(0, 2000);
        }
    }
}

TEST(idlc_usage, of_a_wrong_call_is_told_with_status_2)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    write(scratch.path() / "srv6.h", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    const auto before = files_in(scratch.path());
    const std::string none = "no description is named; name all packages that share a bus";
    const std::string files = "' is no description; name files that end in .idl, or a command: ";
    const std::pair<std::string, std::string> calls[] = {
        {"", none},
        {"--check", none},
        {"-o srv6.idl", "'-o' is no option; --help tells which there are"},
        {"srv6.idl --chekc", "'--chekc' is no option; did you mean '--check'?"},
        {"--check=yes srv6.idl", "--check takes no value; leave '=yes' out"},
        {"srv6.idl --page", "--page needs a value; write it behind"},
        {"srv6.idl --max-errors 0", "--max-errors takes no '0'; give a number from 1 to 100000"},
        {"srv6.idl --max-errors x", "--max-errors takes no 'x'; give a number from 1 to 100000"},
        {"srv6.idl --color=red", "--color takes no 'red'; give one of auto, always, never"},
        {"''", "'" + files},
        {"-", "'-" + files},
        {"srv6.h", "'srv6.h" + files},
        {"srv6.idl srv6.h", "'srv6.h" + files},
        {"srv6", "'srv6" + files},
        {"-- --check", "'--check" + files},
    };
    for (const auto &[call, said] : calls) {
        const outcome o = run(scratch.path(), idlc + " " + call);
        EXPECT_EQ(o.status, 2) << call;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err.substr(0, 6 + said.size()), "idlc: " + said);
        EXPECT_EQ(lines_of(o.err).at(1), "'idlc --help' tells how it is called");
        EXPECT_EQ(files_in(scratch.path()), before) << call;
    }
}

TEST(idlc_help, is_given_on_standard_output_with_status_0)
{
    const std::pair<std::string, std::string> calls[] = {
        {"--help", "usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n"},
        {"-h", "usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n"},
        {"help", "usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n"},
        {"none.idl --bogus --help", "usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n"},
        {"compat --help", "usage: idlc compat "},
        {"help compat", "usage: idlc compat "},
    };
    for (const auto &[call, usage] : calls) {
        const outcome o = run("/", idlc + " " + call);
        EXPECT_EQ(o.status, 0) << call;
        EXPECT_EQ(o.err, "") << call;
        EXPECT_EQ(o.out.substr(0, usage.size()), usage) << call;
        for (const std::string &line : lines_of(o.out))
            EXPECT_LE(line.size(), 90U) << line;
    }
}

TEST(idlc_writes, a_page_of_all_messages_where_it_is_asked_for)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl", "package srv6;\n/// A key.\nmessage srv6_a { uint8 f0; }\n");
    EXPECT_EQ(run(scratch.path(), idlc + " --page page.md srv6.idl").status, 0);
    const std::string page = content(scratch.path() / "page.md");
    EXPECT_NE(page.find("\n## srv6_a\n\nA key.\n\n"), std::string::npos) << page;
    EXPECT_NE(page.find("\n       8  f0  uint8\n       9  padding, 3 bytes\n"), std::string::npos)
        << page;
    EXPECT_EQ(run(scratch.path(), idlc + " --check --page page.md srv6.idl").status, 0);
    write(scratch.path() / "page.md", page + " ");
    const outcome other = run(scratch.path(), idlc + " --check --page page.md srv6.idl");
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(other.err,
              "page.md: error: is not what srv6.idl gives; run ./dev regen and commit the "
              "result\n");
    EXPECT_EQ(run(scratch.path(), idlc + " --page").status, 2);
}

TEST(idlc_writes, four_files_beside_each_description)
{
    const scratch_directory scratch;
    fs::create_directory(scratch.path() / "a");
    write(scratch.path() / "a" / "one.idl", "package srv6;\nmessage srv6_x { uint8 f0; }\n");
    write(scratch.path() / "two.idl", "package srv6_cfg;\nmessage srv6_cfg_x { uint8 f0; }\n");
    const outcome o = run(scratch.path(), idlc + " a/one.idl two.idl");
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out + o.err, "");
    std::vector<std::string> names;
    for (const auto &[name, text] : files_in(scratch.path()))
        names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{
                         "a/one.idl", "a/srv6.cpp", "a/srv6.h", "a/srv6_catalogue.cpp",
                         "a/srv6_messages.h", "srv6_cfg.cpp", "srv6_cfg.h",
                         "srv6_cfg_catalogue.cpp", "srv6_cfg_messages.h", "two.idl"}));
}

TEST(idlc_writes, nothing_that_already_stands)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl", "package srv6;\nmessage srv6_x { uint8 f0; }\n");
    ASSERT_EQ(run(scratch.path(), idlc + " srv6.idl").status, 0);
    const auto stamp = fs::last_write_time(scratch.path() / "srv6.idl") - std::chrono::hours(1);
    fs::last_write_time(scratch.path() / "srv6.h", stamp);
    ASSERT_EQ(run(scratch.path(), idlc + " srv6.idl").status, 0);
    EXPECT_EQ(fs::last_write_time(scratch.path() / "srv6.h"), stamp);
}

TEST(idlc_writes, or_says_that_it_cannot)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl", "package srv6;\nmessage srv6_x { uint8 f0; }\n");
    fs::create_directory(scratch.path() / "srv6.h");
    const outcome o = run(scratch.path(), idlc + " srv6.idl");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "srv6.h: error: cannot be written; look at its directory\n");
}

// The committed descriptions, copied, so that damage can be done.
struct committed {
    scratch_directory scratch;
    std::string descriptions;
    std::vector<std::string> generated;

    committed()
    {
        for (const std::string package : {"srv6", "srv6_cfg", "srv6_sync"}) {
            const fs::path from = fs::path(PROJECT_ROOT) / "idl" / package;
            fs::create_directory(scratch.path() / package);
            descriptions += package + "/" + package + ".idl ";
            fs::copy(from / (package + ".idl"), scratch.path() / package);
            for (const std::string ending : {".h", "_messages.h", ".cpp", "_catalogue.cpp"}) {
                generated.push_back(package + "/" + package + ending);
                fs::copy(from / (package + ending), scratch.path() / package);
            }
        }
    }
    outcome check() const { return run(scratch.path(), idlc + " --check " + descriptions); }
};

TEST(idlc_check, names_the_one_file_that_differs)
{
    const committed c;
    EXPECT_EQ(c.check().status, 0) << c.check().err;
    ASSERT_EQ(c.generated.size(), 12U);
    for (const std::string &name : c.generated) {
        const fs::path file = c.scratch.path() / name;
        const std::string whole = content(file);
        std::string damaged = whole;
        damaged[whole.size() / 2] ^= 1;
        for (const std::string &other : {damaged, whole + "\n", whole.substr(1), std::string()}) {
            write(file, other);
            const outcome o = c.check();
            EXPECT_EQ(o.status, 1) << name;
            EXPECT_EQ(o.err.rfind(name + ": error: is not what ", 0), 0U) << o.err;
            EXPECT_EQ(lines_of(o.err).size(), 1U) << o.err;
            EXPECT_EQ(content(file), other) << "--check wrote";
        }
        fs::remove(file);
        EXPECT_EQ(c.check().status, 1) << name;
        EXPECT_FALSE(fs::exists(file)) << "--check wrote";
        write(file, whole);
    }
}

TEST(idlc_check, sees_a_changed_description)
{
    const committed c;
    const fs::path file = c.scratch.path() / "srv6/srv6.idl";
    std::string text = content(file);
    const auto at = text.find("VRF class data");
    ASSERT_NE(at, std::string::npos);
    text[at] = 'W';
    write(file, text);
    const outcome o = c.check();
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(lines_of(o.err).size(), 2U) << "the header and the catalogue carry it: " << o.err;
}

// The text without its comments and without what stands in quotes.
std::string code_of(const std::string &text)
{
    std::string code;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, 2, "//") == 0) {
            i = text.find('\n', i);
        } else if (text[i] == '"') {
            for (++i; text[i] != '"'; ++i)
                i += text[i] == '\\';
        }
        code += text[i];
    }
    return code;
}

// Data, and a line a message that exports it: logic is written once, by hand.
TEST(generated_sources, hold_no_algorithm)
{
    const committed c;
    for (const std::string &name : c.generated) {
        const bool is_data = name.ends_with("_messages.h") || name.ends_with("_catalogue.cpp");
        if (!is_data && name.ends_with(".h"))
            continue;
        const std::string code = code_of(content(c.scratch.path() / name));
        EXPECT_EQ(code.find('?'), std::string::npos) << name;
        EXPECT_EQ(code.find(")\n{"), std::string::npos) << "a function in " << name;
        const std::regex word("[A-Za-z_][A-Za-z_0-9]*");
        std::set<std::string> words;
        for (std::sregex_iterator at(code.begin(), code.end(), word), end; at != end; ++at)
            words.insert(at->str());
        EXPECT_GT(words.size(), 13U) << name;
        for (const char *keyword : {"if", "else", "for", "while", "do", "switch", "case", "goto",
                                    "try", "throw", "template", "operator", "return"})
            EXPECT_EQ(words.count(keyword), 0U) << keyword << " in " << name;
        // Braces hold initialisers and namespaces: a function's would follow its parameters. The
        // exports have none.
        EXPECT_EQ(code.find('{') != std::string::npos, is_data) << name;
        EXPECT_FALSE(std::regex_search(code, std::regex("\\)\\s*\\{"))) << name;
    }
}

} // namespace
