// Packet captures, whose every packet is a frame.
#include <gtest/gtest.h>

#include "inspect/encode.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tests/tools/dumps/reading.h"

using namespace vorl;
using namespace vorl::test;

namespace {

std::string word(std::uint32_t value)
{
    std::string text;
    for (int i = 0; i < 4; ++i)
        text += static_cast<char>(value >> (8 * i));
    return text;
}

std::string text_of(const bytes &content) { return {content.begin(), content.end()}; }

constexpr std::uint32_t ethernet = 1;
constexpr std::uint32_t longest_packet = 262144;

/// Magic, version 2.4, two unused words, longest packet, link layer; in both byte orders alike, this
/// is the little-endian one.
std::string pcap_header()
{
    return word(0xa1b2c3d4) + word(0x00040002) + word(0) + word(0) + word(longest_packet) +
           word(ethernet);
}

/// Seconds, microseconds, bytes that are there, bytes that there were.
std::string pcap_packet(const std::string &content, std::uint32_t were)
{
    return word(1) + word(2) + word(static_cast<std::uint32_t>(content.size())) + word(were) +
           content;
}

std::string pcap_packet(const std::string &content)
{
    return pcap_packet(content, static_cast<std::uint32_t>(content.size()));
}

/// Kind, length, content, length.
std::string pcapng_block(std::uint32_t kind, const std::string &content)
{
    const auto length = static_cast<std::uint32_t>(content.size() + 12);
    return word(kind) + word(length) + content + word(length);
}

std::string pcapng_header()
{
    return pcapng_block(0x0a0d0d0a, word(0x1a2b3c4d) + word(1) + word(~0U) + word(~0U)) +
           pcapng_block(1, word(ethernet) + word(longest_packet));
}

std::string pcapng_packet(std::string content)
{
    const auto size = static_cast<std::uint32_t>(content.size());
    content.resize((content.size() + 3) / 4 * 4);
    return pcapng_block(6, word(0) + word(1) + word(2) + word(size) + word(size) + content);
}

} // namespace

TEST(captures, every_message_is_a_packet)
{
    std::string pcap = pcap_header();
    std::string pcapng = pcapng_header();
    frames expected;
    for (const auto &[info, fact] : all_messages()) {
        sample record(*info, 1, 2);
        for (const inspect::encoding as : {inspect::encoding::frame, inspect::encoding::packed}) {
            const bytes whole = inspect::encode(*info, record.record(), as);
            pcap += pcap_packet(text_of(whole));
            pcapng += pcapng_packet(text_of(whole));
            expected.emplace_back("F: packet " + std::to_string(expected.size() + 1) + ": ",
                                  hex_of(whole));
        }
    }
    ASSERT_EQ(expected.size(), 2 * counts::messages);
    for (const std::string &capture : {pcap, pcapng}) {
        for (const dump_form form : {dump_form::automatic, dump_form::pcap}) {
            const reading_outcome read = read_dump(capture, {.form = form});
            EXPECT_EQ(read.error, "");
            EXPECT_EQ(read.notes, "");
            EXPECT_TRUE(read.found == expected);
        }
    }
}

TEST(captures, headers_are_taken_off)
{
    const reading_outcome read =
        read_dump(pcap_header() + pcap_packet("head-1") + pcap_packet("he") + pcap_packet("head-2"),
                  {.skip = 5});
    EXPECT_EQ(read.found, (frames{{"F: packet 1: ", "31"}, {"F: packet 3: ", "32"}}));
    EXPECT_EQ(read.count.refused, 1U);
    EXPECT_EQ(read.notes, "F: packet 2: the frame has 2 bytes, and --skip takes 5 off; give a "
                          "smaller --skip\n");
}

TEST(captures, a_packet_that_was_cut_is_read_with_a_word_about_it)
{
    const reading_outcome read = read_dump(pcap_header() + pcap_packet("0123", 1000));
    EXPECT_EQ(read.found, (frames{{"F: packet 1: ", "30313233"}}));
    EXPECT_EQ(read.notes, "vorl: F: packet 1: the capture has 4 of its 1000 bytes\n");
}

TEST(captures, a_capture_that_breaks_off)
{
    const std::string whole = pcap_header() + pcap_packet("0123") + pcap_packet("4567");
    const reading_outcome read = read_dump(whole.substr(0, whole.size() - 1));
    EXPECT_EQ(read.found, (frames{{"F: packet 1: ", "30313233"}}));
    EXPECT_EQ(read.error, "F: packet 2: cannot be read (truncated dump file; tried to read 4 "
                          "captured bytes, only got 3); give a whole pcap or pcapng file");
    EXPECT_EQ(
        read_dump(pcap_header().substr(0, 20)).error,
        "F: cannot be read (truncated dump file; tried to read 24 file header bytes, only got "
        "16); give a whole pcap or pcapng file");
    EXPECT_EQ(read_dump("04000000\n", {.form = dump_form::pcap}).error,
              "F: cannot be read (unknown file format); give a whole pcap or pcapng file");
}

TEST(captures, a_packet_that_is_too_large)
{
    EXPECT_EQ(read_dump(pcap_header() + pcap_packet("123456789"), {.largest_frame = 8}).error,
              "F: packet 1: the frame has more than 8 bytes, which no message has; give one frame");
}
