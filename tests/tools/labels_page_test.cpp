// What README.md and docs/labels.md say of labels being so.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/vorl/json_record.h"

using namespace vorl;
using namespace vorl::inspect;

namespace {

std::string text_of_file(const std::string &name)
{
    std::ifstream file(VORL_TEST_ROOT "/" + name);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The parts of a text between two others.
std::vector<std::string> between(const std::string &text, const std::string &open,
                                 const std::string &close)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; (at = text.find(open, at)) != std::string::npos;) {
        at += open.size();
        const std::size_t end = text.find(close, at);
        parts.push_back(text.substr(at, end - at));
        at = end;
    }
    return parts;
}

labels right(const std::string &text)
{
    const labels_file file = read_labels(text);
    for (const labels_problem &problem : file.problems)
        ADD_FAILURE() << problem.line << ": " << problem.what;
    return file.right;
}

/// The slot's value of that JSON text, written with the labels.
std::string written(const labels &names, const std::string &message, const std::string &slot,
                    const std::string &value)
{
    const json::record r = json::parse_record(
        R"({"message":")" + message + "\",\"" + slot + "\":" + value + "}", &names);
    const std::string line = json::format_record(r.type(), r.data(), json::zeros::omit, &names);
    const std::size_t at = line.find('"' + slot + "\":");
    return line.substr(at + slot.size() + 3);
}

} // namespace

TEST(labels_page, its_files_are_right)
{
    const auto blocks = between(text_of_file("docs/labels.md"), "```toml\n", "```");
    ASSERT_EQ(blocks.size(), 2u);
    for (const std::string &block : blocks)
        right(block);
}

// Each form has an example with its value in a comment behind it.
TEST(labels_page, each_form_writes_the_value_that_is_shown)
{
    const std::string block = between(text_of_file("docs/labels.md"), "```toml\n", "```").at(1);
    const labels names = right(block);
    std::string message;
    std::vector<std::string> shown;
    std::size_t start = 0;
    while (start < block.size()) {
        const std::size_t end = block.find('\n', start);
        const std::string line = block.substr(start, end - start);
        start = end + 1;
        if (line.starts_with("["))
            message = line.substr(1, line.size() - 2);
        if (!line.starts_with("f"))
            continue;
        const std::string slot = line.substr(0, line.find(' '));
        const std::string value = line.substr(line.find("  # ") + 4);
        shown.push_back(between(line, "form = \"", "\"").at(0));
        EXPECT_TRUE(written(names, message, slot, value).starts_with(value))
            << slot << ": " << written(names, message, slot, value);
    }
    for (const form_info &f : all_forms())
        EXPECT_NE(std::find(shown.begin(), shown.end(), f.name), shown.end()) << f.name;
}

TEST(labels_page, the_table_of_fits_is_the_programs)
{
    const std::vector<unsigned> columns = {uint8_kind | uint16_kind, uint32_kind, uint64_kind,
                                           four_words_kind,          words_kind,  mac_bytes_kind,
                                           address_bytes_kind,       bytes_kind,  byte_vector_kind};
    std::string table;
    for (const form_info &f : all_forms()) {
        table += "| `" + std::string(f.name) + "` |";
        for (const unsigned kinds : columns)
            table += (f.fits & kinds) == kinds ? " yes |" : " |";
        table += '\n';
    }
    EXPECT_NE(text_of_file("docs/labels.md").find(table), std::string::npos) << table;
}

TEST(labels_readme, an_object_without_and_with_labels)
{
    const labels names = right(text_of_file("examples/pe1.labels.toml"));
    const auto objects = between(text_of_file("README.md"), "{\"message\":", "\n");
    ASSERT_EQ(objects.size(), 2u);
    const std::string without = "{\"message\":" + objects[0];
    const std::string with = "{\"message\":" + objects[1];
    const json::record plain = json::parse_record(without);
    EXPECT_EQ(json::format_record(plain.type(), plain.data(), json::zeros::omit), without);
    EXPECT_EQ(json::format_record(plain.type(), plain.data(), json::zeros::omit, &names), with);
    const json::record named = json::parse_record(with, &names);
    EXPECT_EQ(json::format_record(named.type(), named.data(), json::zeros::omit), without);
}
