// The compiler's model of a description: what the grammar accepts, where things stand, which item a
// documentation comment reaches, what follows from the slots. Faults are in errors/.
#include <gtest/gtest.h>

#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "idlc/check.h"
#include "idlc/emit.h"
#include "idlc/lex.h"
#include "idlc/parse.h"
#include "tests/support/run.h"

namespace {

using namespace idlc;

std::vector<package> checked(const std::vector<std::string> &texts)
{
    faults found;
    std::vector<package> packages;
    std::vector<source> sources;
    packages.reserve(texts.size());
    for (const std::string &text : texts) {
        sources.push_back({"test.idl", text});
        packages.push_back(parse(sources.back(), found));
    }
    check(packages, found);
    EXPECT_EQ(found.shown(sources, false), "");
    return packages;
}

package parsed(const std::string &text)
{
    faults found;
    const source from{"test.idl", text};
    package p = parse(from, found);
    EXPECT_EQ(found.shown(std::span(&from, 1), false), "");
    return p;
}

std::string at(position where)
{
    return std::to_string(where.line) + ":" + std::to_string(where.column);
}

TEST(lexer, gives_tokens_with_their_places)
{
    const std::string text = "package a_1;\n\t{ }<4>[x = \"50% off\"] // gone\n/// before \n"
                             "///< after\r\n,";
    faults found;
    lexer lex("test.idl", text, &found);
    struct {
        token_kind kind;
        const char *text;
        const char *place;
    } const expected[] = {
        {token_kind::word, "package", "1:1"},
        {token_kind::word, "a_1", "1:9"},
        {token_kind::punctuation, ";", "1:12"},
        {token_kind::punctuation, "{", "2:2"},
        {token_kind::punctuation, "}", "2:4"},
        {token_kind::punctuation, "<", "2:5"},
        {token_kind::number, "4", "2:6"},
        {token_kind::punctuation, ">", "2:7"},
        {token_kind::punctuation, "[", "2:8"},
        {token_kind::word, "x", "2:9"},
        {token_kind::punctuation, "=", "2:11"},
        {token_kind::string, "50% off", "2:13"},
        {token_kind::punctuation, "]", "2:22"},
        {token_kind::doc_before, "before", "3:1"},
        {token_kind::doc_after, "after", "4:1"},
        {token_kind::punctuation, ",", "5:1"},
        {token_kind::end, "", "5:2"},
        {token_kind::end, "", "5:2"},
    };
    for (const auto &e : expected) {
        const token t = lex.next();
        EXPECT_EQ(t.kind, e.kind) << e.place;
        EXPECT_EQ(t.text, e.text);
        EXPECT_EQ(at(t.at), e.place);
    }
}

TEST(lexer, ordinary_comments_may_say_what_c_comments_may_not)
{
    const package p = parsed("// idl/*/*.idl and */\npackage p; // ?\?/\n"
                             "message p_a { uint8 f0; }");
    EXPECT_EQ(p.messages.size(), 1U);
}

TEST(parser, takes_every_wire_type)
{
    const auto packages = checked({"package p;\n"
                                   "message p_in { uint8 f0; }\n"
                                   "message p_all {\n"
                                   "uint8 f0; uint16 f1; uint32 f2; uint64 f3;\n"
                                   "array<uint8, 7> f4; array<uint32, 1073> f5;\n"
                                   "array<table p_in, 2> f6; vector<uint8> f7;\n"
                                   "vector<table p_in> f8; table p_in f9;\n"
                                   "}"});
    const message &m = packages[0].messages[1];
    const std::vector<std::string> spellings = {"uint8",
                                                "uint16",
                                                "uint32",
                                                "uint64",
                                                "array<uint8, 7>",
                                                "array<uint32, 1073>",
                                                "array<table p_in, 2>",
                                                "vector<uint8>",
                                                "vector<table p_in>",
                                                "table p_in"};
    const std::vector<wire_type> types = {wire_type::uint8,        wire_type::uint16,
                                          wire_type::uint32,       wire_type::uint64,
                                          wire_type::array_uint8,  wire_type::array_uint32,
                                          wire_type::array_table,  wire_type::vector_uint8,
                                          wire_type::vector_table, wire_type::table};
    const std::vector<std::uint64_t> counts = {0, 0, 0, 0, 7, 1073, 2, 0, 0, 0};
    ASSERT_EQ(m.slots.size(), 10U);
    for (std::size_t i = 0; i < 10; ++i) {
        const slot &s = m.slots[i];
        EXPECT_EQ(spelling(s), spellings[i]);
        EXPECT_EQ(s.type, types[i]) << spellings[i];
        EXPECT_EQ(s.count, counts[i]) << spellings[i];
        EXPECT_EQ(s.name, "f" + std::to_string(i));
        const bool holds_table = i == 6 || i == 8 || i == 9;
        EXPECT_EQ(s.refers_to, holds_table ? &packages[0].messages[0] : nullptr) << spellings[i];
    }
}

TEST(parser, needs_blanks_only_between_words)
{
    const auto packages =
        checked({"package p;message p_a{uint8 f0;}message p_b{array<table p_a,3>f0;"
                 "vector<table p_a>f1[malloc_text=\"(%u)\"];}"});
    EXPECT_EQ(packages[0].messages[1].slots[0].count, 3U);
    EXPECT_EQ(packages[0].messages[1].slots[1].malloc_text, "(%u)");
}

TEST(parser, lets_blanks_and_comments_stand_anywhere)
{
    const auto packages =
        checked({"// first\r\n\r\npackage // name\r\n p\r\n;\r\nmessage\tp_a // brace\r\n"
                 "{\r\n array // of\r\n<\r\nuint32 , // count\r\n 4\r\n>\r\nf0 // end\r\n;\r\n"
                 "// nothing\r\n}\r\n// last"});
    EXPECT_EQ(spelling(packages[0].messages[0].slots[0]), "array<uint32, 4>");
}

TEST(parser, takes_words_of_the_language_for_names)
{
    const auto packages = checked({"package message;\nmessage message_slot { uint8 f0; }\n"
                                   "message message_table { table message_slot f0; }"});
    EXPECT_EQ(packages[0].messages[1].name, "message_table");
}

TEST(parser, remembers_where_things_stand)
{
    const package p = parsed("package p;\n"
                             "message p_a { uint8 f0; }\n"
                             "\n"
                             "  message p_b {\n"
                             "    array<table p_a, 12>  f0;\n"
                             "\ttable p_a f1;\n"
                             "}\n");
    EXPECT_EQ(p.file, "test.idl");
    EXPECT_EQ(at(p.name_at), "1:9");
    EXPECT_EQ(at(p.messages[0].at), "2:9");
    EXPECT_EQ(at(p.messages[1].at), "4:11");
    const slot &array = p.messages[1].slots[0];
    EXPECT_EQ(at(array.at), "5:5");
    EXPECT_EQ(at(array.message_at), "5:17");
    EXPECT_EQ(at(array.count_at), "5:22");
    EXPECT_EQ(at(array.name_at), "5:27");
    EXPECT_EQ(at(p.messages[1].slots[1].at), "6:2");
}

TEST(parser, gives_documentation_to_the_right_item)
{
    const package p = parsed("package p;\n"
                             "// not this\n"
                             "/// About a,\n"
                             "/// in two lines.\n"
                             "message p_a {\n"
                             "    /// Before f0.\n"
                             "    uint8 f0;  ///< After f0.\n"
                             "               ///< More of f0.\n"
                             "    uint8 f1;\n"
                             "    /// Before f2.\n"
                             "    uint8 f2;\n"
                             "    uint8 f3; ///< After f3.\n"
                             "}\n"
                             "message p_b { uint8 f0; }\n"
                             "///    About c.   \n"
                             "message p_c { uint8 f0; }\n");
    EXPECT_EQ(p.messages[0].doc, "About a,\nin two lines.");
    EXPECT_EQ(p.messages[0].slots[0].doc, "Before f0.\nAfter f0.\nMore of f0.");
    EXPECT_EQ(p.messages[0].slots[1].doc, "");
    EXPECT_EQ(p.messages[0].slots[2].doc, "Before f2.");
    EXPECT_EQ(p.messages[0].slots[3].doc, "After f3.");
    EXPECT_EQ(p.messages[1].doc, "");
    EXPECT_EQ(p.messages[2].doc, "About c.");
    EXPECT_EQ(p.messages[2].slots[0].doc, "");
}

// The published test values of the hash, and what the identifier is a hash of.
TEST(checker, identifies_messages_by_fnv_1a)
{
    EXPECT_EQ(fnv1a(""), 0x811C9DC5U);
    EXPECT_EQ(fnv1a("a"), 0xE40C292CU);
    EXPECT_EQ(fnv1a("foobar"), 0xBF9CF968U);
    const auto packages = checked({"package srv6;\nmessage srv6_vrf_class_data { uint8 f0; }"});
    EXPECT_EQ(packages[0].messages[0].msg_id, 0xAEF44FB0U);
}

TEST(checker, places_messages_after_those_they_hold)
{
    const auto packages = checked({"package p;\n"
                                   "message p_a { table p_b f0; vector<table p_d> f1; }\n"
                                   "message p_b { array<table p_c, 2> f0; }\n"
                                   "message p_c { uint8 f0; }\n"
                                   "message p_d { table p_c f0; }\n"});
    std::string order;
    for (const message *m : packages[0].by_dependency)
        order += m->name + " ";
    EXPECT_EQ(order, "p_c p_b p_d p_a ");
    EXPECT_EQ(packages[0].messages[0].name, "p_a") << "registration order stays";
}

TEST(checker, lays_out_records_and_frames)
{
    const auto packages = checked(
        {"package p;\n"
         "message p_a { uint8 f0; uint64 f1; uint16 f2; array<uint8, 3> f3; uint32 f4; }\n"
         "message p_b { uint8 f0; vector<uint8> f1; table p_a f2; array<table p_a, 2> f3; }\n"
         "message p_c { uint8 f0; array<table p_a, 2> f1; table p_a f2; }\n"
         "message p_d { uint8 f0; array<uint32, 2> f1; array<table p_d_in, 1> f2; }\n"
         "message p_d_in { array<uint8, 3> f0; uint16 f1; }\n"});
    const auto offsets = [](const message &m, auto slot::*member) {
        std::vector<std::uint32_t> all;
        for (const slot &s : m.slots)
            all.push_back(s.*member);
        return all;
    };
    using list = std::vector<std::uint32_t>;
    const message &a = packages[0].messages[0];
    EXPECT_TRUE(a.fixed_size);
    EXPECT_EQ(offsets(a, &slot::record_offset), (list{0, 8, 16, 18, 24}));
    EXPECT_EQ(a.record_size, 32U);
    EXPECT_EQ(offsets(a, &slot::frame_offset), (list{4, 5, 13, 15, 26}));
    EXPECT_EQ(a.table_length, 30U); // 26 + 4
    EXPECT_EQ(a.frame_length, 56U); // 4 + 30, up to 36; vtable 4 + 10: 50, up to 56
    const message &b = packages[0].messages[1];
    EXPECT_FALSE(b.fixed_size);
    EXPECT_EQ(offsets(b, &slot::record_offset), (list{0, 8, 16, 48}));
    EXPECT_EQ(b.slots[1].count_offset, 4U);
    EXPECT_EQ(b.record_size, 112U);
    EXPECT_EQ(b.frame_length, 0U);
    EXPECT_EQ(b.table_length, 0U);
    const message &c = packages[0].messages[2];
    EXPECT_TRUE(c.fixed_size);
    EXPECT_EQ(offsets(c, &slot::record_offset), (list{0, 8, 72}));
    EXPECT_EQ(offsets(c, &slot::frame_offset), (list{4, 5, 133})); // 5 + 8 + 2 * (4 + 56)
    EXPECT_EQ(c.table_length, 189U);                               // 133 + 56
    EXPECT_EQ(c.frame_length, 208U); // 4 + 189, up to 196; vtable 4 + 6: 206, up to 208
    const message &d = packages[0].messages[3];
    EXPECT_EQ(offsets(d, &slot::record_offset), (list{0, 4, 12}));
    EXPECT_EQ(d.record_size, 20U);                                // 12 + 6, up to 20
    EXPECT_EQ(offsets(d, &slot::frame_offset), (list{4, 5, 21})); // 5 + 8 + 2 * 4
    const message &d_in = packages[0].messages[4];
    EXPECT_EQ(d_in.record_alignment, 2U);
    EXPECT_EQ(d_in.record_size, 6U);
}

// The last value that is accepted, where errors/ has the first that is not.
TEST(checker, accepts_what_just_fits)
{
    EXPECT_EQ(checked({"package p;\nmessage p_a { array<uint8, 65523> f0; }"})[0]
                  .messages[0]
                  .table_length,
              65535U);
    EXPECT_EQ(checked({"package p;\nmessage p_a { uint8 f0; }\n"
                       "message p_b { array<table p_a, 2340> f0; }"})[0]
                  .messages[1]
                  .table_length,
              65532U);
    EXPECT_EQ(
        checked({"package p;\nmessage p_a { vector<uint8> f0; array<uint8, 1073741823> f1; }"})[0]
            .messages[0]
            .slots[1]
            .count,
        1073741823U);
    EXPECT_EQ(checked({"package p;\nmessage p_rec_slots { uint8 f0; }\n"
                       "message p_rec { table p_rec_slots f0; }"})[0]
                  .messages.size(),
              2U)
        << "a name among the messages hides only what follows it";
    EXPECT_EQ(checked({"package p;\nmessage p_a { uint8 f0; }",
                       "package p_q;\nmessage p_q_a { uint8 f0; }"})
                  .size(),
              2U);
}

// Whatever the bytes are, the front end accepts them, or each error says what to do, in one line
// with its place, and shows it in two more.
void survives(const std::string &text)
{
    const source from{"test.idl", text};
    faults found;
    std::vector<package> packages;
    packages.push_back(parse(from, found));
    check(packages, found);
    const std::string said = found.shown(std::span(&from, 1), false);
    ASSERT_EQ(found.none(), said.empty());
    std::istringstream lines(said);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.find(" more error") != std::string::npos)
            break;
        ASSERT_EQ(line.rfind("test.idl:", 0), 0U) << said;
        if (line.find(": note: ") == std::string::npos) {
            ASSERT_NE(line.find("; "), std::string::npos) << "no word of what to do: " << line;
        }
        ASSERT_TRUE(std::getline(lines, line) && line.find(" | ") == 5) << said;
        ASSERT_TRUE(std::getline(lines, line) && line.find('^') != std::string::npos) << said;
    }
}

TEST(front_end, survives_every_truncation_and_every_damaged_byte)
{
    const std::string whole = vorl::test::content(CFG_DESCRIPTION);
    ASSERT_GT(whole.size(), 1000U);
    for (std::size_t length = 0; length < whole.size(); ++length)
        survives(whole.substr(0, length));
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const char byte : {'\0', '\xFF', '"', '<', '9', '/'}) {
            std::string damaged = whole;
            damaged[i] = byte;
            survives(damaged);
        }
    }
}

TEST(emitter, carries_comments_into_the_header_and_the_catalogue)
{
    const auto packages = checked({"package p;\n"
                                   "/// First line,\n"
                                   "/// second \"quoted\" \\ line.\n"
                                   "message p_a { uint8 f0; ///< What f0 is,\n"
                                   "///< and more.\n"
                                   "}\n"});
    const std::string header = emit_header(packages[0]);
    EXPECT_NE(header.find(" * First line,\n * second \"quoted\" \\ line.\n"), std::string::npos);
    EXPECT_NE(header.find("   What f0 is, and more.\n"), std::string::npos);
    const std::string catalogue = emit_catalogue(packages[0]);
    EXPECT_NE(catalogue.find(R"("First line,\nsecond \"quoted\" \\ line.")"), std::string::npos);
    EXPECT_NE(catalogue.find(R"("What f0 is,\nand more.")"), std::string::npos);
}

} // namespace
