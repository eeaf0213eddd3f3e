// Captures that are damaged, cut short, or somebody else's.
#include <gtest/gtest.h>

#include "capture/little_endian.h"
#include "tests/capture/captures.h"
#include "tests/codec/support/fixture.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

namespace {

std::string fixture(std::string_view content, reference::order order = reference::order::little)
{
    const reference::bytes all = buffer_of(content, order);
    return {all.begin(), all.end()};
}

/// Three frames of 100 bytes, and where the packet of each ends.
struct three_frames {
    written_capture file;
    std::vector<std::size_t> ends;
    std::uint32_t from = file.to.add_interface({4711, ""});
    std::size_t start = file.text.size(); ///< of the first packet's block

    three_frames()
    {
        for (std::uint64_t i = 0; i < 3; ++i) {
            file.to.add(from, frame_of(i, pattern(100)));
            ends.push_back(file.text.size());
        }
    }
    const std::string &text() const { return file.text; }
};

// Section, interface of Ethernet, and a packet of three bytes at 1.000002 s.
constexpr const char *foreign =
    "u32 168627466 u32 28 u32 439041101 u16 1 u16 0 u32 4294967295 "
    "u32 4294967295 u32 28 "
    "u32 1 u32 20 u16 1 u16 0 u32 0 u32 20 "
    "u32 6 u32 36 u32 0 u32 0 u32 1000002 u32 3 u32 9 bytes 61 62 63 00 "
    "u32 36 ";

} // namespace

TEST(capture_damage, what_is_before_a_cut_is_given)
{
    const three_frames whole;
    const std::size_t section = written_capture().text.size();
    for (std::size_t size = 0; size < whole.text().size(); ++size) {
        const read_outcome read = read_capture(whole.text().substr(0, size));
        std::size_t expected = 0;
        while (whole.ends[expected] <= size)
            ++expected;
        ASSERT_EQ(read.found.size(), expected) << size;
        for (const captured &c : read.found)
            EXPECT_TRUE(c.found.kept == pattern(100));
        const bool is_between_blocks =
            read.error.empty() && (size == 0 || size == section || size == whole.start ||
                                   size == whole.ends[0] || size == whole.ends[1]);
        if (!is_between_blocks) {
            EXPECT_EQ(read.error.find("packet " + std::to_string(expected + 1) +
                                      ": the file breaks off in its block, "),
                      0U)
                << size << read.error;
        }
    }
}

TEST(capture_damage, a_cut_is_told_with_its_place)
{
    const three_frames whole;
    EXPECT_EQ(
        read_capture(whole.text().substr(0, whole.ends[1] - 1)).error,
        "packet 2: the file breaks off in its block, 1 bytes before an end; what is before it "
        "was read, so capture again for the rest");
}

// Whatever byte is another one: the frames before it are given as they were.
TEST(capture_damage, any_byte_may_be_another)
{
    const three_frames whole;
    for (std::size_t at = 0; at < whole.text().size(); ++at) {
        for (const int flip : {0x01, 0x80, 0xFF}) {
            std::string text = whole.text();
            text[at] = static_cast<char>(text[at] ^ flip);
            const read_outcome read = read_capture(text);
            std::size_t before = 0;
            while (before < 3 && whole.ends[before] <= at)
                ++before;
            ASSERT_GE(read.found.size(), before) << at;
            EXPECT_LE(read.found.size(), 3U);
            for (std::size_t i = 0; i < before; ++i)
                EXPECT_TRUE(read.found[i].found.kept == pattern(100)) << at;
        }
    }
}

TEST(capture_damage, lengths_that_no_block_has)
{
    const three_frames whole;
    std::string text = whole.text();
    text[whole.ends[0] + 4] = 11;
    text[whole.ends[0] + 5] = 0;
    EXPECT_EQ(read_capture(text).error,
              "packet 2: a block says that it has 11 bytes, which no block "
              "has; the file is damaged there, so capture again");
    text = whole.text();
    text[whole.ends[0] - 4] = 8;
    const read_outcome read = read_capture(text);
    EXPECT_EQ(read.found.size(), 0U);
    EXPECT_EQ(read.error.find("packet 1: a block of "), 0U) << read.error;
}

TEST(capture_damage, a_frame_whose_parts_are_missing_is_told)
{
    written_capture file;
    const std::uint32_t from = file.to.add_interface({4711, ""});
    const std::size_t start = file.text.size();
    file.to.add(from, frame_of(1, pattern(600'000)));
    const std::string whole = file.text;
    // Of three blocks, each but the last of 28 bytes, a packet of 262,144, options and a length.
    const std::size_t one = 28 + 262'144 + 36 + 4;
    const std::string first = whole.substr(start, one);
    const std::string second = whole.substr(start + one, one);
    const std::string third = whole.substr(start + 2 * one);
    const std::string head = whole.substr(0, start);

    const read_outcome without_second = read_capture(head + first + third);
    EXPECT_EQ(without_second.found.size(), 0U);
    EXPECT_EQ(without_second.notes,
              (std::vector<std::string>{
                  "packet 2: it goes on with a frame at byte 524120, and the packet before it does "
                  "not; save all packets of a frame",
                  "packet 1: it begins a frame of which 600000 bytes are kept, and only 262060 are "
                  "here: the file ends there; capture again"}));
    EXPECT_EQ(without_second.refused, 2U);
    EXPECT_EQ(read_capture(head + second + third).found.size(), 0U);
    EXPECT_EQ(read_capture(head + first + second).found.size(), 0U);
    EXPECT_EQ(read_capture(head + first + first + second + third).found.size(), 1U);
}

// Of a file that breaks off within a split frame both are said: where it breaks off, and which frame is not
// there for it.
TEST(capture_damage, a_file_that_breaks_off_in_a_split_frame_says_so)
{
    written_capture file;
    const std::uint32_t from = file.to.add_interface({4711, "router"});
    file.to.add(from, frame_of(0, pattern(600'000)));
    const read_outcome read = read_capture(file.text.substr(0, file.text.size() - 100));
    EXPECT_EQ(read.error.find("packet 3: the file breaks off in its block, "), 0U) << read.error;
    EXPECT_EQ(read.notes, (std::vector<std::string>{
                              "packet 1: it begins a frame of which 600000 bytes are kept, and "
                              "only 524120 are here: the file ends there; capture again"}));
    EXPECT_EQ(read.refused, 1U);
}

// A description that no packet of a capture has room for could not be written again.
TEST(capture_damage, a_description_that_is_longer_than_a_packet_is_refused)
{
    bytes packet = description_head(0x12345678, 200);
    append(packet, 8, 2);
    append(packet, "long_one");
    for (int i = 100; i < 300; ++i) {
        append(packet, 24 + 2 + 2004 + 4 + 4, 4);
        append(packet, 4 << 8, 4); // a scalar of 4 bytes
        for (int member = 0; member < 5; ++member)
            append(packet, 0, 4);
        append(packet, 2004, 2);
        append(packet, 'f' + std::string(2000, '0') + std::to_string(i));
        append(packet, 0, 8); // no label, no unit, no names
    }
    written_capture file;
    file.to.describe(file.to.add_interface({4711, "router"}), 1, packet);
    const read_outcome read = read_capture(file.text);
    EXPECT_TRUE(read.descriptions.empty());
    EXPECT_EQ(read.notes, (std::vector<std::string>{
                              "packet 1: the description has " + std::to_string(packet.size()) +
                              " bytes, and a packet at most 262144; it is damaged, so capture "
                              "again"}));
}

TEST(capture_damage, packets_of_kinds_to_come_are_counted)
{
    const three_frames whole;
    std::string text = whole.text();
    text[whole.start + 28 + 12 + 5] = 77; // the kind of the first packet
    const read_outcome read = read_capture(text);
    EXPECT_EQ(read.found.size(), 2U);
    EXPECT_EQ(read.notes,
              (std::vector<std::string>{"1 packets are of kinds that this vorl does not "
                                        "know; a newer vorl reads them"}));
    EXPECT_EQ(read.refused, 0U);
}

TEST(capture_damage, other_peoples_captures_are_read_in_both_byte_orders)
{
    for (const reference::order order : {reference::order::little, reference::order::big}) {
        const read_outcome read = read_capture(fixture(foreign, order));
        EXPECT_EQ(read.error, "");
        ASSERT_EQ(read.found.size(), 1U);
        EXPECT_FALSE(read.found[0].is_ours);
        EXPECT_EQ(read.found[0].found.kept, (bytes{'a', 'b', 'c'}));
        EXPECT_EQ(read.found[0].found.facts.length, 9U);
        EXPECT_EQ(read.found[0].found.facts.time, 1'000'002'000U);
    }
}

TEST(capture_damage, the_simple_packets_and_the_old_ones)
{
    const std::string head = fixture(foreign).substr(0, 48);
    const read_outcome simple =
        read_capture(head + fixture("u32 3 u32 20 u32 3 bytes 61 62 63 00 u32 20 "));
    ASSERT_EQ(simple.found.size(), 1U) << simple.error;
    EXPECT_EQ(simple.found[0].found.kept, (bytes{'a', 'b', 'c'}));
    const read_outcome old = read_capture(
        head +
        fixture("u32 2 u32 36 u16 0 u16 5 u32 0 u32 1 u32 3 u32 3 bytes 61 62 63 00 u32 36 "));
    ASSERT_EQ(old.found.size(), 1U) << old.error;
    EXPECT_EQ(old.found[0].found.kept, (bytes{'a', 'b', 'c'}));
    EXPECT_EQ(old.found[0].found.facts.time, 1000U);
}

TEST(capture_damage, what_is_no_pcapng)
{
    EXPECT_EQ(read_capture("anything at all").error,
              "packet 1: the file begins with no section; it is no pcapng file, or damaged");
    const std::string head = fixture(foreign).substr(0, 28);
    EXPECT_EQ(
        read_capture(head + fixture(foreign).substr(48)).error,
        "packet 1: it is of interface 0, which is not described before it; the file is damaged "
        "there, so capture again");
    std::string version_two = fixture(foreign);
    version_two[12] = 2;
    EXPECT_EQ(
        read_capture(version_two).error,
        "packet 1: it is pcapng of version 2, and this vorl reads version 1; save it as that");
}

// A length is believed as far as there are bytes: 4 GiB are not taken from memory for a word that says so.
TEST(capture_damage, a_length_costs_no_memory)
{
    std::string text = fixture(foreign);
    text.replace(52, 4, std::string("\xfc\xff\xff\xff", 4));
    EXPECT_EQ(
        read_capture(text, 1 << 20).error,
        "packet 1: the frame has more than 1114124 bytes, which no message has; give one frame");
    text = text.substr(0, 48) + fixture("u32 99 u32 4294967292 u32 0 ");
    EXPECT_EQ(read_capture(text).error.find("packet 1: the file breaks off in its block, "), 0U);
}
