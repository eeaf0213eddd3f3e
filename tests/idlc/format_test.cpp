// idlc fmt: one format, which keeps comments and what is made of a description; --check names the
// first line that is not in it.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "idlc/check.h"
#include "idlc/emit.h"
#include "idlc/format.h"
#include "idlc/lex.h"
#include "idlc/parse.h"
#include "tests/support/run.h"

namespace {

using namespace vorl::test;

const std::string idlc_program = "'" IDLC_PROGRAM "'";

std::string formatted(const std::string &text) { return idlc::formatted({"a.idl", text}); }

struct sample {
    const char *name;
    const char *text;
    const char *wanted;
};
void PrintTo(const sample &s, std::ostream *out) { *out << s.name; }

const sample samples[] = {
    {"blanks_and_columns",
     "package   srv6 ;\nmessage srv6_a{uint8 f0;array<uint32,4>f1;\n\n\n  table\tsrv6_b   f2 ; }\n"
     "message srv6_b { vector < table srv6_c > f0; } message srv6_c { uint64 f0; }",
     "package srv6;\n\nmessage srv6_a {\n    uint8            f0;\n    array<uint32, 4> f1;\n\n"
     "    table srv6_b     f2;\n}\n\nmessage srv6_b {\n    vector<table srv6_c> f0;\n}\n\n"
     "message srv6_c {\n    uint64 f0;\n}\n"},
    {"carriage_returns", "package srv6;\r\n// a\r\nmessage srv6_a {\r\n\tuint8 f0; // b\r\n}\r\n",
     "package srv6;\n\n// a\nmessage srv6_a {\n    uint8 f0;  // b\n}\n"},
    {"an_attribute_on_a_line_of_its_own",
     "package srv6;\nmessage srv6_a { uint8 f0; }\nmessage srv6_b {\n"
     "  vector<table srv6_a> f0[malloc_text=\"a  %u;\"] ; ///< items\n}\n",
     "package srv6;\n\nmessage srv6_a {\n    uint8 f0;\n}\n\nmessage srv6_b {\n"
     "    vector<table srv6_a> f0\n        [malloc_text = \"a  %u;\"];  ///< items\n}\n"},
    {"comments_of_the_file",
     "\n\n// first\n//\n// second\n\n\n\n// third\npackage srv6; // name\n// of a\nmessage srv6_a "
     "{ // "
     "open\nuint8 f0;\n} // close\n// last\n\n// very last\n\n\n",
     "// first\n//\n// second\n\n// third\npackage srv6;  // name\n\n// of a\nmessage srv6_a {  // "
     "open\n    uint8 f0;\n}  // close\n\n// last\n\n// very last\n"},
    {"documentation",
     "package srv6;\n/// About a,\n///   further in.\n\n\n/// And more.\nmessage srv6_a {\n"
     "/// Before f0.\nuint8 f0;///< Behind f0,\n///< goes on.\nuint16 f1; /// Before f2.\n\n"
     "uint32 f2;\n\n///< Behind f2.\n}\n",
     "package srv6;\n\n/// About a,\n///   further in.\n\n/// And more.\nmessage srv6_a {\n"
     "    /// Before f0.\n    uint8  f0;  ///< Behind f0,\n                ///< goes on.\n"
     "    uint16 f1;\n    /// Before f2.\n\n    uint32 f2;  ///< Behind f2.\n}\n"},
    {"comments_in_odd_places",
     "package // a\nsrv6 // b\n; // c\nmessage // d\nsrv6_a // e\n{ // f\n// g\narray // h\n< "
     "uint8 // "
     "i\n, 4 > f0 // j\n; // k\n// l\n///< m\n// n\n} // o\n",
     "// a\n// b\npackage srv6;  // c\n\n// d\n// e\nmessage srv6_a {  // f\n    // g\n    // h\n  "
     "  // "
     "i\n    // j\n    array<uint8, 4> f0;  // k\n                         ///< m\n    // l\n    "
     "// "
     "n\n}  // o\n"},
    {"empty_lines",
     "package srv6;\nmessage srv6_a {\n\n\n// a\n\n\nuint8 f0;\n\n\n// b\nuint8 f1;\n\n// "
     "c\n\n\n}\n",
     "package srv6;\n\nmessage srv6_a {\n    // a\n\n    uint8 f0;\n\n    // b\n    uint8 f1;\n\n  "
     "  // "
     "c\n}\n"},
};

class format : public testing::TestWithParam<sample> {};

TEST_P(format, is_one_and_its_own)
{
    EXPECT_EQ(formatted(GetParam().text), GetParam().wanted);
    EXPECT_EQ(formatted(GetParam().wanted), GetParam().wanted);
}
INSTANTIATE_TEST_SUITE_P(all, format, testing::ValuesIn(samples),
                         [](const auto &tested) { return tested.param.name; });

/// All that is made of a description.
std::string made_of(const std::string &text)
{
    const idlc::source from{"a.idl", text};
    idlc::faults found;
    std::vector<idlc::package> packages;
    packages.push_back(idlc::parse(from, found));
    idlc::check(packages, found);
    EXPECT_EQ(found.shown(std::span(&from, 1), false), "");
    const idlc::package &p = packages[0];
    return idlc::emit_header(p) + idlc::emit_messages(p) + idlc::emit_source(p) +
           idlc::emit_catalogue(p) + idlc::emit_page(packages);
}

/// Everything that begins with // outside of texts, in alphabetical order.
std::vector<std::string> comments_of(const std::string &text)
{
    std::vector<std::string> comments;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        bool is_in_text = false;
        for (std::size_t i = 0; i < line.size(); ++i) {
            is_in_text = is_in_text != (line[i] == '"');
            if (is_in_text || line.compare(i, 2, "//") != 0)
                continue;
            comments.push_back(line.substr(i));
            break;
        }
    }
    std::sort(comments.begin(), comments.end());
    return comments;
}

std::vector<std::string> descriptions()
{
    std::vector<std::string> texts = {content(IDLC_GOLDEN)};
    for (const auto &entry : fs::recursive_directory_iterator(PROJECT_ROOT "/idl")) {
        if (entry.path().extension() == ".idl")
            texts.push_back(content(entry.path()));
    }
    return texts;
}

void expect_kept(const std::string &text)
{
    const std::string once = formatted(text);
    EXPECT_EQ(formatted(once), once);
    EXPECT_EQ(made_of(once), made_of(text));
    EXPECT_EQ(comments_of(once), comments_of(text));
}

TEST(formatting, keeps_comments_and_what_is_made_of_every_description)
{
    ASSERT_EQ(descriptions().size(), 4U);
    for (const std::string &text : descriptions())
        expect_kept(text);
}

/// The tokens of the text, documentation and comments among them, each behind `apart`.
std::string scattered(const std::string &text, const std::string &apart)
{
    std::string result;
    idlc::lexer lex("a.idl", text, nullptr);
    lex.keep_comments();
    for (idlc::token t = lex.next(); t.kind != idlc::token_kind::end; t = lex.next()) {
        const bool is_comment = t.kind == idlc::token_kind::comment ||
                                t.kind == idlc::token_kind::doc_before ||
                                t.kind == idlc::token_kind::doc_after;
        const std::string quote = t.kind == idlc::token_kind::string ? "\"" : "";
        result += quote + std::string(t.text) + quote + (is_comment ? "\n" : apart);
    }
    return result;
}

TEST(formatting, of_what_is_scattered_keeps_the_same)
{
    for (const std::string &text : descriptions()) {
        for (const std::string apart :
             {" ", "\n", "\n\n\n", "\t\r\n  ", " // odd\n", "\n// odd\n\n"}) {
            expect_kept(scattered(text, apart));
            EXPECT_EQ(made_of(scattered(text, apart)), made_of(text));
        }
    }
}

TEST(fmt_call, writes_what_is_not_in_the_format_and_nothing_else)
{
    const scratch_directory scratch;
    fs::create_directory(scratch.path() / "deep");
    write(scratch.path() / "deep/b.idl", "package b;message b_a{uint8 f0;}");
    write(scratch.path() / "a.idl", "package a;\n\nmessage a_a {\n    uint8 f0;\n}\n");
    const auto stamp = fs::last_write_time(scratch.path() / "a.idl") - std::chrono::hours(1);
    fs::last_write_time(scratch.path() / "a.idl", stamp);
    const outcome o = run(scratch.path(), idlc_program + " fmt a.idl deep");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out + o.err, "");
    EXPECT_EQ(content(scratch.path() / "deep/b.idl"),
              "package b;\n\nmessage b_a {\n    uint8 f0;\n}\n");
    EXPECT_EQ(fs::last_write_time(scratch.path() / "a.idl"), stamp);
}

TEST(fmt_call, with_check_names_the_first_line_that_differs)
{
    const scratch_directory scratch;
    const std::string text = "package a;\n\nmessage a_a {\n   uint8 f0;\n    uint8  f1;\n}\n";
    write(scratch.path() / "a.idl", text);
    write(scratch.path() / "b.idl", "package b;\n\nmessage b_a {\n    uint8 f0;\n}\n\n");
    write(scratch.path() / "c.idl", "package c;\r\n\r\nmessage c_a {\r\n    uint8 f0;\r\n}\r\n");
    write(scratch.path() / "d.idl", "package d;\n\nmessage d_a {\n    uint8 f0;\n}\n");
    write(scratch.path() / "e.idl", "package e;\n\nmessage e_a {\n    uint8 f0;\n}");
    const outcome o = run(scratch.path(), idlc_program + " fmt --check .");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err, "./a.idl:4: error: is not in the format; 'idlc fmt ./a.idl' writes it so\n"
                     "  is:        \"   uint8 f0;\"\n"
                     "  should be: \"    uint8 f0;\"\n"
                     "./b.idl:6: error: is not in the format; 'idlc fmt ./b.idl' writes it so\n"
                     "  is:        \"\"\n"
                     "  should be: (the end)\n"
                     "./c.idl:1: error: is not in the format; 'idlc fmt ./c.idl' writes it so\n"
                     "  is:        \"package c;\\x0d\"\n"
                     "  should be: \"package c;\"\n"
                     "./e.idl:5: error: is not in the format; 'idlc fmt ./e.idl' writes it so\n"
                     "  is:        \"}\", without a line feed\n"
                     "  should be: \"}\"\n");
    EXPECT_EQ(content(scratch.path() / "a.idl"), text) << "--check wrote";
}

TEST(fmt_call, leaves_what_is_faulty_and_says_why)
{
    const scratch_directory scratch;
    const std::string text = "package a;\nmessage a_a { uint9 f0; }\n";
    write(scratch.path() / "a.idl", text);
    for (const std::string call : {" fmt a.idl", " fmt --check a.idl"}) {
        const outcome o = run(scratch.path(), idlc_program + call);
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(lines_of(o.err).at(0),
                  "a.idl:2:15: error: unknown type 'uint9'; did you mean 'uint8'?");
        EXPECT_EQ(content(scratch.path() / "a.idl"), text);
    }
    const outcome gone = run(scratch.path(), idlc_program + " fmt gone.idl");
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err,
              "gone.idl: error: cannot be read, No such file or directory; name a file that can\n");
}

TEST(fmt_call, of_wrong_arguments_is_refused)
{
    EXPECT_EQ(run("/", idlc_program + " fmt").status, 2);
    EXPECT_EQ(run("/", idlc_program + " fmt").err,
              "idlc fmt: no description is named; name descriptions, or directories of them\n"
              "'idlc fmt --help' tells how it is called\n");
    EXPECT_EQ(run("/", idlc_program + " fmt --write a.idl").status, 2);
    EXPECT_EQ(run("/", idlc_program + " fmt --help").status, 0);
}

} // namespace
