// The compiler as a program: a wrong call tells what is wrong with it, and exit status 2; a good
// description is written, and --check compares.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/idlc/refusal.h"

namespace {

using namespace vorl::test;

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
        {"--help", "usage: idlc [--check] [--page PAGE.md] [--lua FILE.lua] DESCRIPTION.idl...\n"},
        {"-h", "usage: idlc [--check] [--page PAGE.md] [--lua FILE.lua] DESCRIPTION.idl...\n"},
        {"help", "usage: idlc [--check] [--page PAGE.md] [--lua FILE.lua] DESCRIPTION.idl...\n"},
        {"none.idl --bogus --help",
         "usage: idlc [--check] [--page PAGE.md] [--lua FILE.lua] DESCRIPTION.idl...\n"},
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

TEST(idlc_writes, all_messages_as_data_of_lua_where_it_is_asked_for)
{
    const scratch_directory scratch;
    write(scratch.path() / "srv6.idl",
          "package srv6;\n"
          "message srv6_a { uint64 f0; array<uint32, 4> f1; vector<table srv6_c> f2; }\n"
          "message srv6_b { uint8 f0; vector<uint8> f1; table srv6_c f2; }\n"
          "message srv6_c { array<uint8, 6> f0; uint16 f1; uint32 f2; }\n"
          "message srv6_d { array<table srv6_c, 3> f0; }\n");
    EXPECT_EQ(run(scratch.path(), idlc + " --lua all.lua srv6.idl").status, 0);
    std::string text = content(scratch.path() / "all.lua");
    // Identifiers are hashes of names.
    text = std::regex_replace(text, std::regex("0x[0-9A-F]{8}"), "ID");
    EXPECT_EQ(text.substr(text.find("return")), R"(return {
  { name = "srv6_c", identifier = ID, record_size = 12, slots = {
    { "f0", "array", 1, 6 },
    { "f1", "scalar", 2, 0 },
    { "f2", "scalar", 4, 0 },
  } },
  { name = "srv6_a", identifier = ID, record_size = 40, slots = {
    { "f0", "scalar", 8, 0 },
    { "f1", "array", 4, 4 },
    { "f2", "table_vector", 0, 0, ID },
  } },
  { name = "srv6_b", identifier = ID, record_size = 32, slots = {
    { "f0", "scalar", 1, 0 },
    { "f1", "byte_vector", 1, 0 },
    { "f2", "table", 0, 0, ID },
  } },
  { name = "srv6_d", identifier = ID, record_size = 36, slots = {
    { "f0", "table_array", 0, 3, ID },
  } },
}
)");
    write(scratch.path() / "all.lua", content(scratch.path() / "all.lua") + " ");
    EXPECT_EQ(run(scratch.path(), idlc + " --check --lua all.lua srv6.idl").status, 1);
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
