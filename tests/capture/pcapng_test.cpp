// Captures written and read again.
#include <gtest/gtest.h>

#include "inspect/decode.h"
#include "inspect/encode.h"
#include "tests/capture/captures.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

TEST(capture_file, every_message_comes_back_with_its_description)
{
    written_capture file;
    const std::uint32_t from = file.to.add_interface({4711, "router --daemon"});
    std::vector<frame> all;
    for (const auto &[info, fact] : all_messages()) {
        sample record(*info, 1, 2);
        frame f =
            frame_of(all.size(), inspect::encode(*info, record.record(), inspect::encoding::frame));
        f.facts.identifier = info->msg_id;
        f.facts.lost = all.size();
        f.facts.way = all.size() % 2 == 0 ? direction::sent : direction::received;
        file.to.describe(from, f.facts.time,
                         to_packet(describe(catalogue::info_of(*info), nullptr)));
        file.to.add(from, f);
        all.push_back(f);
    }
    file.to.count(from, all.back().facts.time, {1000, 20, 3, 115});
    ASSERT_EQ(all.size(), counts::messages);

    const read_outcome read = read_capture(file.text);
    EXPECT_EQ(read.error, "");
    EXPECT_TRUE(read.notes.empty());
    ASSERT_EQ(read.found.size(), counts::messages);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_TRUE(read.found[i].is_ours);
        EXPECT_EQ(read.found[i].packet, 2 * i + 2);
        const frame &got = read.found[i].found;
        EXPECT_EQ(got.kept, all[i].kept);
        EXPECT_EQ(got.facts.time, 1'700'000'000'123'456'789 + i);
        EXPECT_EQ(got.facts.way, all[i].facts.way);
        EXPECT_EQ(got.facts.identifier, all[i].facts.identifier);
        EXPECT_EQ(got.facts.number, i);
        EXPECT_EQ(got.facts.lost, i);
    }
    ASSERT_EQ(read.descriptions.size(), counts::messages);
    for (const auto &[info, fact] : all_messages()) {
        const description &d = read.descriptions.at(info->msg_id);
        EXPECT_EQ(d.name, name_of(*info));
        ASSERT_EQ(d.slots.size(), info->slots.size);
        for (std::size_t i = 0; i < d.slots.size(); ++i) {
            const slot &s = info->slots[i];
            EXPECT_EQ(d.slots[i].shape, s.shape);
            EXPECT_EQ(d.slots[i].count, s.count);
            EXPECT_EQ(d.slots[i].name, "f" + std::to_string(i));
            if (s.nested != nullptr)
                EXPECT_EQ(d.slots[i].nested, s.nested->msg_id);
            else
                EXPECT_EQ(d.slots[i].width, s.width);
        }
    }
    ASSERT_EQ(read.interfaces.size(), 1U);
    EXPECT_EQ(read.interfaces[0].link, 252);
    EXPECT_EQ(read.interfaces[0].name, "process 4711");
    EXPECT_EQ(read.interfaces[0].text, "router --daemon");
    ASSERT_TRUE(read.interfaces[0].counted);
    EXPECT_EQ(read.interfaces[0].counted->seen, 1000U);
    EXPECT_EQ(read.interfaces[0].counted->overwritten, 20U);
    EXPECT_EQ(read.interfaces[0].counted->dropped, 3U);
    EXPECT_EQ(read.interfaces[0].counted->given, 115U);
}

TEST(capture_file, a_description_has_the_labels)
{
    const message &m = catalogue::find_message("srv6_localsid_fwd")->data;
    inspect::labels names;
    inspect::label label;
    label.name = "sid";
    label.shown_as = inspect::form::sid;
    label.locator = 48;
    label.function = 16;
    label.names = {{1, "one"}, {2, "two"}};
    names.set(m, 5, label);
    written_capture file;
    file.to.describe(file.to.add_interface({1, ""}), 0,
                     to_packet(describe(catalogue::info_of(m), &names)));
    const read_outcome read = read_capture(file.text);
    ASSERT_EQ(read.descriptions.count(m.msg_id), 1U);
    const description &d = read.descriptions.at(m.msg_id);
    EXPECT_EQ(d.slots[4].label.name, "");
    EXPECT_EQ(d.slots[5].label.name, "sid");
    EXPECT_EQ(d.slots[5].label.shown_as, inspect::form::sid);
    EXPECT_EQ(d.slots[5].label.locator, 48U);
    ASSERT_EQ(d.slots[5].label.names.size(), 2U);
    EXPECT_EQ(d.slots[5].label.names[1].value, 2U);
    EXPECT_EQ(d.slots[5].label.names[1].name, "two");
}

// 262,060 bytes fit one packet of 262,144.
TEST(capture_file, long_frames_are_split_and_put_together)
{
    const std::vector<std::pair<std::size_t, std::size_t>> sizes_and_packets = {
        {0, 1},       {262'059, 1}, {262'060, 1},  {262'061, 2},
        {524'120, 2}, {524'121, 3}, {1'000'000, 4}};
    written_capture file;
    const std::uint32_t from = file.to.add_interface({4711, ""});
    for (const auto &[size, packets] : sizes_and_packets)
        file.to.add(from, frame_of(size, pattern(size)));
    const read_outcome read = read_capture(file.text);
    EXPECT_EQ(read.error, "");
    ASSERT_EQ(read.found.size(), sizes_and_packets.size());
    std::uint64_t packet = 1;
    for (std::size_t i = 0; i < read.found.size(); ++i) {
        EXPECT_EQ(read.found[i].packet, packet);
        EXPECT_TRUE(read.found[i].found.kept == pattern(sizes_and_packets[i].first));
        packet += sizes_and_packets[i].second;
    }
}

TEST(capture_file, a_frame_that_is_kept_in_part_is_so_again)
{
    frame f = frame_of(1, pattern(100));
    f.facts.length = 4'000'000'000;
    written_capture file;
    file.to.add(file.to.add_interface({4711, ""}), f);
    const read_outcome read = read_capture(file.text);
    ASSERT_EQ(read.found.size(), 1U);
    EXPECT_EQ(read.found[0].found.kept, pattern(100));
    EXPECT_EQ(read.found[0].found.facts.length, 4'000'000'000U);
}

TEST(capture_file, files_one_behind_the_other_are_one)
{
    written_capture first, second;
    first.to.add(first.to.add_interface({1, ""}), frame_of(1, pattern(10)));
    second.to.add_interface({2, ""});
    second.to.add(second.to.add_interface({3, ""}), frame_of(2, pattern(20)));
    const read_outcome read = read_capture(first.text + second.text);
    EXPECT_EQ(read.error, "");
    ASSERT_EQ(read.found.size(), 2U);
    EXPECT_EQ(read.interfaces[read.found[0].interface].name, "process 1");
    EXPECT_EQ(read.interfaces[read.found[1].interface].name, "process 3");
}

// A message that no tool knows: the one that it is in truth, under another name and identifier, and with it
// those of its tables.
TEST(capture_file, a_message_that_only_the_file_knows_is_read_as_any_other)
{
    constexpr std::uint32_t other = 0x01010101;
    for (const auto &[info, fact] : all_messages()) {
        SCOPED_TRACE(name_of(*info));
        written_capture file;
        const std::uint32_t from = file.to.add_interface({1, ""});
        description d = describe(catalogue::info_of(*info), nullptr);
        d.identifier = info->msg_id ^ other;
        d.name = "new_" + d.name;
        file.to.describe(from, 0, to_packet(d));
        EXPECT_EQ(read_capture(file.text).notes.size(), 0U);
        const catalogue::message_info *const adopted = catalogue::find_message(d.identifier);
        ASSERT_NE(adopted, nullptr);
        EXPECT_STREQ(name_of(adopted->data), d.name.c_str());
        // In one record and in the other the bytes are the same values.
        sample record(*info, 1, 2);
        const bytes frame = inspect::encode(*info, record.record(), inspect::encoding::frame);
        std::vector<std::uint64_t> back(adopted->data.record_size / 8 + 1);
        ASSERT_FALSE(inspect::decode(adopted->data, frame, back.data()));
        EXPECT_EQ(inspect::encode(adopted->data, back.data(), inspect::encoding::frame), frame);
        inspect::release(adopted->data, back.data());
    }
}

TEST(capture_file, a_description_of_what_no_codec_reads_is_not_taken)
{
    const auto is_adopted = [](const description &d) {
        written_capture file;
        file.to.describe(file.to.add_interface({1, ""}), 0, to_packet(d));
        read_capture(file.text);
        return catalogue::find_message(d.identifier) != nullptr;
    };
    described_slot word;
    word.shape = slot_shape::array;
    word.width = 4;
    word.name = "f0";
    word.count = 1;
    EXPECT_TRUE(is_adopted({0x70000001, "m", {word}}));
    word.count = 1U << 22; // words: 16 MiB
    EXPECT_TRUE(is_adopted({0x70000002, "m", {word}}));
    word.count += 1;
    EXPECT_FALSE(is_adopted({0x70000003, "m", {word}}));
    word.count = 1;
    EXPECT_FALSE(is_adopted({0x70000004, "a \"name\"", {word}}));
    EXPECT_FALSE(is_adopted({0x70000005, "m", {}}));
    described_slot table;
    table.shape = slot_shape::table;
    table.name = "f0";
    for (std::uint32_t level = 2; level <= 32; ++level) {
        table.nested = level == 2 ? 0x70000001 : 0x71000000 + level - 1;
        EXPECT_TRUE(is_adopted({0x71000000 + level, "m", {table}})) << level;
    }
    table.nested = 0x71000000 + 32;
    EXPECT_FALSE(is_adopted({0x71000000 + 33, "m", {table}}));
    table.nested = 0x72000000;
    EXPECT_FALSE(is_adopted({0x72000001, "m", {table}}));
    // Elements of arrays and vectors hold no vector, also not in a table of theirs; else vectors that share
    // their elements would cost the product of their lengths.
    described_slot octets;
    octets.shape = slot_shape::byte_vector;
    octets.width = 1;
    octets.name = "f0";
    EXPECT_TRUE(is_adopted({0x73000001, "m", {octets}}));
    table.nested = 0x73000001;
    EXPECT_TRUE(is_adopted({0x73000002, "m", {table}}));
    for (const std::uint32_t element : {0x73000001, 0x73000002}) {
        described_slot elements = table;
        elements.nested = element;
        elements.shape = slot_shape::table_vector;
        EXPECT_FALSE(is_adopted({element + 0x10, "m", {elements}}));
        elements.shape = slot_shape::table_array;
        elements.count = 2;
        EXPECT_FALSE(is_adopted({element + 0x20, "m", {elements}}));
    }
    // Elements of a vector have up to 64 KiB.
    word.count = 1U << 14;
    EXPECT_TRUE(is_adopted({0x74000001, "m", {word}}));
    word.count += 1;
    EXPECT_TRUE(is_adopted({0x74000002, "m", {word}}));
    table.shape = slot_shape::table_vector;
    table.nested = 0x74000001;
    EXPECT_TRUE(is_adopted({0x74000003, "m", {table}}));
    table.nested = 0x74000002;
    EXPECT_FALSE(is_adopted({0x74000004, "m", {table}}));
}
