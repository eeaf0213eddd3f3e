// The compiler as a program: each faulty description gives one line that says where, what and what
// to do, exit status 1 and no file; a wrong call gives the usage and exit status 2; a good one
// writes, and --check compares.
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

// Runs idlc on descriptions in `directory`; `expected` is what the one line says after "error: ",
// from its beginning, after the place in front of it.
void expect_refusal(const fs::path &directory, const std::string &descriptions,
                    const std::string &place, const std::string &expected)
{
    const auto before = files_in(directory);
    const outcome o = run(directory, idlc + " " + descriptions);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    ASSERT_EQ(lines_of(o.err).size(), 1U) << o.err;
    EXPECT_EQ(o.err.back(), '\n');
    EXPECT_EQ(o.err.substr(0, (place + ": error: " + expected).size()),
              place + ": error: " + expected);
    EXPECT_NE(o.err.find("; "), std::string::npos) << "no word of what to do: " << o.err;
    EXPECT_EQ(files_in(directory), before) << "something was written";
}

std::string take_lead(const std::string &line, const std::string &lead)
{
    if (line.rfind(lead, 0) != 0)
        throw std::runtime_error("'" + lead + "' is wanted: " + line);
    return line.substr(lead.size());
}

class faulty_description : public testing::TestWithParam<std::string> {};

// A fixture opens with "// expect: LINE:COLUMN: TEXT"; "// with: FILE" names what of errors/with
// stands before it in the call.
TEST_P(faulty_description, is_refused_in_one_line)
{
    const scratch_directory scratch;
    const std::string name = GetParam() + ".idl";
    fs::copy(errors / name, scratch.path());
    const std::vector<std::string> lines = lines_of(content(errors / name));
    const std::string expected = take_lead(lines.at(0), "// expect: ");
    const auto end_of_place = expected.find(": ");
    ASSERT_NE(end_of_place, std::string::npos);
    std::string descriptions;
    if (lines.at(1).rfind("// with: ", 0) == 0) {
        const std::string other = take_lead(lines[1], "// with: ");
        fs::copy(errors / "with" / other, scratch.path());
        descriptions = other + " ";
    }
    expect_refusal(scratch.path(), descriptions + name,
                   name + ":" + expected.substr(0, end_of_place),
                   expected.substr(end_of_place + 2));
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
void expect_refusal_of(const std::string &text, const std::string &place,
                       const std::string &expected)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", text);
    expect_refusal(scratch.path(), "a.idl", "a.idl:" + place, expected);
}

TEST(idlc_refuses, an_empty_file)
{
    expect_refusal_of("", "1:1", "the description ends here; a description opens with");
}

TEST(idlc_refuses, nul_bytes)
{
    using std::string_literals::operator""s;
    expect_refusal_of("package srv6\0;"s, "1:13", "byte 0 has no meaning in a description; remove");
    expect_refusal_of("\0"s, "1:1", "byte 0 has no meaning in a description; remove");
    expect_refusal_of("// \0\n"s, "1:4", "a comment holds ASCII text; remove byte 0");
    expect_refusal_of("package srv6;\nmessage srv6_a { uint8 f0; } \"\0\""s, "2:31",
                      "a text holds printable ASCII without backslashes; remove");
    expect_refusal_of("package p\x7F;", "1:10", "byte 127 has no meaning in a description; remove");
    expect_refusal_of("package p;\n\f", "2:1", "byte 12 has no meaning in a description; remove");
    expect_refusal_of("/// a\rb\x01\n", "1:8", "a comment holds ASCII text; remove byte 1");
}

TEST(idlc_refuses, files_that_cannot_be_read)
{
    const scratch_directory scratch;
    expect_refusal(scratch.path(), "none.idl", "none.idl:1:1", "cannot be read; name an existing");
    fs::create_directory(scratch.path() / "directory.idl");
    expect_refusal(scratch.path(), "directory.idl", "directory.idl:1:1",
                   "cannot be read; name an existing");
}

TEST(idlc_refuses, all_descriptions_for_a_fault_in_one)
{
    const scratch_directory scratch;
    write(scratch.path() / "good.idl", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    write(scratch.path() / "bad.idl", "package srv6_cfg;\nmessage srv6_cfg_a { uint8 f1; }\n");
    expect_refusal(scratch.path(), "good.idl bad.idl", "bad.idl:2:28", "slot 0 of 'srv6_cfg_a'");
    expect_refusal(scratch.path(), "good.idl none.idl", "none.idl:1:1", "cannot be read");
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
    expect_refusal_of(with_slots(257, "uint8"), "259:1", "'srv6_a' has more than 256 slots; nest");
    expect_refusal_of(with_slots(40000, "uint8"), "259:1", "'srv6_a' has more than 256 slots");
    // Slot 16383 lies at 4 + 4 * 16383, which is 65536.
    expect_refusal_of(with_slots(16384, "uint32"), "16386:1",
                      "slot 'f16383' of 'srv6_a' would lie at offset 65536, past the 16 bits");
    // The same where a vector makes the message one of variable size: 8 bytes a slot.
    expect_refusal_of(with_slots(8193, "vector<uint8>"), "8195:1",
                      "slot 'f8192' of 'srv6_a' would lie at offset 65540, past the 16 bits");
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
            expect_refusal_of(chain(count, links::to_next, innermost), "33:26", said);
            expect_refusal_of(chain(count, links::to_previous, innermost), "34:26", said);
        }
    }
    // A cycle longer than the limit is first of all too deep.
    expect_refusal_of(chain(100000, links::to_next, "table srv6_m0"), "33:26", said);
    expect_refusal_of(chain(32, links::to_next, "table srv6_m0"), "33:26",
                      "forward cycle: srv6_m0 -> srv6_m1 -> ");
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

TEST(idlc_usage, is_told_with_status_2)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    write(scratch.path() / "srv6.h", "package srv6;\nmessage srv6_a { uint8 f0; }\n");
    const auto before = files_in(scratch.path());
    for (const char *arguments : {"", "--check", "--help", "-o srv6.idl", "srv6.idl --bogus", "''",
                                  "-", "srv6.h", "srv6.idl srv6.h", "srv6"}) {
        const outcome o = run(scratch.path(), idlc + " " + arguments);
        EXPECT_EQ(o.status, 2) << arguments;
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err.rfind("usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n", 0), 0U)
            << o.err;
        EXPECT_EQ(files_in(scratch.path()), before) << arguments;
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
