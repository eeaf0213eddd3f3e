// What the descriptions say, worked out apart from their compiler: against the compiler's
// catalogue, and against the rows of messages.inc.
#include "tests/facts/descriptions.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "catalogue/catalogue.h"
#include "tests/facts/rows.h"

namespace vorl::test {
namespace {

std::string content_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::vector<described_message> &described()
{
    static const std::vector<described_message> messages = [] {
        std::vector<std::string> texts;
        std::istringstream paths(DESCRIPTIONS);
        for (std::string path; std::getline(paths, path, ':');)
            texts.push_back(content_of(path));
        return read_descriptions(texts);
    }();
    return messages;
}

described_message read(const std::string &slots)
{
    return read_descriptions(
               {"package p;\n message p_a {" + slots + "}\n message p_b { uint8 f0; }"})
        .front();
}

TEST(descriptions, every_message_of_the_catalogue_is_what_its_description_says)
{
    std::size_t i = 0;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            ASSERT_LT(i, described().size());
            const described_message &expected = described()[i++];
            const message &m = info.data;
            ASSERT_EQ(name_of(m), expected.name);
            SCOPED_TRACE(expected.name);
            EXPECT_EQ(package->name, expected.package);
            EXPECT_EQ(m.msg_id, expected.msg_id);
            EXPECT_EQ(m.record_size, expected.record_size);
            EXPECT_EQ(is_fixed_size(m), expected.is_fixed_size);
            EXPECT_EQ(catalogue::frame_length(m), expected.frame_length);
            EXPECT_EQ(catalogue::frame_table_length(m), expected.table_length);
            ASSERT_EQ(m.slots.size, expected.slots.size());
            for (std::size_t s = 0; s < m.slots.size; ++s) {
                const slot &found = m.slots[s];
                const described_slot &wanted = expected.slots[s];
                EXPECT_EQ(found.record_at, wanted.record_at) << "slot " << s;
                EXPECT_EQ(catalogue::frame_offset(m, s), wanted.frame_at) << "slot " << s;
                EXPECT_EQ(found.is_vector(), wanted.is_vector) << "slot " << s;
                EXPECT_EQ(found.count_at, wanted.count_at) << "slot " << s;
                EXPECT_EQ(found.count, wanted.count) << "slot " << s;
                EXPECT_EQ(found.width, wanted.width) << "slot " << s;
                EXPECT_EQ(found.nested == nullptr ? "" : name_of(*found.nested), wanted.table)
                    << "slot " << s;
            }
        }
    }
    EXPECT_EQ(i, described().size());
}

TEST(descriptions, give_the_rows_of_messages_inc)
{
    const std::vector<row> rows = rows_of(content_of(FACTS_FILE));
    std::size_t i = 0;
    for (const described_message &m : described()) {
        ASSERT_LT(i, rows.size()) << m.name << " has no row; run ./dev regen";
        ASSERT_EQ(m.name, rows[i].message)
            << "messages.inc has another order than the descriptions; run ./dev regen";
        EXPECT_EQ(fact_row(m, rows[i].since), rows[i].text);
        ++i;
    }
    EXPECT_EQ(i, rows.size()) << rows[i].message << " is not described";
}

TEST(descriptions, rows_of_1_0_0)
{
    std::map<std::string, std::size_t> of_version;
    for (const row &r : rows_of(content_of(FACTS_FILE)))
        ++of_version[r.since];
    EXPECT_EQ(of_version[""], 115u);
}

TEST(descriptions, pages_say_how_many_messages_there_are)
{
    const auto expect = [](const std::string &file, const std::string &before, std::size_t count,
                           const std::string &behind) {
        const std::string wanted = before + std::to_string(count) + behind;
        EXPECT_NE(content_of(PROJECT_ROOT "/" + file).find(wanted), std::string::npos)
            << file << " should say: " << wanted << "; run ./dev regen";
    };
    const std::size_t messages = described().size();
    expect("README.md", "There are ", messages, " message types");
    expect("SECURITY.md", "in all ", messages, " messages");
    expect("docs/wireshark.md", "all ", messages, " messages");
    expect("cmake/deb/control", "encodes ", messages, " types");
    expect("docs/integrators.md", "There are ", 7 * messages + 9, " functions");
}

// Members at their natural alignment; fields back to back, an array's behind 8 bytes, and a table's
// frame of 24.
TEST(descriptions, places_of_each_type)
{
    const described_message m =
        read("uint8 f0; uint64 f1; array<uint8, 3> f2; uint16 f3; table p_b f4;"
             "array<table p_b, 2> f5; array<uint32, 4> f6;");
    ASSERT_EQ(m.slots.size(), 7u);
    const std::uint64_t record[] = {0, 8, 16, 20, 22, 23, 28};
    const std::uint64_t frame[] = {4, 5, 13, 24, 26, 50, 114};
    for (std::size_t s = 0; s < 7; ++s) {
        EXPECT_EQ(m.slots[s].record_at, record[s]) << s;
        EXPECT_EQ(m.slots[s].frame_at, frame[s]) << s;
    }
    EXPECT_EQ(m.record_size, 48u);   // 44, up to a multiple of 8
    EXPECT_EQ(m.table_length, 138u); // 114 and 8 and 16
    EXPECT_EQ(m.vtable_at, 144u);    // 4 and 140
    EXPECT_EQ(m.frame_length, 168u); // 144 and 18, up to a multiple of 8
}

TEST(descriptions, a_vector_has_a_count_and_a_pointer_and_no_frame)
{
    const described_message m = read("uint8 f0; vector<uint8> f1 ; vector<table p_b> f2"
                                     " [malloc_text = \"// %u; }\"]; // uint8 f3;\n");
    ASSERT_EQ(m.slots.size(), 3u);
    EXPECT_EQ(m.slots[1].count_at, 4u);
    EXPECT_EQ(m.slots[1].record_at, 8u);
    EXPECT_EQ(m.slots[2].count_at, 16u);
    EXPECT_EQ(m.slots[2].record_at, 24u);
    EXPECT_EQ(m.record_size, 32u);
    EXPECT_FALSE(m.is_fixed_size);
    EXPECT_EQ(m.frame_length, 0u);
    EXPECT_EQ(m.slots[2].type, "vector<table:p_b>");
}

TEST(descriptions, an_error_has_its_line)
{
    try {
        read("uint8 f0;\nuint24 f1;");
        FAIL();
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "line 3: 'uint24' is not expected here");
    }
    EXPECT_THROW(read_descriptions({"package p; message p_a { uint8 f0;"}), std::runtime_error);
}

TEST(descriptions, a_row_is_wrapped_and_says_its_version)
{
    described_message m = read("uint8 f0;");
    EXPECT_EQ(fact_row(m, ""), "FACT(p_a, 0x66D39036, 1, 24, 5,\n     \"uint8@4\")\n");
    EXPECT_EQ(fact_row(m, "1, 1").substr(0, 24), "FACT_SINCE(1, 1, p_a, 0x");
    const std::vector<row> rows =
        rows_of("head\n" + fact_row(m, "") + fact_row(m, "1, 1") + "tail\n");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].text, fact_row(m, ""));
    EXPECT_EQ(rows[0].since, "");
    EXPECT_EQ(rows[1].message, "p_a");
    EXPECT_EQ(rows[1].since, "1, 1");
}

} // namespace
} // namespace vorl::test
