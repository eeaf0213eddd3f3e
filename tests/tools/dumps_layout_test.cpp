// Lines of digits: frames of their own, or one frame that is wrapped.
#include <gtest/gtest.h>

#include <algorithm>
#include <istream>
#include <streambuf>

#include "tests/tools/dumps/reading.h"

using namespace vorl;
using namespace vorl::test;

namespace {

// A frame of srv6_class_item, 32 bytes; its vtable is the last 12.
const std::string item = "04000000f0ffffff0700000000000000030000000a000d000400080"
                         "00c000000";
// A frame of srv6_localsid_fwd, 104 bytes, as xxd -p wraps it.
const std::string sid_lines[] = {"04000000c0ffffff01000000000000000000000000000000000000000400",
                                 "00000400000020010db80000000000000000000000003000000000000000",
                                 "00000000000000001e004000040008000c00100014001800300032003400",
                                 "3500390038003c0000000000"};
const std::string sid = sid_lines[0] + sid_lines[1] + sid_lines[2] + sid_lines[3];
const std::string sid_wrapped =
    sid_lines[0] + '\n' + sid_lines[1] + '\n' + sid_lines[2] + '\n' + sid_lines[3] + '\n';
const std::string as_xxd =
    "vorl: F: lines 1 to 4 are read as one frame, wrapped as xxd -p does it; --lines reads a frame "
    "a line\n";

/// `text` in lines of `width` characters.
std::string folded(const std::string &text, std::size_t width)
{
    std::string lines;
    for (std::size_t at = 0; at < text.size(); at += width)
        lines += text.substr(at, width) + '\n';
    return lines;
}

/// The first bytes of a frame.
std::string cut(const std::string &hex, std::size_t size) { return hex.substr(0, 2 * size); }

/// A text of one line over and over, made as it is read.
class repeated_line : public std::streambuf {
  public:
    repeated_line(std::string line, std::size_t count) : line_(std::move(line)), count_(count) {}

    std::size_t given() const { return given_; }

  protected:
    int_type underflow() override
    {
        if (given_ == count_)
            return traits_type::eof();
        ++given_;
        setg(line_.data(), line_.data(), line_.data() + line_.size());
        return traits_type::to_int_type(line_[0]);
    }

  private:
    std::string line_;
    std::size_t count_;
    std::size_t given_ = 0;
};

} // namespace

TEST(dump_layout, a_line_is_a_frame)
{
    const reading_outcome read =
        read_dump("# captured\n\n04 00 ab cd\n0x04, 0x00,0xab\t0XCD\r\n0400ABcd05\n04");
    EXPECT_EQ(read.found, (frames{{"F:3: ", "0400abcd"},
                                  {"F:4: ", "0400abcd"},
                                  {"F:5: ", "0400abcd05"},
                                  {"F:6: ", "04"}}));
    EXPECT_EQ(read.error, "");
    EXPECT_EQ(read_dump("").found, frames{});
}

TEST(dump_layout, lines_of_xxd_are_one_frame_and_standard_error_says_so)
{
    const reading_outcome read = read_dump(sid_wrapped);
    EXPECT_EQ(read.found, (frames{{"F:1: ", sid}}));
    EXPECT_EQ(read.notes, as_xxd);
}

TEST(dump_layout, it_is_said_once)
{
    const reading_outcome read = read_dump(sid_wrapped + sid_wrapped + '\n' + sid_wrapped);
    EXPECT_EQ(read.found, (frames{{"F:1: ", sid}, {"F:5: ", sid}, {"F:10: ", sid}}));
    EXPECT_EQ(read.notes, as_xxd);
}

TEST(dump_layout, options_decide)
{
    const reading_outcome lines = read_dump(sid_wrapped, {.layout = dump_layout::frame_a_line});
    EXPECT_EQ(lines.found, (frames{{"F:1: ", sid_lines[0]},
                                   {"F:2: ", sid_lines[1]},
                                   {"F:3: ", sid_lines[2]},
                                   {"F:4: ", sid_lines[3]}}));
    EXPECT_EQ(lines.notes, "");
    const reading_outcome one = read_dump("# a comment\n" + item + "\n\n" + item + "\n04\n",
                                          {.layout = dump_layout::one_frame});
    EXPECT_EQ(one.found, (frames{{"F:2: ", item + item + "04"}}));
    EXPECT_EQ(one.notes, "");
}

TEST(dump_layout, frames_of_one_size_are_frames)
{
    const reading_outcome read = read_dump(item + '\n' + item + '\n' + item + '\n');
    EXPECT_EQ(read.found, (frames{{"F:1: ", item}, {"F:2: ", item}, {"F:3: ", item}}));
    EXPECT_EQ(read.notes, "");
}

TEST(dump_layout, a_frame_that_is_cut_at_the_width_of_xxd_is_still_a_frame)
{
    const std::string start = cut(sid, 30);
    const reading_outcome read = read_dump(start + '\n' + start + '\n' + start + '\n');
    EXPECT_EQ(read.found, (frames{{"F:1: ", start}, {"F:2: ", start}, {"F:3: ", start}}));
    EXPECT_EQ(read.notes, "");
}

TEST(dump_layout, any_width_is_wrapped_when_the_first_line_is_no_whole_frame)
{
    for (const std::size_t bytes_a_line : {8U, 20U, 32U, 64U, 96U}) {
        const reading_outcome read = read_dump(folded(sid, 2 * bytes_a_line));
        EXPECT_EQ(read.found, (frames{{"F:1: ", sid}})) << bytes_a_line;
        const std::size_t lines = (104 + bytes_a_line - 1) / bytes_a_line;
        EXPECT_EQ(read.notes,
                  "vorl: F: lines 1 to " + std::to_string(lines) +
                      " are read as one frame, wrapped; --lines reads a frame a line\n");
    }
}

TEST(dump_layout, a_whole_frame_is_not_joined_with_what_is_wrong_behind_it)
{
    const std::string wrong = "ff" + item.substr(2);
    const reading_outcome read = read_dump(item + '\n' + wrong + '\n' + item + '\n');
    EXPECT_EQ(read.found, (frames{{"F:1: ", item}, {"F:2: ", wrong}, {"F:3: ", item}}));
    EXPECT_EQ(read.notes, "vorl: F: lines 1 and 2 are read as two frames; --one-frame reads all "
                          "lines as one\n");
}

TEST(dump_layout, a_longer_line_is_a_frame_of_its_own)
{
    const std::string start = cut(sid, 30);
    EXPECT_EQ(read_dump(start + '\n' + start + "00\n").found,
              (frames{{"F:1: ", start}, {"F:2: ", start + "00"}}));
}

TEST(dump_layout, a_comment_an_empty_line_and_another_form_end_a_wrapped_frame)
{
    const std::string two = sid_lines[0] + '\n' + sid_lines[1] + '\n';
    const std::string both = sid_lines[0] + sid_lines[1];
    for (const std::string between : {"\n", "# next\n"})
        EXPECT_EQ(read_dump(two + between + two).found, (frames{{"F:1: ", both}, {"F:4: ", both}}));
    EXPECT_EQ(read_dump(two + "00000000: dead  ..\n" + two).found,
              (frames{{"F:1: ", both}, {"F:3: ", "dead"}, {"F:4: ", both}}));
}

TEST(dump_layout, a_whole_number_of_lines_ends_where_another_frame_begins)
{
    // 120 bytes of a frame are 4 lines of xxd: 104 of them, and 16 that nothing leads to, are none.
    // A frame of 60 bytes, 18 slots: soffset 4 - 20 = -16, and a vtable of 40 bytes at 20.
    std::string sixty = "04000000f0ffffff"
                        "000000000000000000000000"
                        "28001000";
    sixty += std::string(std::size_t{2} * 60 - sixty.size(), '0');
    const std::string wrapped = folded(sixty, 60);
    const reading_outcome same = read_dump(wrapped + wrapped);
    EXPECT_EQ(same.found, (frames{{"F:1: ", sixty}, {"F:3: ", sixty}}));
    // Another message: told by the frame before it being whole.
    const reading_outcome other = read_dump(wrapped + sid_wrapped);
    EXPECT_EQ(other.found, (frames{{"F:1: ", sixty}, {"F:3: ", sid}}));
}

TEST(dump_layout, what_begins_as_a_frame_within_a_frame_does_not_end_it)
{
    // Byte 30 on is as the start of a frame with another soffset, of which the first is not whole.
    const std::string inner = "04000000b4ffffff" + std::string(44, '0');
    const reading_outcome read = read_dump(sid_lines[0] + '\n' + inner + '\n' + inner + "\n3500\n");
    EXPECT_EQ(read.found, (frames{{"F:1: ", sid_lines[0] + inner + inner + "3500"}}));
}

TEST(dump_layout, lines_that_say_so_go_on)
{
    EXPECT_EQ(read_dump("0x04, 0x00,\n0x00, 0x00\n04:00:\n01:00\n\"\\x04\" \\\n\"\\x01\"\n").found,
              (frames{{"F:1: ", "04000000"}, {"F:3: ", "04000100"}, {"F:5: ", "0401"}}));
    EXPECT_EQ(read_dump("0x04, 0x00,\n").found, (frames{{"F:1: ", "0400"}}));
}

TEST(dump_layout, headers_stand_before_what_begins_a_frame)
{
    const std::string header = "aabbccdd";
    const std::string with = header + item + '\n';
    const reading_outcome frames_of = read_dump(with + with, {.skip = 4});
    EXPECT_EQ(frames_of.found, (frames{{"F:1: ", item}, {"F:2: ", item}}));
    EXPECT_EQ(frames_of.notes, "");
    const reading_outcome wrapped = read_dump(folded(header + sid, 64), {.skip = 4});
    EXPECT_EQ(wrapped.found, (frames{{"F:1: ", sid}}));
}

TEST(dump_layout, a_frame_shorter_than_its_headers_is_refused_and_the_others_go_on)
{
    const reading_outcome read = read_dump("aabbccdd04\naabb\naabbccdd05\n", {.skip = 4});
    EXPECT_EQ(read.found, (frames{{"F:1: ", "04"}, {"F:3: ", "05"}}));
    EXPECT_EQ(read.count.taken, 2U);
    EXPECT_EQ(read.count.refused, 1U);
    EXPECT_NE(read.notes.find("F:2: the frame has 2 bytes, and --skip takes 4 off; give a smaller "
                              "--skip\n"),
              std::string::npos)
        << read.notes;
    EXPECT_EQ(read_dump("aabbccdd\n", {.skip = 4}).found, (frames{{"F:1: ", ""}}));
}

// A million lines: each frame is given away before many lines behind it are read, so that nothing grows.
TEST(dump_layout, frames_are_given_away_as_they_come)
{
    constexpr std::size_t lines = 1000000;
    for (const std::string &line : {item + '\n', cut(sid, 30) + '\n', "04000000" + sid + '\n'}) {
        repeated_line text(line, lines);
        std::istream in(&text);
        std::ostringstream notes;
        std::size_t taken = 0;
        std::size_t furthest = 0;
        const frames_read count = read_frames(
            in, "F", {},
            [&](const std::string &, const bytes &) {
                ++taken;
                furthest = std::max(furthest, text.given() - taken);
            },
            notes);
        EXPECT_EQ(count.taken, lines);
        EXPECT_EQ(taken, lines);
        EXPECT_LE(furthest, 2U);
    }
}
