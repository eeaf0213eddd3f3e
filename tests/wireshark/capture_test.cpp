// What the dissector makes of captures: split, cut and damaged packets, and descriptions.
#include <srv6.h>
#include <srv6_cfg.h>

#include <arpa/inet.h>

#include <chrono>
#include <cstring>
#include <random>

#include "capture/frame_filter.h"
#include "inspect/encode.h"
#include "inspect/labels.h"
#include "tests/codec/support/messages.h"
#include "tests/facts/counts.h"
#include "tests/wireshark/tshark.h"

using namespace vorl;
using namespace vorl::test;

namespace {

constexpr const char *batch_name = "srv6_common_fwd_update";
constexpr std::uint32_t other = 0x01010101; ///< makes an identifier one that no tool knows

const message &described(const char *name) { return catalogue::find_message(name)->data; }

/// What a message is, under another name and identifier, and with those of its tables.
capture::description renamed(const message &m)
{
    capture::description d = capture::describe(catalogue::info_of(m), nullptr);
    d.identifier ^= other;
    d.name = "new_" + d.name;
    for (capture::described_slot &s : d.slots)
        s.nested ^= s.nested == 0 ? 0 : other;
    return d;
}

/// A frame of 6,000 elements, which takes three packets.
bytes long_frame()
{
    const message &m = described(batch_name);
    const sample record = sample::ones(m, 6'000);
    return inspect::encode(m, record.data(), inspect::encoding::packed);
}

} // namespace

TEST(wireshark_captures, split_frames_are_put_together)
{
    const bytes content = long_frame();
    ASSERT_GT(content.size(), 2 * 262'060U);
    ASSERT_LT(content.size(), 3 * 262'060U);
    captured_frames frames;
    frames.add(described(batch_name).msg_id, content);
    frames.add(described(batch_name).msg_id, content);
    for (const char *passes : {"", "-2 "}) {
        const std::vector<std::string> rows = tshark(
            frames.text(), std::string(passes) +
                               "-T fields -e vorl.refused -e vorl.srv6_common_fwd_update.f1.count "
                               "-e vorl.part_at -e vorl.first_part");
        EXPECT_EQ(rows,
                  (std::vector<std::string>{"\t\t0\t", "\t\t262060\t", "0\t6000\t524120\t1",
                                            "\t\t0\t", "\t\t262060\t", "0\t6000\t524120\t4"}));
    }
    EXPECT_EQ(tshark(frames.text(), "-2 -T fields -e vorl.whole_in"),
              (std::vector<std::string>{"3", "3", "", "6", "6", ""}));
    // Of the elements the first 256 are shown, and how many there are.
    std::string text;
    for (const std::string &line : tshark(frames.text(), "-O vorl"))
        text += line + "\n";
    EXPECT_NE(text.find("            f1[255]\n"), std::string::npos);
    EXPECT_EQ(text.find("            f1[256]\n"), std::string::npos);
    EXPECT_NE(text.find("            and 5744 more, which are not shown\n"), std::string::npos);
}

TEST(wireshark_captures, a_split_frame_without_one_of_its_packets_is_none)
{
    captured_frames frames;
    frames.add(described(batch_name).msg_id, long_frame());
    frames.add(described(batch_name).msg_id, long_frame());
    const scratch_directory at;
    write(at.path() / "all", frames.text());
    ASSERT_EQ(run(at.path(), "editcap all rest 1").status, 0);
    const std::string rest = content(at.path() / "rest");
    EXPECT_EQ(packets_where(rest, "vorl.expert.lost_parts"), "1 2");
    EXPECT_EQ(packets_where(rest, "vorl.refused"), "5");
}

TEST(wireshark_captures, a_cut_frame_has_no_verdict)
{
    const message &m = described("srv6_localsid_fwd");
    const sample record = sample::ones(m);
    capture::frame f = frame_of(1, inspect::encode(m, record.data(), inspect::encoding::packed));
    f.facts.length += 1;
    f.kept.resize(60);
    captured_frames frames;
    frames.add(f);
    EXPECT_EQ(fields_of(frames.text(), {"vorl.cut", "vorl.refused", "vorl.srv6_localsid_fwd.f0"}),
              (std::vector<std::vector<std::string>>{{"1", "", "4294967295"}}));
    EXPECT_EQ(packets_where(frames.text(), "vorl.expert.cut"), "1");
}

TEST(wireshark_captures, messages_that_only_the_file_knows_are_read_by_its_descriptions)
{
    captured_frames frames;
    std::vector<std::uint32_t> values;
    for (const message *m : all_messages()) {
        frames.describe(renamed(*m));
        random_source random(m->msg_id);
        const sample record = sample::random(*m, random, 3);
        bytes content = inspect::encode(*m, record.data(), inspect::encoding::packed);
        frames.add(m->msg_id ^ other, content);
        for (const std::size_t size : {content.size() / 3, content.size() / 2, content.size() - 1})
            frames.add(m->msg_id ^ other,
                       bytes(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    EXPECT_TRUE(read_capture(frames.text()).notes.empty()); // from here on this program knows them
    const auto shown = fields_of(frames.text(), {"vorl.kind", "vorl.message", "vorl.refused",
                                                 "vorl.check.rule", "vorl.check.at", "vorl.check"});
    ASSERT_EQ(shown.size(), 5 * counts::messages);
    std::size_t frame = 0;
    for (const auto &row : shown) {
        if (row[0] == "2")
            continue;
        const capture::verdict due = capture::judge(frames.frames[frame]);
        ASSERT_NE(due.of, nullptr);
        EXPECT_EQ(row[1], name_of(*due.of));
        const std::vector<std::string> found(row.begin() + 2, row.end());
        if (due.why)
            EXPECT_EQ(found, (std::vector<std::string>{
                                 "1", due.why->rule, std::to_string(due.why->at), due.why->what}));
        else
            EXPECT_EQ(found, (std::vector<std::string>{"0", "", "", ""})) << row[1];
        ++frame;
    }
    EXPECT_EQ(frame, 4 * counts::messages);
}

// The limits of docs/capture.md. The bytes are four, too few for a table.
TEST(wireshark_captures, a_description_of_what_no_codec_reads_is_not_taken)
{
    const auto slot_of = [](slot_shape shape, std::uint8_t width, std::uint32_t count,
                            std::uint32_t nested) {
        capture::described_slot s;
        s.shape = shape;
        s.width = width;
        s.count = count;
        s.nested = nested;
        s.name = "f0";
        return s;
    };
    constexpr std::uint32_t word = 0x60000000;
    constexpr std::uint32_t large = 0x60000001;
    constexpr std::uint32_t largest = 0x60000002;
    constexpr std::uint32_t vector = 0x60000003;
    constexpr std::uint32_t chain = 0x61000000;
    std::vector<std::pair<capture::description, bool>> all = {
        {{word, "word", {slot_of(slot_shape::scalar, 4, 0, 0)}}, true},
        {{large, "large", {slot_of(slot_shape::array, 4, 16'384, 0)}}, true},
        {{largest, "largest", {slot_of(slot_shape::array, 4, 1U << 22, 0)}}, true},
        {{0x60000010, "larger", {slot_of(slot_shape::array, 4, (1U << 22) + 1, 0)}}, false},
        {{vector, "vector", {slot_of(slot_shape::table_vector, 0, 0, word)}}, true},
        {{0x60000011, "of_large", {slot_of(slot_shape::table_vector, 0, 0, large)}}, true},
        {{0x60000012, "of_largest", {slot_of(slot_shape::table_vector, 0, 0, largest)}}, false},
        {{0x60000013, "of_vectors", {slot_of(slot_shape::table_vector, 0, 0, vector)}}, false},
        {{0x60000014, "array_of_vectors", {slot_of(slot_shape::table_array, 0, 2, vector)}}, false},
        {{0x60000015, "with_vector", {slot_of(slot_shape::table, 0, 0, vector)}}, true},
        {{0x60000016, "a \"name\"", {slot_of(slot_shape::scalar, 4, 0, 0)}}, false},
        {{0x60000017, "nothing", {}}, false},
        {{0x60000018, "of_unknown", {slot_of(slot_shape::table, 0, 0, 0x6FFFFFFF)}}, false},
        {{0x60000019, "of_itself", {slot_of(slot_shape::table, 0, 0, 0x60000019)}}, false},
        {{0x6000001A, "of_three", {slot_of(slot_shape::scalar, 3, 0, 0)}}, false},
    };
    for (std::uint32_t level = 2; level <= 33; ++level)
        all.push_back({{chain + level,
                        "level" + std::to_string(level),
                        {slot_of(slot_shape::table, 0, 0, level == 2 ? word : chain + level - 1)}},
                       level <= 32});
    captured_frames frames;
    std::string taken;
    std::uint32_t packet = 0;
    for (const auto &[d, is_taken] : all) {
        frames.describe(d);
        frames.add(d.identifier, {0, 0, 0, 0});
        packet += 2;
        if (is_taken)
            taken += (taken.empty() ? "" : " ") + std::to_string(packet);
    }
    EXPECT_EQ(packets_where(frames.text(), "vorl.check.rule == \"table position\""), taken);
    read_capture(frames.text());
    for (const auto &[d, is_taken] : all)
        EXPECT_EQ(catalogue::find_message(d.identifier) != nullptr, is_taken) << d.name;
}

TEST(wireshark_captures, a_description_holds_for_the_frames_behind_it)
{
    const message &m = described("srv6_class_item");
    srv6_class_item item = {};
    item.f0 = 7;
    item.f2 = 3;
    const bytes content = inspect::encode(m, &item, inspect::encoding::frame);
    captured_frames frames;
    frames.add(m.msg_id ^ other, content);
    frames.describe(renamed(m));
    frames.add(m.msg_id ^ other, content);
    EXPECT_EQ(fields_of(frames.text(), {"vorl.message", "vorl.value", "vorl.bytes"}),
              (std::vector<std::vector<std::string>>{
                  {"", "",
                   "04000000f0ffffff0700000000000000030000000a000d0004000800"
                   "0c000000"},
                  {"new_srv6_class_item", "", ""},
                  {"new_srv6_class_item", "7,0,3", ""}}));
    EXPECT_EQ(packets_where(frames.text(), "vorl.expert.unknown_message"), "1");
    // When it is shown again, all is known that comes behind it.
    EXPECT_EQ(tshark(frames.text(), "-2 -T fields -e vorl.message"),
              (std::vector<std::string>{"", "new_srv6_class_item", "new_srv6_class_item"}));
}

// The labels and the values of docs/labels.md.
TEST(wireshark_captures, labels_are_shown_with_the_slots)
{
    const inspect::labels_file labels = inspect::read_labels(R"(version = 1
[srv6_localsid_fwd]
f0 = { name = "number", form = "dec" }
f2 = { form = "hex" }
f3 = { form = "ipv4" }
f4 = { form = "time", unit = "s" }
f5 = { name = "sid", form = "sid", locator = 48, function = 16 }
f6 = { name = "length", unit = "bits" }
f7 = { form = "enum", values = { 1 = "ipv4", 0x20 = "ipv6" } }
f8 = { form = "time", unit = "ms", since = "start" }
f9 = { form = "flags", bits = { 0 = "psp", 1 = "usp" } }
f10 = { name = "unused" }
f11 = { form = "unit", unit = "Mbit/s" }
[srv6_common_fwd]
f6 = { form = "prefix", length = "f1" }
f7 = { form = "ipv6" }
[srv6_cfg_query_trastat_item]
f6 = { form = "mac" }
f7 = { form = "time", unit = "ns" }
)");
    ASSERT_TRUE(labels.problems.empty()) << labels.problems[0].what;
    srv6_localsid_fwd sid = {};
    sid.f0 = sid.f2 = 10;
    sid.f3 = 0xC0000201;
    sid.f4 = 1795293880;
    inet_pton(AF_INET6, "2001:db8:a001:1::", sid.f5);
    sid.f6 = 48;
    sid.f7 = 0x20;
    sid.f8 = 267340125;
    sid.f9 = 5;
    sid.f11 = 100;
    srv6_common_fwd route = {};
    route.f1 = 48;
    inet_pton(AF_INET6, "2001:db8:a001::", route.f6);
    inet_pton(AF_INET6, "2001:db8:0:1::1", route.f7);
    srv6_cfg_query_trastat_item item = {};
    item.f6 = 0x00005E005301;
    item.f7 = 1795293880'123456789;
    captured_frames frames;
    const auto add = [&](const char *name, const void *record) {
        const message &m = described(name);
        frames.describe(capture::describe(catalogue::info_of(m), &labels.right));
        frames.add(m.msg_id, inspect::encode(m, record, inspect::encoding::packed));
    };
    add("srv6_localsid_fwd", &sid);
    add("srv6_common_fwd", &route);
    add("srv6_cfg_query_trastat_item", &item);
    std::string text;
    for (const std::string &line : tshark(frames.text(), "-O vorl"))
        text += line + "\n";
    for (const char *line : {
             "        f0: 10 [number]\n",
             "        f2: 10 [0x0000000a]\n",
             "        f3: 3221225985 [192.0.2.1]\n",
             "        f4: 1795293880 [2026-11-21T20:44:40Z]\n",
             "        f5: 2001:db8:a001:1:: [sid: 2001:db8:a001:1:: (locator 2001:db8:a001::/48, "
             "function 0x1)]\n",
             "        f6: 48 [length: bits]\n",
             "        f7: 32 [ipv6]\n",
             "        f8: 267340125 [3d 02:15:40.125]\n",
             "        f9: 5 [psp|0x4]\n",
             "        [f10: 0 (absent) [unused]]\n",
             "        f11: 100 [100 Mbit/s]\n",
             "        f6: 2001:db8:a001:: [2001:db8:a001::/48]\n",
             "        f7: 2001:db8:0:1::1 [2001:db8:0:1::1]\n",
             "        f6: 1577079553 [00:00:5e:00:53:01]\n",
             "        f7: 1795293880123456789 [2026-11-21T20:44:40.123456789Z]\n",
         })
        EXPECT_NE(text.find(line), std::string::npos) << line << "is not in:\n" << text;
}

// Every byte of the packets of a described message another, and random ones.
TEST(wireshark_captures, damaged_packets_are_shown_as_such)
{
    const message &m = described(batch_name);
    captured_frames whole;
    whole.describe(renamed(m));
    whole.add(m.msg_id ^ other,
              inspect::encode(m, sample::ones(m).data(), inspect::encoding::packed));
    captured_frames frames;
    std::string text = frames.text();
    std::minstd_rand random(1);
    std::size_t packets = 0;
    // An enhanced packet block: type 6, its length, and the packet from byte 28 on.
    const std::string given = whole.text().substr(frames.text().size());
    for (std::size_t at = 0; at + 12 <= given.size();) {
        std::uint32_t head[7] = {};
        std::memcpy(head, given.data() + at, sizeof head);
        if (head[0] == 6) {
            for (std::size_t i = 12; i < head[5]; ++i) {
                for (const int flip : {0x01, 0x80, 0xFF, static_cast<int>(random() % 255 + 1)}) {
                    std::string block = given.substr(at, head[1]);
                    block[28 + i] = static_cast<char>(block[28 + i] ^ flip);
                    text += block;
                    ++packets;
                }
            }
        }
        at += head[1];
    }
    const auto rows = fields_of(text, {"_ws.expert.message"});
    tshark(text, "-V");
    EXPECT_EQ(rows.size(), packets);
    std::printf("%zu damaged packets\n", packets);
    EXPECT_EQ(packets, 1808U);
    std::size_t damaged = 0;
    for (const auto &row : rows)
        damaged += row[0] == "it has no header of a captured frame" ? 1 : 0;
    EXPECT_EQ(damaged, 4U * 2 * 4); // "VORL", of two packets, four times
}

// 8,000 tables, each of which leads to the same array of 8,000: all checks of it would be 64 million.
//
//   0      4        12     20              24 + 4n                24 + 12n
//   +------+--------+------+---+-----------+---------+---------+--+---+-----------+-------+
//   | root | vtable | root | n | n offsets | table 0 | table 1 ... | n | n offsets | table |
//   | = 12 | of all | table|   |           |         |         |  |   |           |       |
//   +------+--------+------+---+-----------+---------+---------+--+---+-----------+-------+
TEST(wireshark_captures, lists_that_lie_in_each_other_are_given_up_soon)
{
    capture::described_slot value;
    value.width = 1;
    value.name = "f0";
    capture::described_slot list;
    list.shape = slot_shape::table_array;
    list.count = 8'000;
    list.name = "f0";
    list.nested = 0x70000001;
    captured_frames frames;
    frames.describe({0x70000001, "inner", {value}});
    frames.describe({0x70000002, "middle", {list}});
    list.shape = slot_shape::table_vector;
    list.count = 0;
    list.nested = 0x70000002;
    frames.describe({0x70000003, "outer", {list}});

    constexpr std::uint32_t n = 8'000;
    constexpr std::uint32_t tables = 24 + 4 * n;
    constexpr std::uint32_t shared = tables + 8 * n;
    constexpr std::uint32_t last = shared + 4 + 4 * n;
    bytes content(last + 8);
    const auto put = [&content](std::uint32_t at, std::uint32_t word) {
        std::memcpy(content.data() + at, &word, sizeof word);
    };
    const auto put_table = [&put](std::uint32_t at, std::uint32_t body) {
        put(at, at - 4);
        put(at + 4, body - (at + 4));
    };
    put(0, 12);
    put(4, 6 | 8U << 16);
    put(8, 4);
    put_table(12, 20);
    put(20, n);
    put(shared, n);
    for (std::uint32_t i = 0; i < n; ++i) {
        put(24 + 4 * i, tables + 8 * i - (24 + 4 * i));
        put_table(tables + 8 * i, shared);
        put(shared + 4 + 4 * i, last - (shared + 4 + 4 * i));
    }
    put(last, last - 4);
    frames.add(0x70000003, content);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(packets_where(frames.text(), "vorl.expert.gave_up && !vorl.refused"), "4");
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
}
