// __unpack of root tables: arguments, the three table checks, vtables of any shape, and every
// scalar and array of every message at the buffer's end. Expectations are written out here and not
// taken from the reference.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "srv6.h"
#include "srv6_sync.h"
#include "tests/codec/support/facts.h"
#include "tests/codec/support/fixture.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

constexpr std::uint8_t dirt = 0xEE;

bytes untouched(const message &m) { return bytes(m.record_size, dirt); }
bytes zeroed(const message &m) { return bytes(m.record_size, 0); }

/// What a record is when its root table is refused.
bytes refused(const message &m)
{
    return leads_elsewhere(fact_of(name_of(m))) ? untouched(m) : zeroed(m);
}

std::string root_name(const message &m)
{
    return std::string(name_of(m)) +
           (leads_elsewhere(fact_of(name_of(m))) ? "_unpack" : "_unpack_non_root");
}

void expect_nothing_logged(const unpacked &u)
{
    EXPECT_TRUE(u.what().logs.empty());
    EXPECT_TRUE(u.what().memory.empty());
}

void expect_one_log(const reference::outcome &what, const std::string &function,
                    const std::string &format, const std::string &text)
{
    ASSERT_EQ(what.logs.size(), 1u);
    // Its line is held against the reference's by the differential tests.
    EXPECT_EQ(what.logs[0], (reference::log_event{22, what.logs[0].line, function, format, text}));
    EXPECT_TRUE(what.memory.empty());
}

TEST(reader, messages_that_check_their_root_themselves)
{
    std::size_t count = 0;
    for (const fact &f : facts())
        count += leads_elsewhere(f);
    EXPECT_EQ(count, counts::leading_elsewhere);
    for (const char *name :
         {"srv6_cfg_query_comm_param", "srv6_cfg_query_comm_rec", "srv6_cfg_query_trastat_rec_info",
          "srv6_cfg_query_trastat_key", "srv6_cfg_query_trastat_rec", "srv6_cfg_query_dfx_key",
          "srv6_cfg_query_dfx_rec", "srv6_pid_state_chg", "srv6_common_fwd_update",
          "srv6_bsid_fwd_delete"})
        EXPECT_TRUE(leads_elsewhere(fact_of(name))) << name;
    EXPECT_FALSE(leads_elsewhere(fact_of("srv6_cfg_query_dfx_item")));
    EXPECT_FALSE(leads_elsewhere(fact_of("srv6_cfg_query_trastat_cond")));
}

TEST(reader, bad_arguments_leave_the_record)
{
    const std::string format = "[ZELKO]:Param invalid(%s, %d, %s)";
    for_all_messages([&](const message &m, order) {
        const std::string name = std::string(name_of(m)) + "_unpack";
        const std::uint8_t buffer[64] = {};
        for (const std::int32_t len : {3, 2, 1, 0, -1, INT_MIN}) {
            const unpacked u(m, buffer, len);
            EXPECT_EQ(u.what().record, untouched(m));
            expect_one_log(u.what(), name, format,
                           "[ZELKO]:Param invalid(nonNull, " + std::to_string(len) + ", nonNull)");
        }
        const unpacked u(m, nullptr, 48);
        EXPECT_EQ(u.what().record, untouched(m));
        expect_one_log(u.what(), name, format, "[ZELKO]:Param invalid(null, 48, nonNull)");
        expect_one_log(unpacked::into_null(m, buffer, 64), name, format,
                       "[ZELKO]:Param invalid(nonNull, 64, null)");
        expect_one_log(unpacked::into_null(m, nullptr, -1), name, format,
                       "[ZELKO]:Param invalid(null, -1, null)");
    });
}

TEST(reader, root_offset_out_of_range)
{
    for_all_messages([](const message &m, order o) {
        struct {
            const char *text;
            const char *arguments;
        } const cases[] = {
            // A root offset, and no table that it could lead to.
            {"u32 table  table:", "4(4 - 4)"},
            {"u32 0  zeros 60", "0(4 - 64)"},
            {"u32 3  zeros 60", "3(4 - 64)"},
            {"u32 end-3  zeros 60", "61(4 - 64)"}, // end - 4 is the last in range
            {"u32 end  zeros 60", "64(4 - 64)"},
            {"u32 0xFFFFFFFF  zeros 60", "4294967295(4 - 64)"},
            {"u32 0x80000000  zeros 60", "2147483648(4 - 64)"},
            {"u32 table  table: zeros 3", "4(4 - 7)"}, // the soffset is cut
        };
        guarded_buffer memory(64);
        for (const auto &c : cases) {
            const bytes buffer = buffer_of(c.text, o);
            const unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, refused(m));
            std::string text = c.arguments;
            text.replace(text.find('('), 1, ") is out of range(");
            expect_one_log(u.what(), root_name(m),
                           "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
                           "[ZELKO]:Table offset(" + text);
        }
    });
}

// The log has the table's position, not the vtable's.
TEST(reader, vtable_position_out_of_range)
{
    for_all_messages([](const message &m, order o) {
        guarded_buffer memory(64);
        for (const char *text : {
                 // The soffset leads back from the table to
                 "u32 table  zeros 4  table: u32 table-0  zeros 20",     // 0
                 "u32 table  zeros 4  table: u32 table-3  zeros 20",     // 3
                 "u32 table  zeros 4  table: u32 table-end+3  zeros 20", // 3 before the end: cut
                 "u32 table  zeros 4  table: u32 table-end  zeros 20",   // the end
                 "u32 table  zeros 4  table: u32 table+1  zeros 20", // -1: the subtraction wraps
                 "u32 table  zeros 4  table: u32 table-9",           // 9 of 12
             }) {
            const bytes buffer = buffer_of(text, o);
            const unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, refused(m));
            expect_one_log(u.what(), root_name(m),
                           "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)",
                           "[ZELKO]:Vtable offset(8) is out of range(4 - " +
                               std::to_string(buffer.size() - 4) + ")");
        }
    });
}

TEST(reader, vtable_length_out_of_range)
{
    for_all_messages([](const message &m, order o) {
        guarded_buffer memory(64);
        struct {
            const char *text;
            const char *arguments;
        } const cases[] = {
            {"u32 table  vtable: u16 13  u16 0  zeros 4  table: u32 table-vtable",
             "13) is out of range(0 - 12)"},
            {"u32 table  vtable: u16 65535  u16 0  zeros 4  table: u32 table-vtable",
             "65535) is out of range(0 - 12)"},
            {"u32 table  table: u32 table-vtable  vtable: u16 5  u16 0", // at the very end
             "5) is out of range(0 - 4)"},
        };
        for (const auto &c : cases) {
            const bytes buffer = buffer_of(c.text, o);
            const unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, refused(m));
            expect_one_log(u.what(), root_name(m), "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)",
                           std::string("[ZELKO]:Vtable Len(") + c.arguments);
        }
    });
}

// First and last positions that are in range, and vtables too short for a slot, whatever their
// length.
TEST(reader, tables_without_slots_are_read_as_zeros)
{
    for_all_messages([](const message &m, order o) {
        guarded_buffer memory(64);
        for (const char *text : {
                 // The table at len - 4, the vtable at 4; and the other way round.
                 "u32 table  vtable: u16 4  u16 4  zeros 4  table: u32 table-vtable",
                 "u32 table  table: u32 table-vtable  vtable: u16 4  u16 4",
                 // Both at 4: the soffset is the vtable's length, too, of 0.
                 "u32 table  vtable: table: u32 table-vtable",
                 // Lengths below 4.
                 "u32 table  table: u32 table-vtable  vtable: u16 0  u16 4  zeros 8",
                 "u32 table  table: u32 table-vtable  vtable: u16 1  u16 4  zeros 8",
                 "u32 table  table: u32 table-vtable  vtable: u16 2  u16 4  zeros 8",
                 "u32 table  table: u32 table-vtable  vtable: u16 3  u16 4  zeros 8",
                 // Half an entry; entries of 0.
                 "u32 table  table: u32 table-vtable  vtable: u16 5  u16 4  u16 4  u32 1  zeros 32",
                 "u32 table  table: u32 table-vtable  vtable: u16 12  u16 4  zeros 8",
             }) {
            const bytes buffer = buffer_of(text, o);
            const unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, zeroed(m)) << text;
            expect_nothing_logged(u);
        }
    });
}

// A vtable cut to k slots, and to k slots and a half.
TEST(reader, slots_beyond_the_vtable_are_zero)
{
    for_all_messages([](const message &m, order o) {
        const sample ones = sample::ones(m, 1);
        const bytes packed = library_pack(ones);
        for (std::size_t slots = 0; slots <= m.slots.size; ++slots) {
            for (const std::size_t odd : {std::size_t{0}, std::size_t{1}}) {
                bytes buffer = packed;
                reference::store(&buffer[4], 4 + 2 * slots + odd, 2, o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                EXPECT_TRUE(u.what().logs.empty());
                sample expected = sample::ones(m, 1);
                for (std::size_t s = slots; s < m.slots.size; ++s) {
                    const std::size_t end =
                        s + 1 < m.slots.size ? m.slots[s + 1].record_at : m.record_size;
                    const std::size_t begin =
                        m.slots[s].count_at != 0 ? m.slots[s].count_at : m.slots[s].record_at;
                    std::memset(expected.at(begin), 0, end - begin);
                }
                EXPECT_EQ(meaning(m, u.record()), meaning(m, expected.data())) << slots << " slots";
            }
        }
    });
}

TEST(reader, vrf_class_data_with_a_vtable_of_length_8)
{
    in_both_orders([](order o) {
        const bytes buffer = buffer_of("u32 table  vtable: u16 8  u16 12  u16 4  u16 8 "
                                       "table: u32 table-vtable  u32 0x0A0A0A0A  u32 0x0B0B0B0B",
                                       o);
        const unpacked u(message_named("srv6_vrf_class_data"), buffer.data(), length_of(buffer));
        srv6_vrf_class_data r;
        std::memcpy(&r, u.record(), sizeof r);
        EXPECT_EQ(r.f0, 0x0A0A0A0Au);
        EXPECT_EQ(r.f1, 0x0B0B0B0Bu);
        EXPECT_EQ(r.f2 | r.f3 | r.f4 | r.f5, 0u);
        expect_nothing_logged(u);
    });
}

// Only the buffer's end bounds a read: the parts of a table may lie anywhere in it.
TEST(reader, tables_laid_out_in_any_way)
{
    in_both_orders([](order o) {
        const message &m = message_named("srv6_class_item");
        struct {
            const char *what;
            const char *text;
            std::uint32_t f0, f1;
            std::uint8_t f2;
        } const cases[] = {
            {"vtable first",
             "u32 table  vtable: u16 10  u16 0  u16 4  u16 8  u16 12 "
             "table: u32 table-vtable  u32 1  u32 2  u8 3",
             1, 2, 3},
            {"vtable last, far away, odd positions",
             "u32 table  zeros 3  table: u32 table-vtable  u32 1  u32 2  u8 3  zeros 1000 "
             "vtable: u16 10  u16 9  u16 4  u16 8  u16 12",
             1, 2, 3},
            {"fields in any order and apart",
             "u32 table  vtable: u16 10  u16 0  u16 f0-table  u16 f1-table  u16 f2-table "
             "table: u32 table-vtable  u8 0x77  f2: u8 3  u8 0x77  f1: u32 2  u8 0x77  f0: u32 1",
             1, 2, 3},
            {"fields that are the same bytes",
             "u32 table  vtable: u16 10  u16 0  u16 4  u16 4  u16 4 "
             "table: u32 table-vtable  u32 0x55555555",
             0x55555555, 0x55555555, 0x55},
            {"a field inside the table's soffset",
             "u32 table  vtable: u16 10  u16 0  u16 0  u16 0  u16 1 "
             "table: u32 table-vtable",
             0, 0, 0},
            {"a vtable that is a field as well",
             "u32 table  table: u32 table-vtable  zeros 4  vtable: u16 6  u16 6  u16 8", 0x00060006,
             0, 0},
            {"more slots than the message has: a newer sender",
             "u32 table  vtable: u16 16  u16 0  u16 4  u16 8  u16 12  u16 13  u16 65535  u16 1 "
             "table: u32 table-vtable  u32 1  u32 2  u8 3  u8 4",
             1, 2, 3},
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(c.what);
            const bytes buffer = buffer_of(c.text, o);
            const unpacked u(m, buffer.data(), length_of(buffer));
            srv6_class_item r;
            std::memcpy(&r, u.record(), sizeof r);
            EXPECT_EQ(r.f0, c.f0);
            EXPECT_EQ(r.f1, c.f1);
            EXPECT_EQ(r.f2, c.f2);
            expect_nothing_logged(u);
        }
    });
}

/// A table whose scalars are all the eight bytes of `shared`, but for slot `last`, whose field
/// ends the buffer. Other arrays, tables and vectors are absent.
struct last_field_buffer {
    static constexpr std::uint64_t shared = 0xA8A7A6A5A4A3A2A1;
    static constexpr std::size_t field_entry = 12; ///< behind soffset and shared bytes

    last_field_buffer(const message &m, std::size_t last, const bytes &field, order o)
        : table(8 + 2 * m.slots.size), field_at(table + field_entry)
    {
        content.resize(field_at);
        reference::store(&content[0], table, 4, o);
        reference::store(&content[4], 4 + 2 * m.slots.size, 2, o);
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const std::size_t entry = s == last                          ? field_entry
                                      : reference::is_scalar(m.slots[s]) ? 4
                                                                         : 0;
            reference::store(&content[8 + 2 * s], entry, 2, o);
        }
        reference::store(&content[table], table - 4, 4, o);
        reference::store(&content[table + 4], shared, 8, order::little);
        content.insert(content.end(), field.begin(), field.end());
    }

    std::size_t table;
    std::size_t field_at;
    bytes content;
};

/// The record when slots before `end` were read, all of them scalars with the shared bytes.
bytes shared_up_to(const message &m, std::size_t end, order o)
{
    bytes record(m.record_size);
    for (std::size_t s = 0; s < end; ++s) {
        const vorl::slot &slot = m.slots[s];
        if (!reference::is_scalar(slot))
            continue;
        const std::size_t width = slot.width;
        std::uint8_t raw[8];
        reference::store(raw, last_field_buffer::shared, 8, order::little);
        reference::store(&record[slot.record_at], reference::load(raw, width, o), width,
                         order::little);
    }
    return record;
}

// Every scalar of every message: ending with the buffer it is read; one byte earlier nothing of it
// and nothing behind it is. What was read before stays.
TEST(reader, scalars_at_the_end_of_the_buffer)
{
    std::size_t scalars = 0;
    for_all_messages([&scalars](const message &m, order o) {
        guarded_buffer memory(4096);
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const vorl::slot &slot = m.slots[s];
            if (!reference::is_scalar(slot))
                continue;
            ++scalars;
            const std::size_t width = slot.width;
            bytes field(width);
            reference::store(field.data(), 0xB8B7B6B5B4B3B2B1, width, o);
            const last_field_buffer b(m, s, field, o);

            bytes expected = shared_up_to(m, m.slots.size, o);
            reference::store(&expected[slot.record_at], 0xB8B7B6B5B4B3B2B1, width, order::little);
            const unpacked whole(m, memory.holding(b.content), length_of(b.content));
            EXPECT_EQ(whole.what().record, expected) << "slot " << s;
            expect_nothing_logged(whole);

            expected = shared_up_to(m, s, o);
            for (std::size_t cut = 1; cut <= width; ++cut) {
                const auto shorter = std::span(b.content).first(b.content.size() - cut);
                const unpacked u(m, memory.holding(shorter),
                                 static_cast<std::int32_t>(shorter.size()));
                EXPECT_EQ(u.what().record, expected) << "slot " << s << " less " << cut;
                expect_nothing_logged(u);
            }
        }
    });
    EXPECT_GT(scalars, 1000u);
}

// The same with entries that lie far outside.
TEST(reader, scalars_far_behind_the_buffer)
{
    for_all_messages([](const message &m, order o) {
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            if (!reference::is_scalar(m.slots[s]))
                continue;
            last_field_buffer b(m, s, {}, o);
            for (const std::uint64_t entry : {std::uint64_t{65535}, std::uint64_t{0x8000}}) {
                reference::store(&b.content[8 + 2 * s], entry, 2, o);
                const unpacked u(m, b.content.data(), length_of(b.content));
                EXPECT_EQ(u.what().record, shared_up_to(m, s, o)) << "slot " << s;
                expect_nothing_logged(u);
            }
        }
    });
}

bool is_scalar_array(const vorl::slot &slot) { return slot.shape == slot_shape::array; }

/// Offset word 4, count, elements 1, 2, 3 ... in the wire's order.
bytes array_field(const vorl::slot &slot, std::uint32_t count, order o)
{
    const std::size_t width = slot.width;
    bytes field(8 + count * width);
    reference::store(&field[0], 4, 4, o);
    reference::store(&field[4], count, 4, o);
    for (std::size_t i = 0; i < count; ++i)
        reference::store(&field[8 + i * width], 0x01020301 + i, width, o);
    return field;
}

TEST(reader, arrays_at_the_end_of_the_buffer)
{
    std::size_t arrays = 0;
    for_all_messages([&arrays](const message &m, order o) {
        guarded_buffer memory(32768);
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const vorl::slot &slot = m.slots[s];
            if (!is_scalar_array(slot))
                continue;
            ++arrays;
            const last_field_buffer b(m, s, array_field(slot, slot.count, o), o);
            const bytes as_read = array_field(slot, slot.count, order::little);
            bytes expected = shared_up_to(m, m.slots.size, o);
            std::copy(as_read.begin() + 8, as_read.end(),
                      expected.begin() + static_cast<std::ptrdiff_t>(slot.record_at));
            const unpacked whole(m, memory.holding(b.content), length_of(b.content));
            EXPECT_EQ(whole.what().record, expected) << "slot " << s;
            expect_nothing_logged(whole);

            expected = shared_up_to(m, s, o);
            const std::size_t step = slot.count > 1000 ? 97 : 1;
            for (std::size_t size = b.field_at; size < b.content.size();
                 size += size + step < b.content.size() ? step : 1) {
                const unpacked u(m, memory.holding(std::span(b.content).first(size)),
                                 static_cast<std::int32_t>(size));
                EXPECT_EQ(u.what().record, expected) << "slot " << s << " in " << size;
                expect_nothing_logged(u);
            }
        }
    });
    std::size_t known_arrays = 0;
    for (const fact &f : facts())
        known_arrays += static_cast<std::size_t>(
            std::count_if(f.slots.begin(), f.slots.end(),
                          [](const slot_fact &s) { return s.type.starts_with("array<uint"); }));
    EXPECT_EQ(arrays, 2 * known_arrays); // in both orders
}

// A count other than N fails, be the bytes there or not; so does an offset that leads outside.
TEST(reader, arrays_of_another_count_or_elsewhere)
{
    for_all_messages([](const message &m, order o) {
        for (std::size_t s = 0; s < m.slots.size; ++s) {
            const vorl::slot &slot = m.slots[s];
            if (!is_scalar_array(slot))
                continue;
            const bytes expected = shared_up_to(m, s, o);
            const auto expect_failure = [&](const bytes &buffer, const std::string &what) {
                const unpacked u(m, buffer.data(), length_of(buffer));
                EXPECT_EQ(u.what().record, expected) << "slot " << s << ": " << what;
                expect_nothing_logged(u);
            };
            for (const std::uint32_t count : {slot.count - 1, slot.count + 1, 0u}) {
                const last_field_buffer b(m, s, array_field(slot, count, o), o);
                expect_failure(b.content, "a count of " + std::to_string(count));
            }
            const last_field_buffer good(m, s, array_field(slot, slot.count + 1, o), o);
            for (const std::uint32_t count :
                 {slot.count + (1u << 30), slot.count + (1u << 31), 1u << 30, 0xFFFFFFFFu}) {
                bytes buffer = good.content;
                reference::store(&buffer[good.field_at + 4], count, 4, o);
                expect_failure(buffer, "a count of " + std::to_string(count));
            }
            const std::uint64_t room = good.content.size() - good.field_at;
            for (const std::uint64_t offset :
                 {room - 3, room, room + 1, std::uint64_t{0xFFFFFFFF}, std::uint64_t{0x80000000},
                  (std::uint64_t{1} << 32) - good.field_at, // to 0, by wrapping
                  (std::uint64_t{1} << 32) - good.field_at + good.table}) {
                bytes buffer = good.content;
                reference::store(&buffer[good.field_at], offset, 4, o);
                expect_failure(buffer, "an offset of " + std::to_string(offset));
            }
        }
    });
}

// A body anywhere behind its word, and one that starts in the word itself.
TEST(reader, array_bodies_anywhere)
{
    in_both_orders([](order o) {
        const message &m = message_named("srv6_localsid_fwd_key");
        const std::string head = "u32 table  vtable: u16 12  u16 0  u16 0  u16 0  u16 4  u16 0 "
                                 "table: u32 table-vtable ";
        const auto f2_of = [&](const std::string &rest) {
            const bytes buffer = buffer_of(head + rest, o);
            const unpacked u(m, buffer.data(), length_of(buffer));
            expect_nothing_logged(u);
            srv6_localsid_fwd_key key;
            std::memcpy(&key, u.record(), sizeof key);
            return std::vector<std::uint32_t>(key.f2, key.f2 + 4);
        };
        const std::vector<std::uint32_t> there = {1, 2, 3, 4};
        EXPECT_EQ(f2_of("u32 @body  zeros 77  body: u32 4  u32 1  u32 2  u32 3  u32 4"), there);
        // Offset 0: the word is the count as well, and cannot be 4.
        EXPECT_EQ(f2_of("u32 0  u32 1  u32 2  u32 3  u32 4"), std::vector<std::uint32_t>(4));
    });
}

// Bodies that begin among the fields, the second word being an element of the first array: less of a
// table than any writer makes, with the buffer's end at and shortly behind its last byte.
TEST(reader, bodies_among_the_fields_at_the_end_of_the_buffer)
{
    in_both_orders([](order o) {
        const bytes whole =
            buffer_of("u32 table "
                      "vtable: u16 40  u16 0  zeros 14  u16 4  u16 0  u16 12  zeros 16 "
                      "table: u32 table-vtable  u32 @f7  f7: u32 4  u32 @f9  u32 2  u32 3  u32 4 "
                      "f9: u32 4  u32 5  u32 6  u32 7  u32 8  zeros 32",
                      o);
        const std::size_t end = 4 + 40 + 48;
        bytes expected(sizeof(srv6_policy_fwd));
        const std::uint32_t f7[] = {16, 2, 3, 4};
        const std::uint32_t f9[] = {5, 6, 7, 8};
        std::memcpy(&expected[offsetof(srv6_policy_fwd, f7)], f7, sizeof f7);
        std::memcpy(&expected[offsetof(srv6_policy_fwd, f9)], f9, sizeof f9);
        guarded_buffer memory(4096);
        for (std::size_t size = end; size <= whole.size(); ++size) {
            const unpacked u(message_named("srv6_policy_fwd"),
                             memory.holding(std::span(whole).first(size)),
                             static_cast<std::int32_t>(size));
            EXPECT_EQ(u.what().record, expected) << size;
            expect_nothing_logged(u);
        }
    });
}

// The body of f9 would lie where it always lies behind that of f2, but the way there is backwards, by a sum past 32 bits.
TEST(reader, an_offset_that_wraps_to_where_the_body_belongs)
{
    in_both_orders([](order o) {
        const bytes buffer =
            buffer_of("u32 table  vtable: u16 24  u16 0  u16 0  u16 0  u16 4  zeros 12  u16 32 "
                      "table: u32 table-vtable  u32 @f2  f2: u32 4  u32 1  u32 2  u32 3  u32 4 "
                      "f9_body: u32 8  f9: u32 f9_body-f9  zeros 100",
                      o);
        const unpacked u(message_named("srv6_sync_iid_fwd"), buffer.data(), length_of(buffer));
        srv6_sync_iid_fwd expected = {};
        for (std::uint32_t i = 0; i < 4; ++i)
            expected.f2[i] = i + 1;
        EXPECT_EQ(std::memcmp(u.record(), &expected, sizeof expected), 0);
        expect_nothing_logged(u);
    });
}

// What a frame's swapped bytes mean to a side that does not swap: the root offset leads nowhere.
TEST(reader, the_other_byte_order_is_refused)
{
    use_order(order::little);
    const message &m = message_named("srv6_vrf_class_data");
    const bytes frame = reference::frame(m, sample::ones(m).data(), order::big);
    const unpacked u(m, frame.data(), length_of(frame));
    EXPECT_EQ(u.what().record, zeroed(m));
    expect_one_log(u.what(), "srv6_vrf_class_data_unpack_non_root",
                   "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
                   "[ZELKO]:Table offset(67108864) is out of range(4 - 48)");
}

} // namespace
} // namespace vorl::test
