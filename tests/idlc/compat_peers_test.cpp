// What idlc compat says of two peers, held to what the reference codec reads: of a message f0, f1, f2
// of which the two have another f1, one writes a record, packed and, where it can, as a frame, and
// the other reads it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "idlc/compat.h"
#include "tests/reference/reference.h"

namespace {

using vorl::message;
using vorl::slot;
using vorl::slot_shape;
namespace reference = vorl::reference;

// Records: f0 at 0, f1 at 8 (a vector's count at 4), f2 at 40, 48 bytes. Where a message has no f2,
// f1 is the last of its table.
constexpr std::uint32_t record_size = 48;
using record = std::vector<std::uint8_t>;

constexpr slot f0{slot_shape::scalar, 2, 0, 0};
constexpr slot f2{slot_shape::scalar, 4, 0, 40};
constexpr slot inner_slots[] = {{slot_shape::scalar, 4, 0, 0}};
constexpr message inner{VORL_NAMES("t_in"), 4, 2, vorl::package::srv6, 4, inner_slots};
constexpr slot other_slots[] = {{slot_shape::scalar, 2, 0, 0}};
constexpr message other{VORL_NAMES("t_ot"), 4, 3, vorl::package::srv6, 2, other_slots};

constexpr slot number(std::uint8_t width) { return {slot_shape::scalar, width, 0, 8}; }
constexpr slot array(std::uint8_t width, std::uint32_t count)
{
    return {slot_shape::array, width, count, 8};
}
constexpr slot bytes{slot_shape::byte_vector, 1, 0, 8, 4};
constexpr slot table{slot_shape::table, 0, 0, 8, 0, &inner};
constexpr slot another_table{slot_shape::table, 0, 0, 8, 0, &other};

struct peer {
    slot slots[3];
    message m;
    peer(const slot &f1, bool is_last)
        : slots{f0, f1, f2}, m{VORL_NAMES("t_a"), 3, 1, vorl::package::srv6, record_size, slots}
    {
        m.slots.size = is_last ? 2 : 3;
    }
};

void put(record &to, std::size_t at, std::uint64_t value, std::size_t width)
{
    std::memcpy(to.data() + at, &value, width);
}
std::uint64_t get(const record &from, std::size_t at, std::size_t width)
{
    std::uint64_t value = 0;
    std::memcpy(&value, from.data() + at, width);
    return value;
}

/// f0 = 0x1234, f1 = the values, f2 = 0xA1A2A3A4.
record filled(const slot &f1, const std::vector<std::uint64_t> &values)
{
    record r(record_size, 0);
    put(r, 0, 0x1234, 2);
    put(r, 40, 0xA1A2A3A4, 4);
    if (f1.shape == slot_shape::byte_vector) {
        static std::uint8_t kept[64];
        for (std::size_t i = 0; i < values.size(); ++i)
            kept[i] = static_cast<std::uint8_t>(values[i]);
        put(r, 4, values.size(), 4);
        put(r, 8, reinterpret_cast<std::uintptr_t>(kept), 8);
        return r;
    }
    const std::size_t width = f1.width != 0 ? f1.width : f1.nested->record_size;
    for (std::size_t i = 0; i < values.size(); ++i)
        put(r, 8 + i * width, values[i], width);
    return r;
}

struct reading {
    reference::outcome packed;
    std::optional<reference::outcome> framed;
};

reading read(const slot &mine, const slot &theirs, const std::vector<std::uint64_t> &values,
             bool is_last = false)
{
    const peer reader(mine, is_last);
    const peer writer(theirs, is_last);
    const record r = filled(theirs, values);
    const auto unpacked = [&reader](const reference::bytes &sent) {
        reference::unpack_call call;
        call.buf = sent.data();
        call.len = static_cast<std::int32_t>(sent.size());
        call.record_before = reference::bytes(record_size, 0);
        return reference::unpack(reader.m, call);
    };
    reading result{unpacked(reference::pack(writer.m, r.data(), reference::order::little)), {}};
    if (!reference::holds_vectors(writer.m))
        result.framed = unpacked(reference::frame(writer.m, r.data(), reference::order::little));
    return result;
}

/// Both forms give the same record, and nothing is logged.
record quiet(const reading &r)
{
    EXPECT_TRUE(r.packed.logs.empty());
    if (r.framed) {
        EXPECT_TRUE(r.framed->logs.empty());
        EXPECT_EQ(r.framed->record, r.packed.record);
    }
    EXPECT_EQ(get(r.packed.record, 0, 2), 0x1234U);
    return r.packed.record;
}

void expect_zero_from_f1(const record &r)
{
    EXPECT_EQ(get(r, 8, 8), 0U);
    EXPECT_EQ(get(r, 40, 4), 0U);
}

idlc::slot of(idlc::wire_type type, std::uint64_t count = 0, const std::string &held = "")
{
    idlc::slot s;
    s.type = type;
    s.count = count;
    s.message_name = held;
    return s;
}
using idlc::reading_of;
using idlc::wire_type;

TEST(peers, read_a_wider_number_as_its_low_bits)
{
    EXPECT_EQ(reading_of(of(wire_type::uint16), of(wire_type::uint32)),
              "the low 16 bits of the number; nothing is logged");
    const record r = quiet(read(number(2), number(4), {0x11223344}));
    EXPECT_EQ(get(r, 8, 8), 0x3344U);
    EXPECT_EQ(get(r, 40, 4), 0xA1A2A3A4U);
}

TEST(peers, read_a_narrower_number_with_what_lies_behind_it)
{
    EXPECT_EQ(
        reading_of(of(wire_type::uint32), of(wire_type::uint16)),
        "the number in the low 16 bits, and above them bytes of what lies behind it; where the "
        "message ends before, zero in it and in every slot behind; nothing is logged");
    const record r = quiet(read(number(4), number(2), {0x1122}));
    EXPECT_EQ(get(r, 8, 8), 0xA3A41122U) << "the low bytes of f2";
    EXPECT_EQ(get(r, 40, 4), 0xA1A2A3A4U);
    const reading last = read(number(4), number(2), {0x1122}, true);
    EXPECT_EQ(get(last.packed.record, 8, 8), 0U) << "nothing lies behind it";
    EXPECT_TRUE(last.packed.logs.empty());
    EXPECT_EQ(get(last.framed->record, 8, 2), 0x1122U) << "padding lies behind it";
}

TEST(peers, refuse_an_array_of_another_count)
{
    EXPECT_EQ(
        reading_of(of(wire_type::array_uint8, 4), of(wire_type::array_uint8, 6)),
        "zero in it and in every slot behind, since there are 6 elements and not 4; nothing is "
        "logged");
    expect_zero_from_f1(quiet(read(array(1, 4), array(1, 6), {1, 2, 3, 4, 5, 6})));
    expect_zero_from_f1(quiet(read(array(1, 6), array(1, 4), {1, 2, 3, 4})));
    expect_zero_from_f1(quiet(read(array(4, 6), array(1, 4), {1, 2, 3, 4})));
}

TEST(peers, read_an_array_as_a_vector)
{
    EXPECT_EQ(reading_of(of(wire_type::vector_uint8), of(wire_type::array_uint8, 4)),
              "a vector of the 4 elements, as they were sent");
    const reading r = read(bytes, array(1, 4), {1, 2, 3, 4});
    const record got = quiet(r);
    EXPECT_EQ(get(got, 4, 4), 4U);
    ASSERT_EQ(r.packed.blocks.size(), 1U);
    EXPECT_EQ(r.packed.blocks[0], (reference::bytes{1, 2, 3, 4}));
    EXPECT_EQ(get(got, 40, 4), 0xA1A2A3A4U);
}

TEST(peers, read_a_vector_as_an_array_where_it_has_as_many_elements)
{
    EXPECT_EQ(
        reading_of(of(wire_type::array_uint8, 4), of(wire_type::vector_uint8)),
        "the elements, where there are 4; zero, where there are none; otherwise zero in it and "
        "in every slot behind; nothing is logged");
    const record whole = quiet(read(array(1, 4), bytes, {1, 2, 3, 4}));
    EXPECT_EQ(get(whole, 8, 4), 0x04030201U);
    EXPECT_EQ(get(whole, 40, 4), 0xA1A2A3A4U);
    const record none = quiet(read(array(1, 4), bytes, {}));
    EXPECT_EQ(get(none, 8, 8), 0U);
    EXPECT_EQ(get(none, 40, 4), 0xA1A2A3A4U);
    expect_zero_from_f1(quiet(read(array(1, 4), bytes, {1, 2, 3})));
}

TEST(peers, read_part_of_an_offset_for_a_number)
{
    EXPECT_EQ(reading_of(of(wire_type::uint16), of(wire_type::array_uint32, 4)),
              "part of an offset, taken for the number; nothing is logged");
    const reading r = read(number(2), array(4, 4), {1, 2, 3, 4});
    EXPECT_EQ(get(r.packed.record, 8, 2), 8U) << "over f1's offset and f2 to the body";
    EXPECT_EQ(get(r.framed->record, 8, 2), 4U) << "the body is behind the offset";
    EXPECT_EQ(get(r.framed->record, 40, 4), 0xA1A2A3A4U);
    EXPECT_TRUE(r.packed.logs.empty() && r.framed->logs.empty());
}

TEST(peers, most_often_refuse_a_number_for_an_offset)
{
    const std::string refused =
        "most often refuses the message there: zero in it and in every slot "
        "behind";
    EXPECT_EQ(
        reading_of(of(wire_type::array_uint8, 4), of(wire_type::uint32)),
        "takes the number for an offset, and " + refused +
            "; nothing is logged. A number that leads somewhere gives values that were not sent");
    EXPECT_EQ(
        reading_of(of(wire_type::table, 0, "t_in"), of(wire_type::uint32)),
        "takes the number for an offset, and " + refused +
            "; its log has a line of the table. A number that leads somewhere gives values that "
            "were not sent");
    for (const std::uint64_t value : {1U, 100U, 0x11223344U, 0xFFFFFFFFU}) {
        expect_zero_from_f1(quiet(read(array(1, 4), number(4), {value})));
        expect_zero_from_f1(quiet(read(bytes, number(4), {value == 1 ? 100 : value})));
    }
    const reading r = read(table, number(4), {0x11223344});
    expect_zero_from_f1(r.packed.record);
    ASSERT_EQ(r.packed.logs.size(), 1U);
    EXPECT_EQ(r.packed.logs[0].line, 20U);
    EXPECT_EQ(r.packed.logs[0].function, "t_in_unpack_non_root");
    EXPECT_EQ(r.framed->logs, r.packed.logs.size() == 1 ? r.framed->logs : r.packed.logs);
}

TEST(peers, most_often_refuse_a_list_for_a_table_and_a_table_for_a_list)
{
    EXPECT_EQ(
        reading_of(of(wire_type::table, 0, "t_in"), of(wire_type::array_uint8, 4)),
        "takes a count for a table, and most often refuses the message there: zero in it and in "
        "every slot behind; its log has a line of the table");
    const reading r = read(table, array(1, 4), {1, 2, 3, 4});
    EXPECT_EQ(get(r.packed.record, 40, 4), 0U);
    ASSERT_EQ(r.packed.logs.size(), 1U);
    EXPECT_EQ(r.packed.logs[0].function, "t_in_unpack_non_root");
    EXPECT_EQ(
        reading_of(of(wire_type::array_uint8, 4), of(wire_type::table, 0, "t_in")),
        "takes a table for a count, and most often refuses the message there: zero in it and in "
        "every slot behind; nothing is logged");
    const reading list = read(array(1, 4), table, {7});
    expect_zero_from_f1(list.packed.record);
    EXPECT_TRUE(list.packed.logs.empty());
}

TEST(peers, read_a_table_by_the_slots_of_their_own)
{
    EXPECT_EQ(reading_of(of(wire_type::table, 0, "t_ot"), of(wire_type::table, 0, "t_in")),
              "the slots of 't_in' as if they were those of 't_ot'");
    const record r = quiet(read(another_table, table, {0x55667788}));
    EXPECT_EQ(get(r, 8, 8), 0x7788U);
    EXPECT_EQ(get(r, 40, 4), 0xA1A2A3A4U);
}

// What docs/evolution.md draws.
TEST(peers, do_without_a_slot_that_was_appended)
{
    for (const slot &f1 : {number(8), array(4, 4), table}) {
        const peer older(f1, true);
        const peer newer(f1, false);
        const record r = filled(f1, {0x21});
        for (const bool is_framed : {false, true}) {
            const auto sent = [&](const message &m) {
                return is_framed ? reference::frame(m, r.data(), reference::order::little)
                                 : reference::pack(m, r.data(), reference::order::little);
            };
            const auto got = [&](const message &reader, const reference::bytes &bytes) {
                reference::unpack_call call;
                call.buf = bytes.data();
                call.len = static_cast<std::int32_t>(bytes.size());
                call.record_before = reference::bytes(record_size, 0);
                const reference::outcome o = reference::unpack(reader, call);
                EXPECT_TRUE(o.logs.empty());
                return o.record;
            };
            record without = r;
            put(without, 40, 0, 4);
            EXPECT_EQ(got(older.m, sent(newer.m)), without) << "the old one passes over it";
            EXPECT_EQ(got(newer.m, sent(older.m)), without) << "to the new one it is zero";
        }
    }
}

} // namespace
