// The filter passes every byte on, in whatever pieces and however long the lines, and explains the
// lines that are ours.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tools/vorl/log_filter.h"

using namespace vorl;

namespace {

const std::string ours = "[ZELKO]:Table offset(65) is out of range(4 - 68)";

struct filtered {
    std::string out;
    std::vector<std::string> remarks;
    std::size_t explained;
};

filtered pass(const std::string &log, std::size_t piece, log_filter::style as = {})
{
    filtered all{};
    log_filter filter(
        as, [&all](std::string_view text) { all.out += text; },
        [&all](std::size_t line, const std::string &text) {
            all.remarks.push_back(std::to_string(line) + ": " + text);
        });
    for (std::size_t at = 0; at < log.size(); at += piece)
        filter.feed(std::string_view(log).substr(at, piece));
    filter.finish();
    all.explained = filter.explained();
    return all;
}

/// Without the lines that begin with the mark.
std::string without_explanations(const std::string &out)
{
    std::string left;
    for (std::size_t at = 0; at <= out.size();) {
        const std::size_t end = std::min(out.find('\n', at), out.size());
        if (out.compare(at, 6, "    | ") != 0) {
            left += at == 0 ? "" : "\n";
            left += out.substr(at, end - at);
        }
        at = end + 1;
    }
    return left;
}

std::string random_log(std::mt19937 &random)
{
    const std::string parts[] = {ours,
                                 ours + "\n",
                                 "[ZELKO]",
                                 "[ZELKO]:Param invalid(null, ",
                                 "9, null)",
                                 "srv6_class_item_unpack",
                                 "\033[31m",
                                 "\\u001b[",
                                 "#033",
                                 "\n",
                                 "\r\n",
                                 "\n\n",
                                 std::string(1, '\0'),
                                 "\xff\xfe",
                                 "\\",
                                 "\033]8;;"};
    std::string log;
    for (auto i = random() % 60; i > 0; --i) {
        if (random() % 3 == 0)
            log += static_cast<char>(random());
        else
            log += parts[random() % std::size(parts)];
    }
    return log;
}

TEST(log_filter, any_bytes_pass_unchanged_in_pieces_of_any_size)
{
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        const std::string log = random_log(random);
        const filtered whole = pass(log, log.size() + 1);
        ASSERT_EQ(without_explanations(whole.out), log);
        for (const std::size_t piece : {1, 2, 7, 64})
            ASSERT_EQ(pass(log, piece).out, whole.out);
    }
}

TEST(log_filter, explanations_stand_under_their_line)
{
    const std::string out = pass("before\n" + ours + "\nbehind\n", 1000).out;
    EXPECT_TRUE(out.starts_with("before\n" + ours + "\n    | where       ")) << out;
    EXPECT_TRUE(out.ends_with("says which.\nbehind\n")) << out;
    EXPECT_EQ(pass("nothing\n", 3).out, "nothing\n");
    EXPECT_EQ(pass("", 1).out, "");
}

TEST(log_filter, the_last_line_may_have_no_newline)
{
    const std::string out = pass(ours, 1000).out;
    EXPECT_TRUE(out.starts_with(ours + "\n    | where       ")) << out;
    EXPECT_TRUE(out.ends_with("says which.")) << out;
}

TEST(log_filter, a_note_under_what_is_almost_ours)
{
    EXPECT_EQ(pass("x [ZELKO]:New text(1)\n", 5).out,
              "x [ZELKO]:New text(1)\n    | not a text that this version writes\n");
    const filtered json = pass("\nx [ZELKO]:New text(1)\n", 5, {.as_json = true});
    EXPECT_EQ(json.out, "");
    EXPECT_EQ(json.remarks, std::vector<std::string>{"2: not a text that this version writes"});
    EXPECT_EQ(json.explained, 0U);
}

TEST(log_filter, in_colour_each_line_of_an_explanation_is)
{
    EXPECT_EQ(pass("[ZELKO]\n", 5, {.in_colour = true}).out,
              "[ZELKO]\n\033[36m    | not a text that this version writes\033[0m\n");
}

// Wherever the text is, also where one window ends and the next begins.
TEST(log_filter, a_text_is_found_once_at_any_place_of_a_long_line)
{
    const std::string function = "srv6_class_item_unpack_non_root:20 ";
    const std::size_t room = 3 * log_filter::window;
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at < room; at += 997)
        places.push_back(at);
    for (std::size_t seam = log_filter::window - log_filter::overlap / 2; seam < room;
         seam += log_filter::window - log_filter::overlap) {
        for (std::size_t at = seam - 100; at < seam + 100; ++at)
            places.push_back(at);
    }
    for (const std::size_t at : places) {
        std::string line(room + 500, '.');
        line.replace(at, function.size() + ours.size(), function + ours);
        const filtered found = pass(line + "\n", log_filter::window, {.as_json = true});
        ASSERT_EQ(found.explained, 1U) << at;
        ASSERT_NE(found.out.find("\"message\":\"srv6_class_item\""), std::string::npos) << at;
        ASSERT_EQ(found.out.find("{\"line\":1,"), 0U) << at;
    }
}

TEST(log_filter, of_many_texts_in_a_line_twenty_are_explained)
{
    std::string log;
    for (int i = 0; i < 21; ++i)
        log += ours;
    const std::string remark =
        "more than 20 texts are in this line; those behind are not explained";
    const std::string out = pass(log + "\n", 1000).out;
    EXPECT_TRUE(out.ends_with("\n    | " + remark + "\n")) << out.substr(out.size() - 200);
    EXPECT_EQ(pass(log, 1000, {.as_json = true}).remarks, std::vector<std::string>{"1: " + remark});
    EXPECT_EQ(pass(log.substr(ours.size()), 1000, {.as_json = true}).remarks.size(), 0U);
}

} // namespace
