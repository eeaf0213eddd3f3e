// What the dissector shows of frames: every slot as a field, absent ones, the bytes, the header.
#include <srv6.h>
#include <srv6_cfg.h>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "inspect/encode.h"
#include "inspect/hex.h"
#include "tests/codec/support/messages.h"
#include "tests/facts/counts.h"
#include "tests/wireshark/tshark.h"

using namespace vorl;
using namespace vorl::test;

namespace {

const message &described(const char *name) { return catalogue::find_message(name)->data; }

/// The record's values in a slot, as tshark writes fields.
std::string value_of(const slot &s, const std::uint8_t *record)
{
    const std::uint8_t *at = record + s.record_at;
    std::uint32_t count = s.count;
    if (s.is_vector()) {
        std::memcpy(&count, record + s.count_at, sizeof count);
        std::memcpy(&at, record + s.record_at, sizeof at);
    }
    if (s.nested != nullptr)
        return std::to_string(count);
    if (s.width == 1 && s.shape != slot_shape::scalar)
        return to_hex(at, count, "");
    if (s.shape == slot_shape::array && count == 4) {
        std::array<char, INET6_ADDRSTRLEN> text{};
        inet_ntop(AF_INET6, at, text.data(), text.size());
        return text.data();
    }
    std::string all;
    for (std::uint32_t i = 0; i < std::max(count, 1U); ++i) {
        std::uint64_t value = 0;
        std::memcpy(&value, at + i * s.width, s.width);
        all += (i == 0 ? "" : ",") + std::to_string(value);
    }
    return all;
}

/// The packed bytes of a record of that type.
template <class Record>
bytes packed(const char *name, const Record &record)
{
    EXPECT_EQ(described(name).record_size, sizeof record);
    return inspect::encode(described(name), &record, inspect::encoding::packed);
}

srv6_localsid_fwd local_sid()
{
    srv6_localsid_fwd sid = {};
    sid.f0 = 1;
    inet_pton(AF_INET6, "2001:db8::1", sid.f5);
    sid.f6 = 48;
    return sid;
}

/// The lines of the packet that stand under the protocol, without what is before `first`.
std::string details_from(const std::string &capture, const std::string &first)
{
    std::string all;
    bool is_wanted = false;
    for (const std::string &line : tshark(capture, "-O vorl")) {
        is_wanted = is_wanted || line.find(first) != std::string::npos;
        if (is_wanted && !line.empty())
            all += line + "\n";
    }
    return all;
}

} // namespace

TEST(wireshark_values, every_slot_of_every_message_packed_and_as_a_frame)
{
    captured_frames frames;
    std::vector<std::string> names;
    std::vector<sample> records;
    random_source random(115);
    for (const message *m : all_messages()) {
        records.push_back(sample::random(*m, random, 3));
        for (const auto as : {inspect::encoding::packed, inspect::encoding::frame})
            frames.add(m->msg_id, inspect::encode(*m, records.back().data(), as));
        for (std::size_t i = 0; i < m->slots.size; ++i) {
            if (m->slots[i].shape != slot_shape::table)
                names.push_back(std::string("vorl.") + name_of(*m) + ".f" + std::to_string(i) +
                                (m->slots[i].nested == nullptr ? "" : ".count"));
        }
    }
    ASSERT_EQ(records.size(), counts::messages);
    const auto shown = fields_of(frames.text(), names);
    ASSERT_EQ(shown.size(), 2 * counts::messages);
    std::size_t column = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const message &m = records[i].type();
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            if (m.slots[s].shape == slot_shape::table)
                continue;
            const std::string value =
                value_of(m.slots[s], static_cast<const std::uint8_t *>(records[i].data()));
            EXPECT_EQ(shown[2 * i][column], value) << names[column];
            EXPECT_EQ(shown[2 * i + 1][column], value) << names[column];
            ++column;
        }
    }
    EXPECT_EQ(column, names.size());
    std::printf("%zu slots\n", column);
}

TEST(wireshark_values, can_be_filtered_by)
{
    srv6_localsid_fwd other = local_sid();
    other.f6 = 64;
    other.f9 = 255;
    srv6_cfg_query_trastat_item item = {};
    item.f6 = 0xFEDCBA9876543210;
    captured_frames frames;
    frames.add(described("srv6_localsid_fwd").msg_id, packed("srv6_localsid_fwd", local_sid()));
    frames.add(described("srv6_localsid_fwd").msg_id, packed("srv6_localsid_fwd", other));
    frames.add(described("srv6_cfg_query_trastat_item").msg_id,
               packed("srv6_cfg_query_trastat_item", item));
    frames.add(described("srv6_localsid_fwd").msg_id, {1, 2, 3});
    capture::frame handed = frame_of(99, packed("srv6_localsid_fwd", local_sid()));
    handed.facts.way = capture::direction::received;
    handed.facts.known = capture::identifier_known | capture::handle_given;
    handed.facts.handle = 0xFEDCBA9876543210;
    frames.add(handed);

    const std::pair<const char *, const char *> filters[] = {
        {"vorl", "1 2 3 4 5"},
        {"vorl.srv6_localsid_fwd.f5 == 2001:db8::1", "1 2 5"},
        {"vorl.srv6_localsid_fwd.f5 == 2001:db8::/32", "1 2 5"},
        {"vorl.srv6_localsid_fwd.f5 == 2001:db8::2", ""},
        {"vorl.srv6_localsid_fwd.f6 > 48", "2"},
        {"vorl.srv6_localsid_fwd.f9 == 0", "1 5"},
        {"vorl.wire.absent == \"srv6_localsid_fwd.f9\"", "1 5"},
        {"vorl.srv6_cfg_query_trastat_item.f6 == 0xfedcba9876543210", "3"},
        {"vorl.srv6_cfg_query_trastat_item.f6 == 18364758544493064720", "3"},
        {"vorl.message == \"srv6_localsid_fwd\"", "1 2 4 5"},
        {"vorl.identifier == 0xb7b345a9", "1 2 4 5"},
        {"vorl.refused == 1", "4"},
        {"vorl.refused == 0", "1 2 3 5"},
        {"vorl.check.rule == \"length\"", "4"},
        {"vorl.expert.length", "4"},
        {"vorl.direction == 2", "5"},
        {"vorl.destination == 7", "1 2 3 4"},
        {"vorl.destination", "1 2 3 4"},
        {"vorl.result == 0", "1 2 3 4"},
        {"vorl.handle == 0xfedcba9876543210", "5"},
        {"vorl.handle", "5"},
        {"vorl.process == 4711 && vorl.thread == 4712", "1 2 3 4 5"},
        {"vorl.number == 99", "5"},
        {"vorl.length == 3 && vorl.kept == 3", "4"},
    };
    for (const auto &[filter, packets] : filters)
        EXPECT_EQ(packets_where(frames.text(), filter), packets) << filter;
}

TEST(wireshark_values, the_filters_of_the_page_are_filters)
{
    captured_frames frames;
    frames.add(described("srv6_localsid_fwd").msg_id, packed("srv6_localsid_fwd", local_sid()));
    const std::string page = content(VORL_TEST_PAGE);
    std::size_t filters = 0;
    std::size_t found = 0;
    for (const std::string &line : lines_of(page.substr(page.find("## Filters to copy")))) {
        if (line.starts_with("## What"))
            break;
        if (!line.starts_with("| `"))
            continue;
        ++filters;
        found += packets_where(frames.text(), line.substr(3, line.find("` |") - 3)).empty() ? 0 : 1;
    }
    EXPECT_EQ(filters, 16U);
    EXPECT_EQ(found, 6U); // by message, address, prefix, destination, process, and what is absent
}

// The second frame of docs/format.md, "Every byte of two messages", and how it is damaged there.
TEST(wireshark_values, both_views_of_a_frame_that_is_refused_half_way)
{
    captured_frames frames;
    frames.add(described("srv6_class_item").msg_id,
               {0x04, 0x00, 0x00, 0x00, 0xF0, 0xFF, 0xFF, 0xFF, 0x07, 0x00, 0x00,
                0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x0A, 0x00,
                0x0D, 0x00, 0x04, 0x00, 0x38, 0x00, 0x0C, 0x00, 0x00, 0x00});
    EXPECT_EQ(details_from(frames.text(), "[message: srv6_class_item]"),
              R"(    [message: srv6_class_item]
    [refused by a receiver: True]
        [check that fails: field]
        [offset of the faulty bytes: 26]
        [member: f1]
        [why: uint32 of 4 bytes at 0x003c passes the end of the message, 0x0020]
        [Expert Info (Error/Malformed): f1: uint32 of 4 bytes at 0x003c passes the end of the message, 0x0020]
            [f1: uint32 of 4 bytes at 0x003c passes the end of the message, 0x0020]
            [Severity level: Error]
            [Group: Malformed]
    srv6_class_item, its values
        f0: 7
        [f1: 0 (refused)]
        [f2: 0 (not read)]
    srv6_class_item, its bytes
        root offset: 4 (to 0x0004)
        table of srv6_class_item at 0x0004
            soffset: -16
            vtable at 0x0014
                vtable length: 10
                table length (not checked by readers): 13
                entry of f0: 4 (to 0x0008)
                entry of f1: 56 (to 0x003c)
                [entry of f2: not read]
            f0, uint32, at 0x0008
)");
}

TEST(wireshark_values, tables_within_tables_and_what_is_absent)
{
    srv6_common_fwd elements[2] = {};
    elements[0].f0 = 5;
    inet_pton(AF_INET6, "2001:db8::5", elements[0].f6);
    elements[1].f2 = 6;
    const message &batch = described("srv6_common_fwd_update");
    sample record = sample::zeros(batch);
    std::uint8_t *const first =
        record.set_vector(batch.slots[1], static_cast<std::uint8_t *>(record.data()), 2);
    std::memcpy(first, elements, sizeof elements);
    captured_frames frames;
    frames.add(batch.msg_id, inspect::encode(batch, record.data(), inspect::encoding::packed));
    const std::string text = details_from(frames.text(), "its values");
    for (const char *line : {
             "        [f0: 0 (absent)]\n",
             "        f1: vector<table srv6_common_fwd>\n            f1 count: 2\n            "
             "f1[0]\n"
             "                f0: 5\n                [f1: 0 (absent)]\n",
             "                f6: 2001:db8::5\n                f7: ::\n",
             "            f1[1]\n                [f0: 0 (absent)]\n                [f1: 0 "
             "(absent)]\n"
             "                f2: 6\n",
             "            f1, vector<table srv6_common_fwd>, at 0x0010\n"
             "                offset: 4 (to 0x0014)\n                count: 2\n                [0] "
             "offset: ",
         })
        EXPECT_NE(text.find(line), std::string::npos) << line << "is not in:\n" << text;
}
