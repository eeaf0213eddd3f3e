// Texts that are refused, and with what words.
#include <gtest/gtest.h>

#include "tests/tools/dumps/reading.h"

using namespace vorl;
using namespace vorl::test;

namespace {

std::string error_of(const std::string &text, const dump_options &options = {})
{
    const reading_outcome read = read_dump(text, options);
    return read.error.empty() ? "accepted" : read.error;
}

const std::string zeros_of_od = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n";

} // namespace

TEST(dump_errors, what_is_no_pair_of_digits)
{
    const std::string hint =
        " where a pair of hex digits must be; give hex digits, or another form "
        "that --help lists";
    EXPECT_EQ(error_of("0400\n04zz\n"), "F:2: has \"z\"" + hint);
    EXPECT_EQ(error_of("0 4"), "F:1: has \" \"" + hint);
    EXPECT_EQ(error_of(std::string("04000000\0", 9)), "F:1: has \"\\x00\"" + hint);
    EXPECT_EQ(error_of("040"), "F:1: half a byte at the end; give two hex digits a byte");
    EXPECT_EQ(error_of("00000010: 040  ..\n"),
              "F:1: half a byte at the end; give two hex digits a byte");
}

TEST(dump_errors, frames_before_the_error_are_taken)
{
    const reading_outcome read = read_dump("0400\n0500\nhello\n");
    EXPECT_EQ(read.found, (frames{{"F:1: ", "0400"}, {"F:2: ", "0500"}}));
    EXPECT_NE(read.error, "");
}

TEST(dump_errors, dumps_with_lines_missing)
{
    EXPECT_EQ(error_of("00000010: 0400  ..\n"),
              "F:1: the dump does not start at offset 0; give the whole frame");
    EXPECT_EQ(error_of("00000000: 0400  ..\n00000010: 0400  ..\n"),
              "F:2: the dump goes on at offset 16 where 2 bytes stand before it; give every line "
              "of it");
    EXPECT_EQ(error_of("0000000 04 00\n0000010 04\n"),
              "F:2: the dump goes on at offset 8 where 2 bytes stand before it; give every line of "
              "it");
    EXPECT_EQ(error_of("00000000  04 00  |..|\n00000002  0z  |..|\n"),
              "F:2: opens with the next address of the dump, and is no line of it; give every line "
              "as it was printed");
}

TEST(dump_errors, repeated_lines_are_bounded)
{
    EXPECT_EQ(error_of("00000000: 04  .\n*\nffffffffffff: 04  .\n"),
              "F:3: the dump goes on at offset 281474976710655 where 1 bytes stand before it; give "
              "every line of it");
    // Repetitions end at 16 MiB, or two lines of text would cost any amount of memory.
    EXPECT_EQ(error_of("00000000: 04  .\n*\n01000001: 04  .\n"),
              "F:3: the dump goes on at offset 16777217 where 1 bytes stand before it; give every "
              "line of it");
    const reading_outcome most = read_dump("00000000: 04  .\n*\n01000000: 04  .\n");
    EXPECT_EQ(most.error, "");
    EXPECT_EQ(most.found[0].second.size(), 2 * 16777217U);
    EXPECT_EQ(error_of("00000000: 04  .\n*\n00000009: 04  .\n", {.largest_frame = 8}),
              "F:3: the dump goes on at offset 9 where 1 bytes stand before it; give every line of "
              "it");
    // A line without bytes has nothing to repeat.
    EXPECT_EQ(error_of("00000000: ,\n*\n00000009: 04  .\n"),
              "F:3: the dump goes on at offset 9 where 0 bytes stand before it; give every line of "
              "it");
}

TEST(dump_errors, a_star_without_addresses)
{
    EXPECT_EQ(error_of(" 04 00\n*\n 04 00\n"),
              "F:2: stands for lines that no address counts; print the bytes by od -v, or with "
              "addresses");
}

TEST(dump_errors, addresses_of_which_the_radix_cannot_be_told)
{
    EXPECT_EQ(error_of("0000000" + zeros_of_od + "*\n0000100\n"),
              "F:3: the address behind the * may be octal, decimal or hexadecimal; print the bytes "
              "by hexdump -C or od -Ax -tx1");
    // The line before the * tells it, and so does a digit.
    EXPECT_EQ(read_dump("0000000" + zeros_of_od + "0000020" + zeros_of_od + "*\n0000100\n").found,
              (frames{{"F:1: ", std::string(std::size_t{2} * 64, '0')}}));
    EXPECT_EQ(read_dump("0000000" + zeros_of_od + "*\n0000096\n").found,
              (frames{{"F:1: ", std::string(std::size_t{2} * 96, '0')}}));
}

TEST(dump_errors, words_that_may_be_digits)
{
    const std::string text = "000000 0004 0000 fff0 ffff\n000008\n";
    EXPECT_EQ(error_of(text),
              "F:1: is hex digits, or an address and words of od -tx2; print the bytes by xxd, "
              "hexdump -C or od -tx1, or say --form hex or --form od");
    EXPECT_EQ(read_dump(text, {.form = dump_form::od}).found,
              (frames{{"F:1: ", "04000000f0ffffff"}}));
    EXPECT_EQ(read_dump("000000 0004 0000\n", {.form = dump_form::hex}).found,
              (frames{{"F:1: ", "00000000040000"}}));
}

TEST(dump_errors, numbers_that_are_no_bytes)
{
    // What od and hexdump -b print.
    for (const char *text : {"0000000 000004 000000 177760\n", "0000000 004 000 000\n"})
        EXPECT_EQ(error_of(text),
                  "F:1: opens with an address, and no hexadecimal numbers of 1, 2, 4 or 8 bytes "
                  "stand behind it; print the bytes by xxd, hexdump -C or od -tx1");
}

TEST(dump_errors, words_are_read_with_a_word_about_it)
{
    const reading_outcome read = read_dump("0000000 0004 0000 fff0 00ff\n0000007\n");
    EXPECT_EQ(read.found, (frames{{"F:1: ", "04000000f0ffff"}}));
    EXPECT_EQ(read.notes, "vorl: F: line 1 is read as words of 2 bytes, the least significant byte "
                          "first\n");
}

TEST(dump_errors, gdb_with_lines_missing)
{
    EXPECT_EQ(error_of("0x7ffe10:\t0x04\t0x00\n0x7ffe20 <frame+16>:\t0x04\n"),
              "F:2: the dump goes on at 0x7ffe20 where 0x7ffe12 is next; give every line of it, "
              "and an empty line between frames");
    const frames two = {{"F:2: ", "04"}, {"F:4: ", "0500"}};
    EXPECT_EQ(read_dump("(gdb) x/1xb a\n0x10:\t0x04\n(gdb) x/1xh b\n0x11:\t0x0005\n").found, two);
    EXPECT_EQ(read_dump("(gdb) p 1\n0x10:\t0x04\n\n0x11:\t0x0005\n").found, two);
    EXPECT_EQ(read_dump("(gdb) 0x10:\t0x04\n").found, (frames{{"F:1: ", "04"}}));
}

TEST(dump_errors, arrays)
{
    EXPECT_EQ(error_of("{ 0x04, 256 }"), "F:1: 256 is no byte; give numbers from 0 to 255");
    EXPECT_EQ(error_of("{ 0x04,\n -1 }"), "F:2: -1 is no byte; give numbers from 0 to 255");
    EXPECT_EQ(error_of("{ 08 }"), "F:1: 08 is no byte; give numbers from 0 to 255");
    EXPECT_EQ(error_of("{ " + std::string(5000, '1') + " }").substr(0, 8), "F:1: 111");
    EXPECT_EQ(error_of("\n{ 0x04,\n0x00,\n"),
              "F:3: the array that opens in line 2 has no end; close it with }");
    EXPECT_EQ(error_of("/* a frame\n"), "F:1: the comment has no end; close it with */");
    EXPECT_EQ(error_of("int x;\n"),
              "F:1: int x is no array of bytes; give { 0x04, 0x00 }, for example");
    EXPECT_EQ(error_of("char x[] =\n"),
              "F:1: char x[] = is no array of bytes; give { 0x04, 0x00 }, for example");
    EXPECT_EQ(error_of("char x[] = { 4 }; !\n"),
              "F:1: has \"!\" outside of an array; give { 0x04, 0x00 }, for example");
    EXPECT_EQ(
        error_of("unsigned char x[] = {\n  0x04, 0x00\n};\nunsigned int x_len = 3;\n"),
        "F:4: unsigned int x_len = 3, but the array before it has 2 bytes; give every line of "
        "it");
    // Numbers are as C reads them.
    EXPECT_EQ(read_dump("uint8_t x[5] = { 4, 010, 0x1fu, /* } */ 0, // }\n255 };").found,
              (frames{{"F:1: ", "04081f00ff"}}));
}

TEST(dump_errors, strings)
{
    EXPECT_EQ(error_of("\"\\x04"), "F:1: the string has no end; close it with a \"");
    EXPECT_EQ(error_of("\"\\x4\""),
              "F:1: has a \\x without two hex digits; give \\x04, for example");
    EXPECT_EQ(error_of("\"\\x041\""),
              "F:1: has a \\x with more than two hex digits, which C takes for one number; give "
              "two, or end the string behind them");
    EXPECT_EQ(error_of("\"\\777\""), "F:1: has an octal number above \\377; give a byte");
    EXPECT_EQ(error_of("\"\\q\""),
              "F:1: has \"\\q\", which C does not know; give \\x04, for example");
    EXPECT_EQ(error_of("\"\\x04\" x"),
              "F:1: has \"x\" outside of a string; give \"\\x04\\x00\", for example");
    EXPECT_EQ(read_dump(R"("\x04\0\12A\n\a\\" "\"")").found,
              (frames{{"F:1: ", "04000a410a075c22"}}));
}

TEST(dump_errors, base64)
{
    const dump_options base64 = {.form = dump_form::base64};
    EXPECT_EQ(error_of("BAAA AA", base64),
              "F:1: has \" \", which is not of base64; give A to Z, a to z, 0 to 9, + and /");
    for (const char *text : {"BAAAAA", "BAAAA===", "BAAAAB=="})
        EXPECT_NE(error_of(text, base64), "accepted") << text;
    EXPECT_EQ(error_of("BAAAAB==", base64),
              "F:1: ends within a byte; give base64 in lines of four characters, or a multiple of "
              "it");
    // A word is none.
    EXPECT_EQ(error_of("test\n").substr(0, 13), "F:1: has \"t\" ");
}

TEST(dump_errors, lines_of_another_form_than_is_named)
{
    const std::string named = "is no line of the form that --form names; leave --form out, and "
                              "forms are recognised";
    const std::string hex = "04000000\n";
    for (const dump_form form :
         {dump_form::xxd, dump_form::hexdump, dump_form::od, dump_form::gdb, dump_form::c_string})
        EXPECT_EQ(error_of(hex, {.form = form}), "F:1: " + named);
    EXPECT_EQ(error_of("00000000  04 00  |..|\n", {.form = dump_form::xxd}), "F:1: " + named);
    EXPECT_EQ(error_of("00000000: 0400  ..\n", {.form = dump_form::od}), "F:1: " + named);
}

TEST(dump_errors, a_line_longer_than_the_frame_that_was_wrapped)
{
    EXPECT_EQ(error_of(std::string(60, '1') + '\n' + std::string(60, '2') + '\n' +
                       std::string(62, '3') + '\n'),
              "F:3: is longer than the lines before it, which were read as one wrapped frame; put "
              "an empty line between two frames, or give --lines or --one-frame");
}

TEST(dump_errors, a_frame_that_is_too_large)
{
    const std::string what = "the frame has more than 8 bytes, which no message has; give one "
                             "frame";
    const auto with_most = [](dump_form form) {
        return dump_options{.form = form, .largest_frame = 8};
    };
    const std::string nine = "000000000000000000";
    EXPECT_EQ(error_of(nine, with_most(dump_form::hex)), "F:1: " + what);
    EXPECT_EQ(error_of("00000000: 0000000000000000\n00000008: 00\n", with_most(dump_form::xxd)),
              "F:2: " + what);
    EXPECT_EQ(error_of("0x10:\t0x0000000000000000\n0x18:\t0x00\n", with_most(dump_form::gdb)),
              "F:2: " + what);
    EXPECT_EQ(error_of("{0,0,0,0,0,0,0,0,\n0}", with_most(dump_form::c_array)), "F:2: " + what);
    EXPECT_EQ(error_of(std::string(9, '\0'), with_most(dump_form::binary)), "F: " + what);
    EXPECT_EQ(error_of("00\n" + nine, {.layout = dump_layout::one_frame, .largest_frame = 8}),
              "F:2: " + what);
    EXPECT_EQ(read_dump(nine.substr(2), with_most(dump_form::hex)).error, "");
    // A line without an end is given up before it fills the memory.
    EXPECT_EQ(error_of(std::string(5000, ' '), with_most(dump_form::hex)),
              "F:1: is longer than the digits of the largest frame; give lines of text, or say "
              "--binary");
}

TEST(dump_errors, text_that_is_not_utf_8)
{
    for (const char *mark : {"\xff\xfe", "\xfe\xff"})
        EXPECT_EQ(error_of(std::string(mark) + "04"),
                  "F: is UTF-16 text, or bytes; make it UTF-8 by iconv -f UTF-16 -t UTF-8, or say "
                  "--binary");
    EXPECT_EQ(read_dump("\xef\xbb\xbf"
                        "0400\n")
                  .found,
              (frames{{"F:1: ", "0400"}}));
}
