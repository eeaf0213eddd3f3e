// The frames that fixed-size records are sent in: stated ones byte by byte, all of them against the
// facts and the reference.
#include <gtest/gtest.h>

#include <cstring>

#include "srv6.h"
#include "srv6_cfg.h"
#include "tests/codec/support/facts.h"
#include "tests/codec/support/fixture.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

constexpr srv6_vrf_class_data class_data = {0x01020304, 0x11121314, 0x21222324,
                                            0x31323334, 0x41424344, 0x51};

template <class Record>
bytes frame_of(const char *message, const Record &record)
{
    return sent_single(message_named(message), &record);
}

/// The frame that the record is sent in is what the text shows.
template <class Record>
void expect_frame(const char *message, const Record &record, order o, const std::string &text)
{
    EXPECT_EQ(hex(frame_of(message, record)), hex(buffer_of(text, o)));
}

TEST(frames, vrf_class_data)
{
    use_order(order::little);
    expect_frame("srv6_vrf_class_data", class_data, order::little, R"(
                bytes 04 00 00 00                         // root offset: 4
        table:  bytes E4 FF FF FF                         // soffset: -28
                bytes 04 03 02 01  14 13 12 11  24 23 22 21
                bytes 34 33 32 31  44 43 42 41  51  00 00 00
        vtable: bytes 10 00  19 00                        // 16 bytes long, the table 25
                bytes 04 00  08 00  0C 00  10 00  14 00  18 00)");
}

TEST(frames, vrf_class_data_swapped)
{
    use_order(order::big);
    expect_frame("srv6_vrf_class_data", class_data, order::big, R"(
                bytes 00 00 00 04                         // root offset: 4
        table:  bytes FF FF FF E4                         // soffset: -28
                bytes 01 02 03 04  11 12 13 14  21 22 23 24
                bytes 31 32 33 34  41 42 43 44  51  00 00 00
        vtable: bytes 00 10  00 19                        // 16 bytes long, the table 25
                bytes 00 04  00 08  00 0C  00 10  00 14  00 18)");
    forget_bindings();
}

TEST(frames, class_item_is_32_bytes_though_its_vtable_ends_at_30)
{
    in_both_orders([](order o) {
        expect_frame("srv6_class_item", srv6_class_item{1, 2, 3}, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 1  u32 2  u8 3  zeros 3
            vtable: u16 10  u16 13  u16 4  u16 8  u16 12
                    zeros 2)");
    });
}

TEST(frames, common_fwd_key)
{
    in_both_orders([](order o) {
        expect_frame("srv6_common_fwd_key", srv6_common_fwd_key{0xDEADBEEF}, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 0xDEADBEEF
            vtable: u16 6  u16 8  u16 4
                    zeros 6)");
    });
}

TEST(frames, common_fwd)
{
    in_both_orders([](order o) {
        srv6_common_fwd r = {};
        r.f0 = 0xA0A1A2A3;
        r.f1 = 0xB0B1B2B3;
        r.f2 = 2;
        r.f3 = 3;
        r.f4 = 4;
        r.f5 = 5;
        for (std::uint32_t i = 0; i < 4; ++i) {
            r.f6[i] = 0x60010203 + i;
            r.f7[i] = 0x70010203 + i;
        }
        r.f8 = 8;
        r.f9 = 9;
        r.f10 = 0x1011;
        r.f11 = 0x1112;
        r.f12 = 12;
        r.f13 = 13;
        r.f14 = 0x14151617;
        expect_frame("srv6_common_fwd", r, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 0xA0A1A2A3  u32 0xB0B1B2B3  u8 2  u8 3  u8 4  u8 5
                    u32 @f6
            f6:     u32 4  u32 0x60010203  u32 0x60010204  u32 0x60010205  u32 0x60010206
                    u32 @f7
            f7:     u32 4  u32 0x70010203  u32 0x70010204  u32 0x70010205  u32 0x70010206
                    u8 8  u8 9  u16 0x1011  u16 0x1112  u8 12  u8 13  u32 0x14151617
            vtable: u16 34  u16 76
                    u16 4  u16 8  u16 12  u16 13  u16 14  u16 15  u16 16  u16 40
                    u16 64  u16 65  u16 66  u16 68  u16 70  u16 71  u16 72
                    zeros 6)");
    });
}

TEST(frames, vrf_class_data_chg_holds_the_nested_frame)
{
    in_both_orders([](order o) {
        const srv6_vrf_class_data_chg chg = {0x0A0B0C0D, class_data};
        expect_frame("srv6_vrf_class_data_chg", chg, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 0x0A0B0C0D
                    u32 @inner                            // offset word, and root offset
            inner:  u32 inner-inner_vtable
                    u32 0x01020304  u32 0x11121314  u32 0x21222324
                    u32 0x31323334  u32 0x41424344  u8 0x51  zeros 3
            inner_vtable: u16 16  u16 25  u16 4  u16 8  u16 12  u16 16  u16 20  u16 24
            vtable: u16 8  u16 56  u16 4  u16 8
                    zeros 4)");
        const bytes nested = frame_of("srv6_vrf_class_data", class_data);
        const bytes whole = frame_of("srv6_vrf_class_data_chg", chg);
        EXPECT_EQ(whole.size(), 72u);
        EXPECT_EQ(hex(std::span(whole).subspan(12, 48)), hex(nested));
    });
}

TEST(frames, class_item_chg)
{
    in_both_orders([](order o) {
        expect_frame("srv6_class_item_chg", srv6_class_item_chg{7, {1, 2, 3}}, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 7
                    u32 @inner                            // offset word, and root offset
            inner:  u32 inner-inner_vtable
                    u32 1  u32 2  u8 3  zeros 3
            inner_vtable: u16 10  u16 13  u16 4  u16 8  u16 12
                    zeros 2
            vtable: u16 8  u16 40  u16 4  u16 8
                    zeros 4)");
    });
}

TEST(frames, dfx_item)
{
    in_both_orders([](order o) {
        const auto item = std::make_unique<srv6_cfg_query_dfx_item>();
        std::memset(item.get(), 0, sizeof *item);
        item->f0[31] = 0x1F;
        item->f1 = 0x01020304;
        item->f2[0] = 0x20;
        item->f2[16383] = 0x2F;
        item->f3[127] = 0x3F;
        item->f4[23] = 0x4F;
        EXPECT_EQ(frame_of("srv6_cfg_query_dfx_item", *item).size(), 16632u);
        expect_frame("srv6_cfg_query_dfx_item", *item, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 @f0
            f0:     u32 32  zeros 31  u8 0x1F
                    u32 0x01020304  u32 @f2
            f2:     u32 16384  u8 0x20  zeros 16382  u8 0x2F
                    u32 @f3
            f3:     u32 128  zeros 127  u8 0x3F
                    u32 @f4
            f4:     u32 24  zeros 23  u8 0x4F
            vtable: u16 14  u16 16608  u16 4  u16 44  u16 48  u16 16440  u16 16576
                    zeros 6)");
    });
}

/// A frame of 112 bytes whose f0 and f11 are not zero. Its table is the label `name`.
std::string trastat_item_frame(const std::string &name, const std::string &f0,
                               const std::string &f11)
{
    const std::string vtable = name + "_vtable";
    return "u32 4 " + name + ": u32 " + name + "-" + vtable + " u32 " + f0 + " zeros 60 u64 " +
           f11 + " " + vtable + ": u16 28 u16 76 u16 4 u16 8 u16 12 u16 16 u16 20 u16 24 " +
           "u16 28 u16 36 u16 44 u16 52 u16 60 u16 68 zeros 4 ";
}

// 128 offsets, then 128 whole frames; offset i leads to byte 4 of frame i.
TEST(frames, trastat_rec_info)
{
    in_both_orders([](order o) {
        const auto info = std::make_unique<srv6_cfg_query_trastat_rec_info>();
        std::memset(info.get(), 0, sizeof *info);
        std::string list = "list: u32 128 ";
        std::string elements;
        for (std::uint32_t i = 0; i < 128; ++i) {
            info->f0[i].f0 = i + 1;
            info->f0[i].f11 = 0x0102030405060700 + i;
            const std::string name = "e" + std::to_string(i);
            list += "u32 @" + name + " ";
            elements += trastat_item_frame(name, std::to_string(i + 1),
                                           "0x0102030405060700+" + std::to_string(i));
        }
        EXPECT_EQ(frame_of("srv6_cfg_query_trastat_rec_info", *info).size(), 14872u);
        expect_frame("srv6_cfg_query_trastat_rec_info", *info, o, R"(
                    u32 table                             // root offset
            table:  u32 table-vtable                      // soffset
                    u32 @list
            )" + list + elements + R"(
            vtable: u16 6  u16 14860  u16 4
                    zeros 2)");
    });
}

// Every frame has its length, its vtable and its offsets as the facts say, and zeros as padding.
TEST(frames, every_message_as_the_facts_say)
{
    for_all_messages([](const message &m, order o) {
        const fact &f = fact_of(name_of(m));
        if (f.frame_length == 0)
            return;
        const sample ones = sample::ones(m);
        const bytes frame = sent_single(m, ones.data());
        ASSERT_EQ(frame.size(), f.frame_length);
        const auto at = [&](std::size_t position, std::size_t width) {
            return reference::load(&frame[position], width, o);
        };
        const std::size_t vtable = (4 + f.table_length + 3) / 4 * 4;
        EXPECT_EQ(at(0, 4), 4u);
        EXPECT_EQ(static_cast<std::int32_t>(at(4, 4)), 4 - static_cast<std::int32_t>(vtable));
        EXPECT_EQ(at(vtable, 2), 4 + 2 * f.slots.size());
        EXPECT_EQ(at(vtable + 2, 2), f.table_length);
        for (std::size_t s = 0; s < f.slots.size(); ++s)
            EXPECT_EQ(at(vtable + 4 + 2 * s, 2), f.slots[s].frame_offset);
        for (std::size_t i = 4 + f.table_length; i < vtable; ++i)
            EXPECT_EQ(frame[i], 0) << "padding at " << i;
        for (std::size_t i = vtable + 4 + 2 * f.slots.size(); i < frame.size(); ++i)
            EXPECT_EQ(frame[i], 0) << "padding at " << i;
    });
}

TEST(frames, every_message_as_the_reference)
{
    random_source random(1);
    for_all_messages([&random](const message &m, order o) {
        if (!is_fixed_size(m))
            return;
        const auto check = [&](const sample &s) {
            ASSERT_EQ(hex(sent_single(m, s.data())), hex(reference::frame(m, s.data(), o)));
        };
        check(sample::zeros(m));
        check(sample::ones(m));
        for (int i = 0; i < 8; ++i)
            check(sample::random(m, random, 0, 0xEE)); // a record's own padding stays at home
    });
}

// The block of a batch comes dirty from its allocator.
TEST(frames, every_message_in_a_batch)
{
    random_source random(2);
    for_all_messages([&random](const message &m, order o) {
        if (!is_fixed_size(m))
            return;
        const std::uint32_t count = 5;
        bytes records(count * m.record_size);
        std::vector<bytes> expected;
        for (std::uint32_t i = 0; i < count; ++i) {
            const sample s = sample::random(m, random, 0, 0xEE);
            std::memcpy(&records[i * m.record_size], s.data(), m.record_size);
            expected.push_back(reference::frame(m, s.data(), o));
        }
        const std::vector<bytes> sent = sent_batch(m, records.data(), count);
        ASSERT_EQ(sent.size(), count);
        for (std::uint32_t i = 0; i < count; ++i)
            EXPECT_EQ(hex(sent[i]), hex(expected[i])) << "frame " << i;
    });
}

TEST(frames, every_message_reads_back_the_same)
{
    random_source random(3);
    for_all_messages([&random](const message &m, order o) {
        if (!is_fixed_size(m))
            return;
        for (const sample &s : {sample::zeros(m), sample::ones(m), sample::random(m, random)}) {
            const bytes frame = sent_single(m, s.data());
            const unpacked back(m, frame.data(), static_cast<std::int32_t>(frame.size()));
            EXPECT_EQ(difference(back.what(), expected_unpack(m, frame, o)), "");
            // Zero padding included: the record was dirty before, the sample's padding is zero.
            EXPECT_EQ(std::memcmp(back.record(), s.data(), m.record_size), 0);
            EXPECT_TRUE(back.what().logs.empty());
        }
    });
}

} // namespace
} // namespace vorl::test
