// __pack: stated examples byte by byte, its arguments, and every message against the reference.
#include <gtest/gtest.h>

#include <cstring>

#include "srv6.h"
#include "srv6_cfg.h"
#include "tests/codec/support/facts.h"
#include "tests/codec/support/fixture.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

constexpr std::uint32_t refused = 0xFFFFFFFF;

template <class Record>
bytes pack_of(const char *message, const Record &record)
{
    sample s(message_named(message));
    std::memcpy(s.data(), &record, sizeof record);
    return library_pack(s);
}

/// The record's packed bytes are those that the text shows.
template <class Record>
void expect_packed(const char *message, const Record &record, order o, const std::string &text)
{
    EXPECT_EQ(hex(pack_of(message, record)), hex(buffer_of(text, o)));
}

TEST(packs, vrf_class_data_of_33_bytes)
{
    use_order(order::little);
    const srv6_vrf_class_data r = {1, 0, 10, 0, 0, 3};
    expect_packed("srv6_vrf_class_data", r, order::little, R"(
                bytes 14 00 00 00                         // root offset: 20
        vtable: bytes 10 00  0D 00                        // 16 bytes long, the table 13
                bytes 04 00  00 00  08 00                 // f0, no f1, f2
                bytes 00 00  00 00  0C 00                 // no f3, no f4, f5
        table:  bytes 10 00 00 00                         // soffset: 16
                bytes 01 00 00 00  0A 00 00 00  03)");
}

TEST(packs, vrf_class_data_of_33_bytes_swapped)
{
    use_order(order::big);
    const srv6_vrf_class_data r = {1, 0, 10, 0, 0, 3};
    expect_packed("srv6_vrf_class_data", r, order::big, R"(
                bytes 00 00 00 14                         // root offset: 20
        vtable: bytes 00 10  00 0D                        // 16 bytes long, the table 13
                bytes 00 04  00 00  00 08                 // f0, no f1, f2
                bytes 00 00  00 00  00 0C                 // no f3, no f4, f5
        table:  bytes 00 00 00 10                         // soffset: 16
                bytes 00 00 00 01  00 00 00 0A  03)");
    forget_bindings();
}

TEST(packs, vrf_class_data_of_24_25_and_45_bytes)
{
    use_order(order::little);
    expect_packed("srv6_vrf_class_data", srv6_vrf_class_data{}, order::little, R"(
                bytes 14 00 00 00                         // root offset: 20
        vtable: bytes 10 00  04 00                        // 16 bytes long, the table 4
                bytes 00 00  00 00  00 00  00 00  00 00  00 00
        table:  bytes 10 00 00 00)");     // soffset: 16
    expect_packed("srv6_vrf_class_data", srv6_vrf_class_data{0, 0, 0, 0, 0, 1}, order::little, R"(
                bytes 14 00 00 00                         // root offset: 20
        vtable: bytes 10 00  05 00                        // 16 bytes long, the table 5
                bytes 00 00  00 00  00 00  00 00  00 00  04 00
        table:  bytes 10 00 00 00  01)"); // soffset: 16, then f5
    expect_packed("srv6_vrf_class_data", srv6_vrf_class_data{1, 2, 3, 4, 5, 6}, order::little, R"(
                bytes 14 00 00 00                         // root offset: 20
        vtable: bytes 10 00  19 00                        // 16 bytes long, the table 25
                bytes 04 00  08 00  0C 00  10 00  14 00  18 00
        table:  bytes 10 00 00 00                         // soffset: 16
                bytes 01 00 00 00  02 00 00 00  03 00 00 00  04 00 00 00  05 00 00 00  06)");
}

TEST(packs, vrf_class_data_chg_of_40_bytes)
{
    in_both_orders([](order o) {
        expect_packed("srv6_vrf_class_data_chg", srv6_vrf_class_data_chg{}, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 8  u16 0  u16 4            // no f0, f1
            table:  u32 table-vtable                      // soffset
                    u32 @inner
            inner_vtable: u16 16  u16 4  zeros 12         // none of the six
            inner:  u32 inner-inner_vtable)");
    });
}

// Arrays of 16 bytes are written though they are zero.
TEST(packs, localsid_key_of_zeros)
{
    in_both_orders([](order o) {
        expect_packed("srv6_localsid_fwd_key", srv6_localsid_fwd_key{}, o, R"(
                    u32 table                             // root offset
            vtable: u16 12  u16 28  u16 0  u16 0  u16 4  u16 0
            table:  u32 table-vtable                      // soffset
                    u32 @f2
            f2:     u32 4  zeros 16)");
    });
}

// An array's offset word stands among the fields, its body behind all of them.
TEST(packs, localsid_key)
{
    in_both_orders([](order o) {
        const srv6_localsid_fwd_key key = {
            0, 0x01020304, {0x11111112, 0x21212122, 0x31313132, 0x41414142}, 0x0506};
        expect_packed("srv6_localsid_fwd_key", key, o, R"(
                    u32 table                             // root offset
            vtable: u16 12  u16 34  u16 0  u16 4  u16 8  u16 12
            table:  u32 table-vtable                      // soffset
                    u32 0x01020304  u32 @f2  u16 0x0506
            f2:     u32 4  u32 0x11111112  u32 0x21212122  u32 0x31313132  u32 0x41414142)");
    });
}

/// An element of 90 bytes, all zero but for f14: vtable, table and array bodies. The label of its
/// table is `name`.
std::string common_fwd_element(const std::string &name, const std::string &f14)
{
    std::string text = R"(
        N_vtable: u16 34  u16 56  zeros 12  u16 4  u16 8  zeros 12  u16 12
        N:        u32 N-N_vtable  u32 @N_f6  u32 @N_f7  u32 VALUE
        N_f6:     u32 4  zeros 16
        N_f7:     u32 4  zeros 16
    )";
    text.replace(text.find("VALUE"), 5, f14);
    for (std::size_t at = 0; (at = text.find('N', at)) != std::string::npos;)
        text.replace(at, 1, name);
    return text;
}

TEST(packs, common_fwd_update)
{
    in_both_orders([](order o) {
        srv6_common_fwd elements[2] = {};
        elements[0].f14 = 0x0A0B0C0D;
        elements[1].f14 = 0x1A1B1C1D;
        srv6_common_fwd_update r = {0xCAFE, 2, elements};
        const std::string list = "list: u32 2  u32 @a  u32 @b " +
                                 common_fwd_element("a", "0x0A0B0C0D") +
                                 common_fwd_element("b", "0x1A1B1C1D");
        expect_packed("srv6_common_fwd_update", r, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 24  u16 4  u16 8
            table:  u32 table-vtable                      // soffset
                    u32 0xCAFE  u32 @list
            )" + list);
        r.f0 = 0;
        expect_packed("srv6_common_fwd_update", r, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 20  u16 0  u16 4
            table:  u32 table-vtable                      // soffset
                    u32 @list
            )" + list);
    });
}

TEST(packs, common_fwd_update_without_elements)
{
    in_both_orders([](order o) {
        srv6_common_fwd unused = {};
        // The pointer is not looked at.
        expect_packed("srv6_common_fwd_update", srv6_common_fwd_update{0, 0, &unused}, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 4  u16 0  u16 0
            table:  u32 table-vtable                      // soffset
            )");
        expect_packed("srv6_common_fwd_update", srv6_common_fwd_update{9, 0, nullptr}, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 8  u16 4  u16 0
            table:  u32 table-vtable                      // soffset
                    u32 9)");
    });
}

TEST(packs, dfx_item_of_16626_and_16622_bytes)
{
    in_both_orders([](order o) {
        const auto item = std::make_unique<srv6_cfg_query_dfx_item>();
        std::memset(item.get(), 0, sizeof *item);
        item->f0[0] = 0x0A;
        item->f2[16383] = 0x2A;
        item->f3[0] = 0x3A;
        item->f4[23] = 0x4A;
        const std::string bodies = R"(
            f0:     u32 32  u8 0x0A  zeros 31
            f2:     u32 16384  zeros 16383  u8 0x2A
            f3:     u32 128  u8 0x3A  zeros 127
            f4:     u32 24  zeros 23  u8 0x4A
        )";
        EXPECT_EQ(pack_of("srv6_cfg_query_dfx_item", *item).size(), 16622u);
        expect_packed("srv6_cfg_query_dfx_item", *item, o, R"(
                    u32 table                             // root offset
            vtable: u16 14  u16 16604  u16 4  u16 0  u16 8  u16 12  u16 16
            table:  u32 table-vtable                      // soffset
                    u32 @f0  u32 @f2  u32 @f3  u32 @f4
            )" + bodies);
        item->f1 = 0x01020304;
        EXPECT_EQ(pack_of("srv6_cfg_query_dfx_item", *item).size(), 16626u);
        expect_packed("srv6_cfg_query_dfx_item", *item, o, R"(
                    u32 table                             // root offset
            vtable: u16 14  u16 16608  u16 4  u16 8  u16 12  u16 16  u16 20
            table:  u32 table-vtable                      // soffset
                    u32 @f0  u32 0x01020304  u32 @f2  u32 @f3  u32 @f4
            )" + bodies);
    });
}

TEST(packs, comm_param_and_comm_rec)
{
    in_both_orders([](order o) {
        std::uint8_t content[3] = {0xA1, 0xB2, 0xC3};
        const srv6_cfg_query_comm_param param = {0x01020304, 0, 3, content};
        expect_packed("srv6_cfg_query_comm_param", param, o, R"(
                    u32 table                             // root offset
            vtable: u16 10  u16 19  u16 4  u16 0  u16 8
            table:  u32 table-vtable                      // soffset
                    u32 0x01020304  u32 @f2
            f2:     u32 3  bytes A1 B2 C3)");
        const srv6_cfg_query_comm_rec rec = {0, 2, 3, 3, content};
        expect_packed("srv6_cfg_query_comm_rec", rec, o, R"(
                    u32 table                             // root offset
            vtable: u16 12  u16 23  u16 0  u16 4  u16 8  u16 12
            table:  u32 table-vtable                      // soffset
                    u32 2  u32 3  u32 @f3
            f3:     u32 3  bytes A1 B2 C3)");
        expect_packed("srv6_cfg_query_comm_param", srv6_cfg_query_comm_param{}, o, R"(
                    u32 table                             // root offset
            vtable: u16 10  u16 4  u16 0  u16 0  u16 0
            table:  u32 table-vtable                      // soffset
            )");
    });
}

// Nested tables come behind the table, each whole, in slot order, and are not in its length.
TEST(packs, trastat_key)
{
    in_both_orders([](order o) {
        std::uint8_t content[2] = {0xA1, 0xB2};
        const srv6_cfg_query_trastat_key key = {{0, 5, 2, content}, {6, 0}};
        expect_packed("srv6_cfg_query_trastat_key", key, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 12  u16 4  u16 8
            table:  u32 table-vtable                      // soffset
                    u32 @param  u32 @cond
            param_vtable: u16 10  u16 18  u16 0  u16 4  u16 8
            param:  u32 param-param_vtable  u32 5  u32 @list
            list:   u32 2  bytes A1 B2
            cond_vtable: u16 8  u16 8  u16 4  u16 0
            cond:   u32 cond-cond_vtable  u32 6)");
    });
}

TEST(packs, dfx_rec)
{
    in_both_orders([](order o) {
        std::vector<srv6_cfg_query_dfx_item> items(2);
        std::memset(items.data(), 0, 2 * sizeof items[0]);
        items[0].f4[0] = 0x11;
        items[1].f1 = 0x22;
        std::uint8_t content[1] = {0xA1};
        const srv6_cfg_query_dfx_rec rec = {{1, 0, 0, 1, content}, 2, items.data()};
        expect_packed("srv6_cfg_query_dfx_rec", rec, o, R"(
                    u32 table                             // root offset
            vtable: u16 8  u16 24  u16 4  u16 8
            table:  u32 table-vtable                      // soffset
                    u32 @rec  u32 @list
            list:   u32 2  u32 @a  u32 @b
            rec_vtable: u16 12  u16 17  u16 4  u16 0  u16 0  u16 8
            rec:    u32 rec-rec_vtable  u32 1  u32 @run
            run:    u32 1  bytes A1
            a_vtable: u16 14  u16 16604  u16 4  u16 0  u16 8  u16 12  u16 16
            a:      u32 a-a_vtable  u32 @a_f0  u32 @a_f2  u32 @a_f3  u32 @a_f4
            a_f0:   u32 32  zeros 32
            a_f2:   u32 16384  zeros 16384
            a_f3:   u32 128  zeros 128
            a_f4:   u32 24  u8 0x11  zeros 23
            b_vtable: u16 14  u16 16608  u16 4  u16 8  u16 12  u16 16  u16 20
            b:      u32 b-b_vtable  u32 @b_f0  u32 0x22  u32 @b_f2  u32 @b_f3  u32 @b_f4
            b_f0:   u32 32  zeros 32
            b_f2:   u32 16384  zeros 16384
            b_f3:   u32 128  zeros 128
            b_f4:   u32 24  zeros 24)");
    });
}

TEST(packs, trastat_rec_info_always_has_128_elements)
{
    in_both_orders([](order o) {
        const auto info = std::make_unique<srv6_cfg_query_trastat_rec_info>();
        std::memset(info.get(), 0, sizeof *info);
        info->f0[127].f11 = 0x0102030405060708;
        // 127 elements without a field, and one with its last.
        std::string list = "list: u32 128 ";
        std::string elements;
        for (int i = 0; i < 128; ++i) {
            const std::string e = "e" + std::to_string(i);
            list += "u32 @" + e + " ";
            elements += e + "_vtable: u16 28 " +
                        (i == 127 ? "u16 12  zeros 22  u16 4 " : "u16 4  zeros 24 ") + e +
                        ": u32 " + e + "-" + e + "_vtable " +
                        (i == 127 ? "u64 0x0102030405060708 " : "");
        }
        expect_packed("srv6_cfg_query_trastat_rec_info", *info, o, R"(
                    u32 table                             // root offset
            vtable: u16 6  u16 524  u16 4
            table:  u32 table-vtable                      // soffset
                    u32 @list
            )" + list + elements);
    });
}

// The table length has 16 bits.
TEST(packs, table_length_modulo_65536)
{
    in_both_orders([](order o) {
        bytes content(70000, 0x5A);
        const bytes param =
            pack_of("srv6_cfg_query_comm_param",
                    srv6_cfg_query_comm_param{0, 0, static_cast<std::uint32_t>(content.size()),
                                              content.data()});
        ASSERT_EQ(param.size(), 70026u);
        EXPECT_EQ(reference::load(&param[6], 2, o), 4476u); // 70012 - 65536
        std::vector<srv6_common_fwd_key> keys(20000);
        const bytes batch =
            pack_of("srv6_common_fwd_delete", srv6_common_fwd_delete{0, 20000, keys.data()});
        ASSERT_EQ(batch.size(), 280024u);
        EXPECT_EQ(reference::load(&batch[6], 2, o), 14476u); // 80012 - 65536
    });
}

// Of a record of zeros only the arrays are written. Sizes from the facts.
TEST(packs, records_of_zeros_have_only_their_arrays)
{
    std::size_t flat = 0;
    for_all_messages([&flat](const message &m, order o) {
        const fact &f = fact_of(name_of(m));
        if (leads_elsewhere(f))
            return;
        ++flat;
        const std::size_t vtable = 4 + 2 * f.slots.size();
        const bytes packed = library_pack(sample::zeros(m));
        std::size_t arrays = 0;
        std::size_t bodies = 0;
        for (std::size_t s = 0; s < f.slots.size(); ++s) {
            const std::string &type = f.slots[s].type;
            const bool is_array = type.starts_with("array<");
            EXPECT_EQ(reference::load(&packed[8 + 2 * s], 2, o), is_array ? 4 + 4 * arrays : 0);
            if (!is_array)
                continue;
            ++arrays;
            const std::size_t width = type.starts_with("array<uint8,") ? 1 : 4;
            bodies += 4 + width * std::stoul(type.substr(type.find(',') + 1));
        }
        EXPECT_EQ(packed.size(), 4 + vtable + 4 + 4 * arrays + bodies);
        EXPECT_EQ(reference::load(&packed[0], 4, o), 4 + vtable);
        EXPECT_EQ(reference::load(&packed[4], 2, o), vtable);
        EXPECT_EQ(reference::load(&packed[6], 2, o), 4 + 4 * arrays + bodies);
        EXPECT_EQ(reference::load(&packed[4 + vtable], 4, o), vtable);
    });
    EXPECT_EQ(flat, 2 * counts::flat);
}

TEST(packs, every_message_as_the_reference)
{
    random_source random(4);
    for_all_messages([&random](const message &m, order o) {
        const auto check = [&](const sample &s) {
            const bytes packed = library_pack(s);
            ASSERT_EQ(hex(packed), hex(reference::pack(m, s.data(), o)));
            EXPECT_EQ(packed.size(), reference::measured_size(m, s.data()));
            if (!is_fixed_size(m)) {
                EXPECT_EQ(sent_single(m, s.data()), packed);
            }
        };
        check(sample::zeros(m));
        check(sample::zeros(m, 2));
        check(sample::ones(m));
        for (int i = 0; i < 12; ++i)
            check(sample::random(m, random, 3, 0xEE));
    });
}

TEST(packs, every_variable_message_in_a_batch)
{
    random_source random(5);
    for_all_messages([&random](const message &m, order o) {
        if (is_fixed_size(m))
            return;
        const std::uint32_t count = 3;
        bytes records(count * m.record_size);
        std::vector<sample> samples;
        for (std::uint32_t i = 0; i < count; ++i) {
            samples.push_back(sample::random(m, random, 1));
            std::memcpy(&records[i * m.record_size], samples.back().data(), m.record_size);
        }
        const std::vector<bytes> sent = sent_batch(m, records.data(), count);
        ASSERT_EQ(sent.size(), count);
        for (std::uint32_t i = 0; i < count; ++i)
            EXPECT_EQ(hex(sent[i]), hex(reference::pack(m, samples[i].data(), o)));
    });
}

TEST(packs, every_message_reads_back_the_same)
{
    random_source random(6);
    for_all_messages([&random](const message &m, order o) {
        for (int i = 0; i < 10; ++i) {
            const sample s = i == 0   ? sample::zeros(m, 1)
                             : i == 1 ? sample::ones(m)
                                      : sample::random(m, random);
            const bytes packed = library_pack(s);
            const unpacked back(m, packed.data(), static_cast<std::int32_t>(packed.size()));
            EXPECT_EQ(difference(back.what(), expected_unpack(m, packed, o)), "");
            EXPECT_EQ(meaning(m, back.record()), meaning(m, s.data()));
            EXPECT_TRUE(back.what().logs.empty());
        }
    });
}

TEST(packs, capacity_and_null_arguments_of_every_message)
{
    random_source random(7);
    for_all_messages([&random](const message &m, order o) {
        const sample s = sample::random(m, random);
        const bytes expected = reference::pack(m, s.data(), o);
        const auto size = static_cast<std::uint32_t>(expected.size());
        const auto pack = functions_of(m).pack;
        bytes buffer(size + 16, 0xEE);
        const bytes untouched = buffer;
        platform &p = the_platform();
        p.forget_calls();

        std::uint32_t length = size - 1; // one less
        EXPECT_EQ(pack(s.data(), buffer.data(), &length), refused);
        EXPECT_EQ(length, size - 1);
        length = 3; // less than a root offset
        EXPECT_EQ(pack(s.data(), buffer.data(), &length), refused);
        EXPECT_EQ(length, 3u);
        length = 0; // the capacity is tested before the buffer
        EXPECT_EQ(pack(s.data(), nullptr, &length), refused);
        EXPECT_EQ(length, 0u);
        length = size - 1;
        EXPECT_EQ(pack(s.data(), nullptr, &length), refused);
        EXPECT_EQ(length, size - 1);
        length = 1000000; // no record
        EXPECT_EQ(pack(nullptr, buffer.data(), &length), refused);
        EXPECT_EQ(pack(nullptr, nullptr, &length), refused);
        EXPECT_EQ(length, 1000000u);
        EXPECT_EQ(buffer, untouched);
        EXPECT_TRUE(p.logs.empty());

        // The measuring call is reported, and a success.
        for (const std::uint32_t capacity : {1000000u, size}) {
            p.forget_calls();
            length = capacity;
            EXPECT_EQ(pack(s.data(), nullptr, &length), 0u);
            EXPECT_EQ(length, size);
            ASSERT_EQ(p.logs.size(), 1u);
            EXPECT_EQ(p.logs[0].level, 2u);
            EXPECT_EQ(p.logs[0].kind, 22u);
            EXPECT_EQ(p.logs[0].empty, "");
            EXPECT_EQ(p.logs[0].function, std::string(name_of(m)) + "_pack");
            EXPECT_EQ(p.logs[0].format, "[ZELKO]:Param invalid(%s, %u, %s)");
            EXPECT_EQ(p.logs[0].text,
                      "[ZELKO]:Param invalid(null, " + std::to_string(capacity) + ", nonNull)");
        }

        p.forget_calls();
        for (const std::uint32_t capacity : {size, size + 16}) {
            buffer = untouched;
            length = capacity;
            EXPECT_EQ(pack(s.data(), buffer.data(), &length), 0u);
            EXPECT_EQ(length, size);
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), buffer.begin()));
            EXPECT_TRUE(
                std::equal(untouched.begin() + size, untouched.end(), buffer.begin() + size));
        }
        EXPECT_TRUE(p.logs.empty());
        EXPECT_TRUE(p.memory.empty());
    });
}

} // namespace
} // namespace vorl::test
