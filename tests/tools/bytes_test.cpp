// The texts that bytes come in.
#include <gtest/gtest.h>

#include <sstream>

#include "inspect/hex.h"
#include "tools/vorl/bytes_text.h"

using namespace vorl;

namespace {

using frames = std::vector<std::pair<std::size_t, std::string>>;

/// Each frame of the text as its line and its bytes in hex.
frames read(const std::string &text)
{
    std::istringstream in(text);
    frames found;
    read_hex_frames(in, [&found](std::size_t line, const bytes &frame) {
        found.emplace_back(line, to_hex(frame.data(), frame.size()));
    });
    return found;
}

std::string error_of(const std::string &text)
{
    try {
        read(text);
    } catch (const hex_error &error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST(hex_text, a_line_is_a_frame)
{
    EXPECT_EQ(read("0400ABcd\n"), (frames{{1, "0400abcd"}}));
    EXPECT_EQ(read("# captured\n\n04 00 ab cd\n0x04, 0x00,0xab\t0XCD\r\n04"),
              (frames{{3, "0400abcd"}, {4, "0400abcd"}, {5, "04"}}));
    EXPECT_EQ(read(""), frames{});
}

TEST(hex_text, xxd_is_read_over_several_lines)
{
    EXPECT_EQ(read("00000000: 0400 0000 f0ff ffff 0100 0000 0000 0000  ................\n"
                   "00000010: 0300 00                                  ...\n"
                   "00000000: dead                                     ..\n"),
              (frames{{1, "04000000f0ffffff0100000000000000030000"}, {3, "dead"}}));
}

TEST(hex_text, hexdump_is_read_with_its_repetitions)
{
    EXPECT_EQ(
        read("00000000  01 02 03 04 05 06 07 08  09 0a 0b 0c 0d 0e 0f 10  |..|..........|..|\n"
             "*\n"
             "00000030  aa bb                                             |..|\n"
             "00000032\n"
             "01020304\n"),
        (frames{{1, "0102030405060708090a0b0c0d0e0f10"
                    "0102030405060708090a0b0c0d0e0f10"
                    "0102030405060708090a0b0c0d0e0f10aabb"},
                {5, "01020304"}}));
    EXPECT_EQ(
        read("00000000  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n"
             "*\n"
             "00000020\n"),
        (frames{{1, std::string(64, '0')}}));
}

TEST(hex_text, tcpdump_is_read_too)
{
    EXPECT_EQ(read("\t0x0000:  0400 0000 f0ff ffff 0100 0000 0000 0000  ................\n"
                   "\t0x0010:  0300                                     ..\n"),
              (frames{{1, "04000000f0ffffff01000000000000000300"}}));
}

TEST(hex_text, eight_digits_alone_are_a_frame)
{
    EXPECT_EQ(read("00000000: dead  ..\n04000000\n"), (frames{{1, "dead"}, {2, "04000000"}}));
}

TEST(hex_text, what_is_no_hex_is_refused)
{
    EXPECT_EQ(
        error_of("0400\n04zz\n"),
        "2: has \"z\" where a pair of hex digits must be; give hex text, or the output of xxd "
        "or hexdump -C");
    EXPECT_EQ(error_of("0 4"), "1: has \" \" where a pair of hex digits must be; give hex text, or "
                               "the output of xxd or hexdump -C");
    EXPECT_EQ(error_of("040"), "1: half a byte at the end; give two hex digits a byte");
    EXPECT_EQ(error_of("00000010: 0400  ..\n"),
              "1: the dump does not start at offset 0; give the whole frame");
    EXPECT_EQ(error_of("00000000: 0400  ..\n00000010: 0400  ..\n"),
              "2: the dump goes on at offset 16 where 2 bytes stand before it; give every line of "
              "it");
    EXPECT_EQ(error_of("00000000: 04  .\n*\nffffffffffff: 04  .\n"),
              "3: the dump goes on at offset 281474976710655 where 1 bytes stand before it; give "
              "every line of it");
    // Repetitions end at 16 MiB, or two lines of text would cost any amount of memory.
    EXPECT_EQ(error_of("00000000: 04  .\n*\n01000001: 04  .\n"),
              "3: the dump goes on at offset 16777217 where 1 bytes stand before it; give every "
              "line of it");
    EXPECT_EQ(read("00000000: 04  .\n*\n01000000: 04  .\n")[0].second.size(), 2 * 16777217U);
}
