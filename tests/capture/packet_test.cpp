// The bytes of the packets, as docs/capture.md has them.
#include <gtest/gtest.h>

#include "inspect/hex.h"
#include "tests/capture/captures.h"
#include "tests/codec/support/fixture.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

namespace {

bytes fixture(std::string_view text)
{
    const reference::bytes content = buffer_of(text);
    return {content.begin(), content.end()};
}

// The tags, and what every header of 72 bytes of a frame begins with.
const std::string start =
    "bytes 00 0C 00 04 76 6F 72 6C 00 00 00 00  bytes 56 4F 52 4C 01 01 48 00 ";
const std::string members =
    "bytes 02 1F 00 00  u32 4711  u32 4712  u32 7  u32 1 u32 2  u32 3082000809 "
    "u32 9  u32 100 u32 60  u32 5 u32 1  u32 20  u32 3  u32 4  u32 0 ";

frame_facts facts_of_members()
{
    frame_facts facts;
    facts.way = direction::received;
    facts.known = 31;
    facts.process = 4711;
    facts.thread = 4712;
    facts.destination = 7;
    facts.handle = 0x2'0000'0001;
    facts.identifier = 3082000809;
    facts.result = 9;
    facts.length = 100;
    facts.number = 0x1'0000'0005;
    facts.index = 3;
    facts.of_send = 4;
    return facts;
}

std::string error_of(const bytes &content)
{
    try {
        parse_packet(content);
    } catch (const capture_error &error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(capture_packet, a_frame_has_its_members_where_the_page_says)
{
    EXPECT_EQ(frame_head(facts_of_members(), 60, 20), fixture(start + members));
}

TEST(capture_packet, a_frame_is_read_member_by_member)
{
    const bytes content = fixture(start + members + "bytes AA BB");
    const auto found = parse_packet(content);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->kind, packet_kind::frame);
    EXPECT_EQ(found->facts.way, direction::received);
    EXPECT_EQ(found->facts.known, 31);
    EXPECT_EQ(found->facts.process, 4711U);
    EXPECT_EQ(found->facts.thread, 4712U);
    EXPECT_EQ(found->facts.destination, 7U);
    EXPECT_EQ(found->facts.handle, 0x2'0000'0001U);
    EXPECT_EQ(found->facts.identifier, 3082000809U);
    EXPECT_EQ(found->facts.result, 9U);
    EXPECT_EQ(found->facts.length, 100U);
    EXPECT_EQ(found->kept, 60U);
    EXPECT_EQ(found->facts.number, 0x1'0000'0005U);
    EXPECT_EQ(found->part_at, 20U);
    EXPECT_EQ(found->facts.index, 3U);
    EXPECT_EQ(found->facts.of_send, 4U);
    EXPECT_EQ(to_hex(found->rest.data(), found->rest.size()), "aabb");
}

TEST(capture_packet, a_longer_header_of_a_newer_writer_is_read)
{
    bytes content = fixture(start + members + "u32 1 u32 2 bytes AA BB");
    content[18] = 80;
    const auto found = parse_packet(content);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->facts.of_send, 4U);
    EXPECT_EQ(to_hex(found->rest.data(), found->rest.size()), "aabb");
}

TEST(capture_packet, a_kind_of_a_newer_writer_is_told_from_the_others)
{
    const bytes content = fixture("bytes 00 0C 00 04 76 6F 72 6C 00 00 00 00 "
                                  "bytes 56 4F 52 4C 01 09 08 00  bytes 01 02");
    const auto found = parse_packet(content);
    ASSERT_TRUE(found);
    EXPECT_EQ(static_cast<int>(found->kind), 9);
    EXPECT_EQ(found->rest.size(), 2U);
}

TEST(capture_packet, what_has_no_tag_is_no_packet_of_ours)
{
    const bytes content = fixture(start + members);
    for (std::size_t i = 0; i < 12; ++i) {
        bytes changed = content;
        changed[i] ^= 1;
        EXPECT_FALSE(parse_packet(changed)) << i;
        EXPECT_FALSE(parse_packet({content.data(), i})) << i;
    }
}

TEST(capture_packet, a_damaged_header_is_refused)
{
    const bytes content = fixture(start + members);
    const std::string again = "; it is damaged, so capture again";
    bytes changed = content;
    changed[16] = 2;
    EXPECT_EQ(error_of(changed),
              "its header is of version 2, and this vorl reads version 1; use a newer vorl");
    changed = content;
    changed[18] = 71;
    EXPECT_EQ(error_of(changed),
              "its header has 71 bytes, and what is possible is 72 to 72" + again);
    changed = content;
    changed[20] = 3;
    EXPECT_EQ(error_of(changed),
              "its direction is 3, and there are 1, sent, and 2, received" + again);
    changed = content;
    changed[12 + 44] = 101;
    EXPECT_EQ(error_of(changed), "it keeps 101 bytes of a frame of 100" + again);
    changed = content;
    changed[12 + 56] = 61;
    EXPECT_EQ(error_of(changed), "its bytes go past the 60 that are kept" + again);
    for (std::size_t size = 12; size < content.size(); ++size)
        EXPECT_NE(error_of({content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size)}),
                  "")
            << size;
}

TEST(capture_packet, a_description_has_its_members_where_the_page_says)
{
    description d{0x12345678, "abc", {}};
    described_slot slot;
    slot.shape = slot_shape::scalar;
    slot.width = 2;
    slot.name = "f0";
    slot.label.name = "state";
    slot.label.unit = "m";
    slot.label.shown_as = inspect::form::enumeration;
    slot.label.since_start = true;
    slot.label.locator = 48;
    slot.label.function = 16;
    slot.label.length_slot = 3;
    slot.label.names = {{258, "up"}};
    d.slots.push_back(slot);
    described_slot tables;
    tables.shape = slot_shape::table_array;
    tables.count = 5;
    tables.nested = 0x9ABCDEF0;
    tables.name = "f1";
    d.slots.push_back(tables);
    EXPECT_EQ(to_packet(d),
              fixture("bytes 00 0C 00 04 76 6F 72 6C 00 00 00 00  bytes 56 4F 52 4C 01 02 10 00 "
                      "u32 305419896 u32 2  bytes 03 00 61 62 63 "
                      "u32 54  bytes 00 02 09 01 u32 0 u32 0 u32 48 u32 16 u32 3 "
                      "bytes 02 00 66 30 05 00 73 74 61 74 65 01 00 6D "
                      "u32 1 u32 258 u32 0 bytes 02 00 75 70 "
                      "u32 36  bytes 03 00 00 00 u32 5 u32 2596069104 u32 0 u32 0 u32 0 "
                      "bytes 02 00 66 31 00 00 00 00 u32 0 "));
}
