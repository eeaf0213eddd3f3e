// Labels files: what they give to slots, and what is said of one with which something is wrong.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/labels.h"

using namespace vorl;
using namespace vorl::inspect;

namespace {

const message &message_of(const std::string &name) { return catalogue::find_message(name)->data; }

/// Line and text of each problem, "3: what; remedy".
std::vector<std::string> problems_of(const std::string &text)
{
    std::vector<std::string> shown;
    for (const labels_problem &problem : read_labels(text).problems)
        shown.push_back(std::to_string(problem.line) + ": " + problem.what);
    return shown;
}

/// The one problem of a file that labels f`slot` of srv6_localsid_fwd in its third line.
std::string problem_of(const std::string &slot, const std::string &value)
{
    const auto problems =
        problems_of("version = 1\n[srv6_localsid_fwd]\n" + slot + " = " + value + "\n");
    if (problems.size() != 1)
        return std::to_string(problems.size()) + " problems";
    const std::string place = "3: srv6_localsid_fwd.";
    return problems[0].starts_with(place) ? problems[0].substr(place.size()) : problems[0];
}

using list = std::vector<std::string>;

} // namespace

TEST(labels, give_slots_names_units_and_forms)
{
    const labels_file file = read_labels(R"(version = 1
[srv6_localsid_fwd]
f1 = { name = "kind", form = "enum", values = { 0x0A = "End.X", 1 = "End" } }
f2 = { form = "hex" }
f5 = { name = "sid", form = "sid", locator = 48, function = 16 }
f6 = { name = "prefix_length", unit = "bits" }
f8 = { form = "time", unit = "ms", since = "start" }
f9.name = "options"
f9.form = "flags"
f9.bits = { 7 = "usd", 0 = "psp" }
[srv6_common_fwd.f6]
name = "locator"
form = "prefix"
length = "f1"
)");
    ASSERT_EQ(file.problems.size(), 0u) << file.problems[0].what;
    const message &localsid = message_of("srv6_localsid_fwd");
    const labels &read = file.right;
    EXPECT_EQ(read.label_of(localsid, 0), nullptr);
    EXPECT_EQ(read.label_of(message_of("srv6_localsid_fwd_key"), 1), nullptr);

    const label *kind = read.label_of(localsid, 1);
    EXPECT_EQ(kind->name, "kind");
    EXPECT_EQ(kind->shown_as, form::enumeration);
    ASSERT_EQ(kind->names.size(), 2u);
    EXPECT_EQ(kind->names[0].value, 1u);
    EXPECT_EQ(kind->names[0].name, "End");
    EXPECT_EQ(kind->names[1].value, 10u);
    EXPECT_EQ(kind->names[1].name, "End.X");

    EXPECT_EQ(read.label_of(localsid, 2)->name, "");
    EXPECT_EQ(read.label_of(localsid, 2)->shown_as, form::hex);
    EXPECT_EQ(read.label_of(localsid, 5)->locator, 48u);
    EXPECT_EQ(read.label_of(localsid, 5)->function, 16u);
    EXPECT_EQ(read.label_of(localsid, 6)->unit, "bits");
    EXPECT_EQ(read.label_of(localsid, 6)->shown_as, form::none);
    EXPECT_EQ(read.label_of(localsid, 8)->unit, "ms");
    EXPECT_TRUE(read.label_of(localsid, 8)->since_start);
    EXPECT_EQ(read.label_of(localsid, 9)->names[1].value, 7u);
    EXPECT_EQ(read.label_of(message_of("srv6_common_fwd"), 6)->length_slot, 1u);

    EXPECT_EQ(read.find_slot(localsid, "prefix_length"), 6u);
    EXPECT_EQ(read.find_slot(localsid, "locator"), std::nullopt);
    EXPECT_EQ(read.find_slot(localsid, ""), std::nullopt);
}

TEST(labels, a_file_of_another_version_or_none_gives_nothing)
{
    const std::string rest = "[srv6_localsid_fwd]\nf1 = { name = \"kind\" }\n";
    EXPECT_EQ(problems_of(rest), list{"1: no version is given; write version = 1 at the top"});
    for (const char *given : {"2", "0", "\"1\"", "1.0"}) {
        const std::string text = "\nversion = " + std::string(given) + "\n" + rest;
        EXPECT_EQ(problems_of(text),
                  list{"2: the version is not 1, the one that is read here; write version = 1, or "
                       "take a vorl that reads it"})
            << given;
        EXPECT_EQ(read_labels(text).right.label_of(message_of("srv6_localsid_fwd"), 1), nullptr);
    }
}

TEST(labels, a_file_that_is_not_toml)
{
    const auto problems = problems_of("version = 1\n[srv6_localsid_fwd\nf1 = 1\n");
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_TRUE(problems[0].starts_with("2: not TOML: ")) << problems[0];
    EXPECT_TRUE(problems[0].ends_with("; correct it")) << problems[0];
    // TOML itself refuses what is there twice.
    const auto twice = problems_of("version = 1\n[srv6_localsid_fwd]\nf1 = { name = \"a\" }\n"
                                   "f1 = { name = \"b\" }\n");
    ASSERT_EQ(twice.size(), 1u);
    EXPECT_TRUE(twice[0].starts_with("4: not TOML: ")) << twice[0];
}

TEST(labels, files_that_would_cost_too_much_are_not_parsed)
{
    EXPECT_EQ(problems_of("version = 1\n" + std::string(std::size_t{1} << 20, '#')),
              list{"1: the file is longer than 1 MiB; leave out what is no label"});
    std::string dotted = "version = 1\na";
    for (int i = 0; i < 64; ++i)
        dotted += ".a";
    EXPECT_EQ(problems_of(dotted + " = 1"),
              list{"2: \"a\" is no message; 'vorl list' shows them all"});
    EXPECT_EQ(problems_of(dotted + ".a = 1"),
              list{"2: the line has more than 64 full stops; make it shorter"});
    // As deep as it goes: tables in each of the nested arrays.
    std::string deep = "version = 1\nb = ";
    for (int i = 0; i < 64; ++i)
        deep += "[\n{ " + dotted.substr(12) + " = ";
    const auto problems = problems_of(deep);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("not TOML: "), std::string::npos) << problems[0];
}

TEST(labels, letters_that_are_not_ascii_stand_in_comments_alone)
{
    const std::string refused = "the line has a letter that is not ASCII outside of a comment; "
                                "replace it";
    EXPECT_EQ(problems_of("version = 1 # Gr\xC3\xBC\xC3\x9F\x65\n# \xFF it's \"so\"\n"), list{});
    EXPECT_EQ(problems_of("version = 1\n\xC7\x9C = 1\n"), list{"2: " + refused});
    EXPECT_EQ(problems_of("version = 1\n[srv6_localsid_fwd]\nf0 = { unit = \"\xC2\xB5s\" }\n"),
              list{"3: " + refused});
    EXPECT_EQ(problems_of("version = 1\n[srv6_localsid_fwd]\nf0 = { unit = \"#\xC2\xB5\" }\n"),
              list{"3: " + refused});
    EXPECT_EQ(problems_of("version = 1\n[srv6_localsid_fwd]\nf0 = { unit = '#\xC2\xB5' }\n"),
              list{"3: " + refused});
}

TEST(labels, orphans)
{
    EXPECT_EQ(problems_of("version = 1\n[srv6_localsid_fw]\n[nothing_like_it]\n"
                          "srv6_sidnhp_fwd = 7\n[srv6_localsid_fwd]\nf13 = {}\nF1 = {}\n"
                          "[srv6_common_fwd_key]\nsid = { name = \"sid\" }\n"),
              (list{"2: \"srv6_localsid_fw\" is no message; did you mean srv6_localsid_fwd?",
                    "3: \"nothing_like_it\" is no message; 'vorl list' shows them all",
                    "6: srv6_localsid_fwd: \"f13\" is no slot; the message has f0 to f12",
                    "7: srv6_localsid_fwd: \"F1\" is no slot; the message has f0 to f12",
                    "9: srv6_common_fwd_key: \"sid\" is no slot; the message has f0 alone"}));
    EXPECT_EQ(problems_of("version = 1\nsrv6_sidnhp_fwd = 7\n[[srv6_localsid_fwd]]\nf1 = {}\n"),
              (list{"2: srv6_sidnhp_fwd is a number; give a table, [srv6_sidnhp_fwd]",
                    "3: srv6_localsid_fwd is an array; give a table, [srv6_localsid_fwd]"}));
    EXPECT_EQ(problems_of("version = 1\n\"a\\u0007;\\n\" = 1\n"),
              list{"2: \"a\\x07;\\x0a\" is no message; 'vorl list' shows them all"});
}

TEST(labels, names)
{
    const std::string usable =
        " is not usable; give up to 64 of a to z, 0 to 9 and _, a letter first";
    for (const char *name : {"", "Sid", "1st", "_sid", "s-d", "s d"})
        EXPECT_EQ(problem_of("f5", "{ name = \"" + std::string(name) + "\" }"),
                  "f5: name \"" + std::string(name) + "\"" + usable);
    EXPECT_EQ(problem_of("f5", "{ name = \"" + std::string(65, 'a') + "\" }"),
              "f5: name \"" + std::string(65, 'a') + "\"" + usable);
    EXPECT_EQ(problem_of("f5", "{ name = \"" + std::string(64, 'a') + "\" }"), "0 problems");
    EXPECT_EQ(problem_of("f5", R"({ name = "f5" })"),
              "f5: name f5 looks like a slot; give another");
    EXPECT_EQ(problem_of("f5", R"({ name = "f123" })"),
              "f5: name f123 looks like a slot; give another");
    for (const char *name : {"f", "f5a", "fa", "flags"})
        EXPECT_EQ(problem_of("f5", "{ name = \"" + std::string(name) + "\" }"), "0 problems");
    EXPECT_EQ(problem_of("f5", R"({ name = "message" })"),
              "f5: name message is what an object's type is called; give another");
    EXPECT_EQ(problem_of("f5", "{ name = 5 }"), "f5: name is a number; give a text in quotes");

    const std::string twice = "version = 1\n[srv6_localsid_fwd]\nf3 = { name = \"sid\" }\n"
                              "f1 = { name = \"sid\" }\n[srv6_localsid_fwd_key]\n"
                              "f1 = { name = \"sid\" }\n";
    EXPECT_EQ(problems_of(twice), list{"4: srv6_localsid_fwd.f3 and f1: both are named sid; give "
                                       "each its own name"});
    const message &m = message_of("srv6_localsid_fwd");
    EXPECT_EQ(read_labels(twice).right.label_of(m, 3)->name, "sid");
    EXPECT_EQ(read_labels(twice).right.label_of(m, 1), nullptr);
}

TEST(labels, keys)
{
    EXPECT_EQ(problem_of("f5", "7"), "f5: is a number; give a table such as { name = \"sid\" }");
    EXPECT_EQ(problem_of("f5", "[]"), "f5: is an array; give a table such as { name = \"sid\" }");
    EXPECT_EQ(problem_of("f5", "true"), "f5: is neither a text nor a whole number; give a table "
                                        "such as { name = \"sid\" }");
    EXPECT_EQ(problem_of("f5", "{}"), "f5: says nothing; give a name, a unit or a form");
    EXPECT_EQ(problem_of("f5", "{ nmae = \"sid\" }"),
              "f5: \"nmae\" is no key of a slot; did you mean name?");
    EXPECT_EQ(problem_of("f5", "{ colour = \"red\" }"),
              "f5: \"colour\" is no key of a slot; the keys are name, unit, form and those of the "
              "form");
    EXPECT_EQ(problem_of("f5", "{ locator = 48 }"),
              "f5: locator goes with form sid; take one of them out");
    EXPECT_EQ(problem_of("f5", R"({ form = "ipv6", length = "f6" })"),
              "f5: length goes with form prefix; take one of them out");
    EXPECT_EQ(problem_of("f6", R"({ form = "dec", bits = { 1 = "a" } })"),
              "f6: bits goes with form flags; take one of them out");
}

TEST(labels, forms)
{
    EXPECT_EQ(problem_of("f5", R"({ form = "ip6" })"),
              "f5: form \"ip6\" is none; did you mean ipv6?");
    EXPECT_EQ(problem_of("f5", R"({ form = "roman" })"),
              "f5: form \"roman\" is none; the forms are dec, hex, ipv4, ipv6, prefix, mac, sid, "
              "time, enum, flags, unit");
    EXPECT_EQ(problem_of("f6", R"({ form = "ipv6" })"),
              "f6: form ipv6 does not fit uint16; take dec, hex, enum, flags and unit");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid" })"), "2 problems");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = 48 })"),
              "f5: form sid needs function; add it");
    EXPECT_EQ(problem_of("f5", R"({ form = "prefix" })"), "f5: form prefix needs length; add it");
    EXPECT_EQ(problem_of("f0", R"({ form = "time" })"), "f0: form time needs unit; add it");
    EXPECT_EQ(problem_of("f0", R"({ form = "unit" })"), "f0: form unit needs unit; add it");
    EXPECT_EQ(problem_of("f0", R"({ form = "enum" })"), "f0: form enum needs values; add it");
    EXPECT_EQ(problem_of("f0", R"({ form = "flags" })"), "f0: form flags needs bits; add it");
    EXPECT_EQ(problems_of("version = 1\n[srv6_common_fwd_update]\nf1 = { form = \"hex\" }\n"),
              list{"3: srv6_common_fwd_update.f1: form hex does not fit vector<table "
                   "srv6_common_fwd>; leave the form out"});
}

TEST(labels, lengths)
{
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = 0, function = 16 })"),
              "f5: locator is no length in bits; give a number from 1 to 128");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = 48, function = 129 })"),
              "f5: function is no length in bits; give a number from 0 to 128");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = "48", function = 16 })"),
              "f5: locator is no length in bits; give a number from 1 to 128");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = 64, function = 65 })"),
              "f5: locator and function are longer than 128 bits; shorten one");
    EXPECT_EQ(problem_of("f5", R"({ form = "sid", locator = 64, function = 64 })"), "0 problems");
    EXPECT_EQ(problem_of("f5", R"({ form = "prefix", length = "f13" })"),
              "f5: length \"f13\" is no slot; the message has f0 to f12");
    EXPECT_EQ(problem_of("f5", R"({ form = "prefix", length = "f5" })"),
              "f5: length f5 is array<uint32, 4>; name a slot that is a number");
    EXPECT_EQ(problem_of("f5", R"({ form = "prefix", length = 6 })"),
              "f5: length is a number; give a text in quotes");
}

TEST(labels, units)
{
    EXPECT_EQ(problem_of("f5", R"({ unit = "bits" })"), "0 problems"); // of each of four words
    EXPECT_EQ(problem_of("f5", R"({ form = "ipv6", unit = "bits" })"),
              "f5: unit goes with numbers and times, not with form ipv6; take it out");
    EXPECT_EQ(problems_of("version = 1\n[srv6_common_fwd_update]\nf1 = { unit = \"m\" }\n"),
              list{"3: srv6_common_fwd_update.f1: unit goes with numbers and times, not with "
                   "vector<table srv6_common_fwd>; take it out"});
    EXPECT_EQ(problem_of("f0", R"({ form = "time", unit = "h" })"),
              "f0: unit \"h\" is none of time; give s, ms, us or ns");
    EXPECT_EQ(problem_of("f0", R"({ form = "time", unit = "s", since = "1971" })"),
              "f0: since \"1971\" is neither \"1970\" nor \"start\"; give one");
    EXPECT_EQ(problem_of("f0", R"({ form = "time", unit = "s", since = "1970" })"), "0 problems");
    const std::string usable = " is not usable; give up to 32 characters of ASCII, none of them a "
                               "blank at either end";
    EXPECT_EQ(problem_of("f0", R"({ unit = "" })"), "f0: unit \"\"" + usable);
    EXPECT_EQ(problem_of("f0", R"({ unit = " s" })"), "f0: unit \" s\"" + usable);
    EXPECT_EQ(problem_of("f0", R"({ unit = "\u00b5s" })"), "f0: unit \"\\xc2\\xb5s\"" + usable);
    EXPECT_EQ(problem_of("f0", R"({ unit = "Mbit/s of it" })"), "0 problems");
}

TEST(labels, names_of_values)
{
    const std::string none = "f6: values is no table of names; give one such as { 1 = \"first\", 2 "
                             "= \"second\" }";
    EXPECT_EQ(problem_of("f6", R"({ form = "enum", values = {} })"), none);
    EXPECT_EQ(problem_of("f6", R"({ form = "enum", values = [ "a" ] })"), none);
    EXPECT_EQ(problem_of("f6", R"({ form = "enum", values = { 65535 = "a" } })"), "0 problems");
    EXPECT_EQ(problem_of("f6", R"({ form = "enum", values = { 65536 = "a" } })"),
              "f6: value \"65536\" is none of uint16; give 0 to 65535");
    for (const char *key : {"one", "-1", "0x", "1x", "18446744073709551616"})
        EXPECT_EQ(
            problem_of("f6", "{ form = \"enum\", values = { " + std::string(key) + " = \"a\" } }"),
            "f6: value \"" + std::string(key) + "\" is none of uint16; give 0 to 65535");
    EXPECT_EQ(problem_of("f9", R"({ form = "flags", bits = { 7 = "a" } })"), "0 problems");
    EXPECT_EQ(problem_of("f9", R"({ form = "flags", bits = { 8 = "a" } })"),
              "f9: bit \"8\" is none of uint8; give 0 to 7");
    for (const char *name : {"\"\"", "\"1\"", "\"a b\"", "\"a|b\"", "7"})
        EXPECT_EQ(
            problem_of("f9", "{ form = \"flags\", bits = { 1 = " + std::string(name) + " } }"),
            "f9: bit 1 has no usable name; give up to 64 letters, digits, _, - and ., a "
            "letter first");
    EXPECT_EQ(problem_of("f9", R"({ form = "enum", values = { 1 = "a", 0x1 = "b" } })"),
              "f9: value 0x1 has a name, a; give it one alone");
    EXPECT_EQ(problem_of("f9", R"({ form = "enum", values = { 1 = "a", 2 = "a" } })"),
              "f9: name a stands for another value, too; give each its own");
}

TEST(labels, what_is_right_is_kept_beside_what_is_wrong_in_the_order_of_the_file)
{
    const labels_file file = read_labels("version = 1\n[srv6_localsid_fwd]\n"
                                         "f9 = { name = \"Bad\", form = \"hex\" }\n"
                                         "f6 = { name = \"length\" }\n"
                                         "f10 = { name = \"state\", colour = 1 }\n"
                                         "[srv6_nothing]\n");
    ASSERT_EQ(file.problems.size(), 3u);
    EXPECT_EQ(file.problems[0].line, 3u);
    EXPECT_EQ(file.problems[1].line, 5u);
    EXPECT_EQ(file.problems[2].line, 6u);
    const message &m = message_of("srv6_localsid_fwd");
    EXPECT_EQ(file.right.label_of(m, 9), nullptr);
    EXPECT_EQ(file.right.label_of(m, 6)->name, "length");
    EXPECT_EQ(file.right.label_of(m, 10), nullptr);
}
