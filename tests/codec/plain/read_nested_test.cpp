// Byte vectors and nested tables: bounds, memory, who releases what under which name, and what is
// left after a failure. Expectations are written out here and not taken from the reference.
#include <gtest/gtest.h>

#include "tests/codec/support/fixture.h"
#include "tests/codec/support/memory.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

// vector<uint8>: where it stands, whose names its memory carries, and what precedes it.
struct byte_vector_place {
    const char *message;
    const char *text; ///< up to the offset word
    std::size_t count_at;
    const char *allocation_tag;
    const char *release_tag;
};

constexpr byte_vector_place byte_vector_places[] = {
    {"srv6_cfg_query_comm_param",
     "u32 table  vtable: u16 10  u16 0  u16 0  u16 0  u16 4  table: u32 table-vtable ", 8,
     "srv6_cfg_query_comm_param_unpack", "srv6_cfg_query_comm_param_free_unpacked"},
    {"srv6_cfg_query_comm_rec",
     "u32 table  vtable: u16 12  u16 0  u16 0  u16 0  u16 0  u16 4  table: u32 table-vtable ", 12,
     "srv6_cfg_query_comm_rec_unpack", "srv6_cfg_query_comm_rec_free_unpacked"},
    {"srv6_cfg_query_trastat_key",
     "u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable  u32 @inner "
     "inner_vtable: u16 10  u16 0  u16 0  u16 0  u16 4  inner: u32 inner-inner_vtable ",
     8, "srv6_cfg_query_comm_param_unpack_non_root", "srv6_cfg_query_comm_param_free_unpacked"},
    {"srv6_cfg_query_trastat_rec",
     "u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable  u32 @inner "
     "inner_vtable: u16 12  u16 0  u16 0  u16 0  u16 0  u16 4  inner: u32 inner-inner_vtable ",
     12, "srv6_cfg_query_comm_rec_unpack_non_root", "srv6_cfg_query_comm_rec_free_unpacked"},
    {"srv6_cfg_query_dfx_key",
     "u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable  u32 @inner "
     "inner_vtable: u16 10  u16 0  u16 0  u16 0  u16 4  inner: u32 inner-inner_vtable ",
     8, "srv6_cfg_query_comm_param_unpack_non_root", "srv6_cfg_query_comm_param_free_unpacked"},
    {"srv6_cfg_query_dfx_rec",
     "u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable  u32 @inner "
     "inner_vtable: u16 12  u16 0  u16 0  u16 0  u16 0  u16 4  inner: u32 inner-inner_vtable ",
     12, "srv6_cfg_query_comm_rec_unpack_non_root", "srv6_cfg_query_comm_rec_free_unpacked"},
};

template <class Work>
void for_byte_vectors(Work &&work)
{
    in_both_orders([&work](order o) {
        for (const byte_vector_place &place : byte_vector_places) {
            SCOPED_TRACE(place.message);
            work(place, message_named(place.message), o);
        }
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

std::uint64_t member_at(const unpacked &u, std::size_t at, std::size_t width)
{
    return reference::load(&u.what().record[at], width, order::little);
}

/// The pointer of a byte vector stands behind its count, at the next multiple of 8.
std::size_t pointer_at(const byte_vector_place &place) { return place.count_at / 8 * 8 + 8; }

TEST(byte_vectors, are_copied_and_released)
{
    for_byte_vectors([](const byte_vector_place &place, const message &m, order o) {
        guarded_buffer memory(256);
        const bytes buffer =
            buffer_of(std::string(place.text) + "u32 @list  list: u32 5  bytes A1 B2 C3 D4 E5", o);
        unpacked u(m, memory.holding(buffer), length_of(buffer));
        EXPECT_EQ(member_at(u, place.count_at, 4), 5u);
        EXPECT_EQ(member_at(u, pointer_at(place), 8), 1u);
        EXPECT_EQ(u.what().blocks, (std::vector<bytes>{{0xA1, 0xB2, 0xC3, 0xD4, 0xE5}}));
        EXPECT_EQ(the_platform().bounded.size(), 1u);
        EXPECT_TRUE(u.what().logs.empty());
        const std::vector<memory_event> both = {allocation(place.allocation_tag, 5, 1),
                                                release(place.release_tag, 1)};
        u.release();
        EXPECT_EQ(u.what().memory, both);
        EXPECT_EQ(member_at(u, place.count_at, 4), 5u);
        EXPECT_EQ(member_at(u, pointer_at(place), 8), 0u);
        u.release();
        EXPECT_EQ(u.what().memory, both);
    });
}

TEST(byte_vectors, bounds)
{
    for_byte_vectors([](const byte_vector_place &place, const message &m, order o) {
        guarded_buffer memory(256);
        for (const char *rest : {
                 "zeros 3",                        // the offset word is cut
                 "u32 4",                          // the count is at the end
                 "u32 4  zeros 3",                 // the count is cut
                 "u32 5",                          //
                 "u32 4  u32 1",                   // no byte
                 "u32 4  u32 5  zeros 4",          // one missing
                 "u32 4  u32 0x40000000  zeros 8", // 2^30
                 "u32 4  u32 0x3FFFFFFF  zeros 8", //
                 "u32 4  u32 0xFFFFFFFF  zeros 8", // the end wraps
                 "u32 4  u32 0xFFFFFFFC  zeros 8", //
                 "word: u32 0-word  zeros 16",     // to 0, by wrapping
                 "u32 0xFFFFFFFF  zeros 16",       //
             }) {
            const bytes buffer = buffer_of(std::string(place.text) + rest, o);
            const unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, bytes(m.record_size)) << rest;
            EXPECT_TRUE(u.what().logs.empty()) << rest;
            EXPECT_TRUE(u.what().memory.empty()) << rest;
        }
        const bytes empty = buffer_of(std::string(place.text) + "u32 4  u32 0", o);
        const unpacked u(m, memory.holding(empty), length_of(empty));
        EXPECT_EQ(u.what().record, bytes(m.record_size));
        EXPECT_TRUE(u.what().memory.empty());
    });
}

// A count of 2^30 - 1 is the largest that is read: the allocator is asked for it.
TEST(byte_vectors, the_largest_and_one_more)
{
    const sparse_memory memory((std::size_t{1} << 30) + 256);
    for_byte_vectors([&memory](const byte_vector_place &place, const message &m, order o) {
        bytes head = buffer_of(std::string(place.text) + "u32 4  u32 0x3FFFFFFF", o);
        const std::int32_t len = length_of(head) + (1 << 30);
        std::copy(head.begin(), head.end(), memory.data());
        const unpacked u(m, memory.data(), len, 0xEE, 1);
        EXPECT_EQ(u.what().memory, (std::vector{allocation(place.allocation_tag, 0x3FFFFFFF, 0)}));
        EXPECT_EQ(member_at(u, place.count_at, 4), 0x3FFFFFFFu);
        EXPECT_EQ(member_at(u, pointer_at(place), 8), 0u);
        expect_no_memory_log(u.what(), place.allocation_tag, usual_text, 0x3FFFFFFF);

        head = buffer_of(std::string(place.text) + "u32 4  u32 0x40000000", o);
        std::copy(head.begin(), head.end(), memory.data());
        const unpacked more(m, memory.data(), len);
        EXPECT_TRUE(more.what().memory.empty());
        EXPECT_EQ(member_at(more, place.count_at, 4), 0u);
    });
}

// What a nested table had allocated before a later slot failed goes back, under its own name.
TEST(nested, a_later_failure_releases_what_was_read)
{
    const std::string param =
        "p_vtable: u16 10  u16 0  u16 4  u16 8  u16 12 "
        "p: u32 p-p_vtable  u32 0x11  u32 0x22  u32 @list  list: u32 2  bytes A1 B2 ";
    const std::string rec =
        "p_vtable: u16 12  u16 0  u16 4  u16 8  u16 12  u16 16 "
        "p: u32 p-p_vtable  u32 0x11  u32 0x22  u32 0x33  u32 @list  list: u32 2  bytes A1 B2 ";
    const std::string root =
        "u32 table  vtable: u16 8  u16 0  u16 4  u16 8  table: u32 table-vtable  u32 @p ";
    struct {
        const char *message;
        const std::string &common;
        const char *second; ///< whose reader reports
        std::size_t count_at;
    } const cases[] = {
        {"srv6_cfg_query_trastat_key", param, "srv6_cfg_query_trastat_cond", 8},
        {"srv6_cfg_query_trastat_rec", rec, "srv6_cfg_query_trastat_rec_info", 12},
        {"srv6_cfg_query_dfx_key", param, "srv6_cfg_query_dfx_cond", 8},
    };
    in_both_orders([&](order o) {
        for (const auto &c : cases) {
            SCOPED_TRACE(c.message);
            const message &m = message_named(c.message);
            const std::string nested =
                c.common == param ? "srv6_cfg_query_comm_param" : "srv6_cfg_query_comm_rec";
            const std::vector<memory_event> both = {allocation(nested + "_unpack_non_root", 2, 1),
                                                    release(nested + "_free_unpacked", 1)};
            const auto expect_released = [&](const unpacked &u) {
                EXPECT_EQ(u.what().memory, both);
                EXPECT_EQ(member_at(u, 0, 4), 0x11u);
                EXPECT_EQ(member_at(u, 4, 4), 0x22u);
                EXPECT_EQ(member_at(u, c.count_at, 4), 2u);
                EXPECT_EQ(member_at(u, 16, 8), 0u);
            };
            {
                // The second table is outside.
                const bytes buffer = buffer_of(root + "u32 0x1000 " + c.common, o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                expect_released(u);
                ASSERT_EQ(u.what().logs.size(), 1u);
                EXPECT_EQ(u.what().logs[0].function, std::string(c.second) + "_unpack_non_root");
                EXPECT_EQ(u.what().logs[0].text, "[ZELKO]:Table offset(4116) is out of range(4 - " +
                                                     std::to_string(buffer.size()) + ")");
            }
            {
                // Its vtable is outside.
                const bytes buffer = buffer_of(root + "u32 @bad " + c.common + "bad: u32 bad", o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                expect_released(u);
                ASSERT_EQ(u.what().logs.size(), 1u);
                EXPECT_EQ(u.what().logs[0].function, std::string(c.second) + "_unpack_non_root");
                EXPECT_EQ(u.what().logs[0].text,
                          "[ZELKO]:Vtable offset(" + std::to_string(buffer.size() - 4) +
                              ") is out of range(4 - " + std::to_string(buffer.size() - 4) + ")");
            }
            {
                // Its vtable is too long.
                const bytes buffer =
                    buffer_of(root + "u32 @bad " + c.common +
                                  "bad_vtable: u16 9  u16 0  bad: u32 bad-bad_vtable",
                              o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                expect_released(u);
                ASSERT_EQ(u.what().logs.size(), 1u);
                EXPECT_EQ(u.what().logs[0].function, std::string(c.second) + "_unpack_non_root");
                EXPECT_EQ(u.what().logs[0].text, "[ZELKO]:Vtable Len(9) is out of range(0 - 8)");
            }
            {
                // A field of it is outside; its offset wraps; its word is cut. All silent.
                for (const std::string &rest :
                     {"u32 @bad " + c.common +
                          "bad_vtable: u16 6  u16 0  u16 4  bad: u32 bad-bad_vtable",
                      "u32 0xFFFFFFF0 " + c.common}) {
                    const bytes buffer = buffer_of(root + rest, o);
                    const unpacked u(m, buffer.data(), length_of(buffer));
                    expect_released(u);
                    EXPECT_TRUE(u.what().logs.empty());
                }
                bytes buffer = buffer_of(root + "u32 0 " + c.common, o);
                reference::store(&buffer[10], buffer.size() - 12 - 3, 2, o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                expect_released(u);
                EXPECT_TRUE(u.what().logs.empty());
            }
        }
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

TEST(nested, no_memory_for_a_nested_vector_ends_the_read)
{
    for_byte_vectors([](const byte_vector_place &place, const message &m, order o) {
        const bytes buffer = buffer_of(std::string(place.text) + "u32 4  u32 3  bytes A1 B2 C3", o);
        unpacked u(m, buffer.data(), length_of(buffer), 0xEE, 1);
        EXPECT_EQ(u.what().memory, (std::vector{allocation(place.allocation_tag, 3, 0)}));
        expect_no_memory_log(u.what(), place.allocation_tag, usual_text, 3);
        EXPECT_EQ(member_at(u, place.count_at, 4), 3u);
        EXPECT_EQ(member_at(u, pointer_at(place), 8), 0u);
        u.release();
        EXPECT_EQ(u.what().memory.size(), 1u);
    });
}

// dfx_rec owns two blocks: the items go back first, then the bytes of its header.
TEST(nested, dfx_rec_releases_its_items_first)
{
    const message &m = message_named("srv6_cfg_query_dfx_rec");
    const std::string text = "u32 table  vtable: u16 8  u16 0  u16 4  u16 8 "
                             "table: u32 table-vtable  u32 @rec  u32 @list "
                             "rec_vtable: u16 12  u16 0  u16 0  u16 0  u16 0  u16 4 "
                             "rec: u32 rec-rec_vtable  u32 @run  run: u32 1  bytes A1 "
                             "list: u32 2  u32 @a  u32 ";
    const std::vector<memory_event> allocations = {
        allocation("srv6_cfg_query_comm_rec_unpack_non_root", 1, 1),
        allocation("srv6_cfg_query_dfx_rec_unpack", 33144, 2)};
    const std::vector<memory_event> releases = {
        release("srv6_cfg_query_dfx_rec_free_unpacked", 2),
        release("srv6_cfg_query_comm_rec_free_unpacked", 1)};
    std::vector<memory_event> all = allocations;
    all.insert(all.end(), releases.begin(), releases.end());
    in_both_orders([&](order o) {
        const bytes good = buffer_of(text + "@a " + empty_element("a"), o);
        unpacked u(m, good.data(), length_of(good));
        EXPECT_EQ(u.what().memory, allocations);
        u.release();
        EXPECT_EQ(u.what().memory, all);
        u.release();
        EXPECT_EQ(u.what().memory, all);

        // The second item is damaged: the read itself gives both back.
        const bytes bad = buffer_of(text + "0x100000 " + empty_element("a"), o);
        unpacked failed(m, bad.data(), length_of(bad));
        EXPECT_EQ(failed.what().memory, all);
        ASSERT_EQ(failed.what().logs.size(), 1u);
        EXPECT_EQ(failed.what().logs[0].function, "srv6_cfg_query_dfx_item_unpack_non_root");
        EXPECT_EQ(member_at(failed, 12, 4), 1u);
        EXPECT_EQ(member_at(failed, 24, 4), 2u);
        failed.release();
        EXPECT_EQ(failed.what().memory, all);

        // No memory for the items.
        const unpacked without(m, good.data(), length_of(good), 0xEE, 2);
        EXPECT_EQ(
            without.what().memory,
            (std::vector{allocations[0], allocation("srv6_cfg_query_dfx_rec_unpack", 33144, 0),
                         releases[1]}));
        expect_no_memory_log(without.what(), "srv6_cfg_query_dfx_rec_unpack", text_with_blanks,
                             33144);
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

// The four _chg messages: a nested table that fails does not take the rest with it.
TEST(nested, changes)
{
    in_both_orders([](order o) {
        for (const char *base :
             {"srv6_vrf_class_data", "srv6_vrf_class_state", "srv6_class_item", "srv6_pid_state"}) {
            SCOPED_TRACE(base);
            const message &m = message_named(std::string(base) + "_chg");
            const std::string nested_name = std::string(base) + "_unpack_non_root";
            const std::string root = "u32 table  vtable: u16 8  u16 0  u16 4  u16 8 "
                                     "table: u32 table-vtable  u32 0x11 ";
            const auto check = [&](const std::string &text, const std::string &log,
                                   std::uint32_t nested_f0) {
                SCOPED_TRACE(text);
                const bytes buffer = buffer_of(text, o);
                const unpacked u(m, buffer.data(), length_of(buffer));
                bytes expected(m.record_size);
                reference::store(&expected[0], 0x11, 4, order::little);
                reference::store(&expected[4], nested_f0, 4, order::little);
                EXPECT_EQ(u.what().record, expected);
                EXPECT_EQ(u.what().logs.size(), log.empty() ? 0u : 1u);
                for (const auto &line : u.what().logs) {
                    EXPECT_EQ(line.function, nested_name);
                    EXPECT_EQ(line.text, log);
                }
                EXPECT_TRUE(u.what().memory.empty());
            };
            // Absent: by its entry, or by a vtable that ends before it.
            check(
                "u32 table  vtable: u16 8  u16 0  u16 4  u16 0  table: u32 table-vtable  u32 0x11",
                "", 0);
            check("u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable  u32 0x11", "",
                  0);
            check(root + "u32 @n " + empty_element("n"), "", 0);
            // The word is cut, the position wraps.
            check(root + "zeros 3", "", 0);
            check(root + "word: u32 0-word+4", "", 0);
            // The nested table's own checks. The word is at 20.
            check(root + "u32 4", "[ZELKO]:Table offset(24) is out of range(4 - 24)", 0);
            check(root + "u32 0", "", 0); // its own table, its own vtable, of length 0
            check(root + "u32 @n  n: u32 n-3", "[ZELKO]:Vtable offset(24) is out of range(4 - 24)",
                  0);
            check(root + "u32 @n  n_vtable: u16 9  u16 0  n: u32 n-n_vtable",
                  "[ZELKO]:Vtable Len(9) is out of range(0 - 8)", 0);
            // What was read before a failing field stays.
            check(root + "u32 @n  n_vtable: u16 8  u16 0  u16 4  u16 8 "
                         "n: u32 n-n_vtable  u32 0x22  zeros 3",
                  "", 0x22);
        }
    });
}

// 128 elements and no other number, each read under the item's name.
TEST(nested, trastat_rec_info)
{
    const message &m = message_named("srv6_cfg_query_trastat_rec_info");
    const std::string root = "u32 table  vtable: u16 6  u16 0  u16 4  table: u32 table-vtable "
                             "u32 @list  list: u32 ";
    // One table for all: entry i leads to it.
    const auto words = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += "u32 @item ";
        return text;
    };
    const std::string item =
        "item_vtable: u16 6  u16 0  u16 4  item: u32 item-item_vtable  u32 0x44";
    in_both_orders([&](order o) {
        const auto read = [&](const std::string &text) {
            const bytes buffer = buffer_of(text, o);
            const unpacked u(m, buffer.data(), length_of(buffer));
            EXPECT_TRUE(u.what().memory.empty());
            return u.what();
        };
        const auto all = [](std::uint32_t first_words) {
            bytes record(9216);
            for (std::size_t i = 0; i < first_words; ++i)
                reference::store(&record[72 * i], 0x44, 4, order::little);
            return record;
        };
        EXPECT_EQ(read(root + "128 " + words(128) + item).record, all(128));
        EXPECT_EQ(read(root + "127 " + words(128) + item).record, all(0));
        EXPECT_EQ(read(root + "129 " + words(130) + item).record, all(0));
        EXPECT_EQ(read(root + "0 " + words(128) + item).record, all(0));
        EXPECT_EQ(read(root + "0x40000080 " + words(128) + item).record, all(0));
        EXPECT_EQ(read(root + "128 zeros 511").record, all(0));
        EXPECT_EQ(read(root + "127 " + words(128) + item).logs.size(), 0u);
        // The third leads outside: the first two stay.
        const auto damaged = read(root + "128 " + words(2) + "u32 0x10000 " + words(125) + item);
        EXPECT_EQ(damaged.record, all(2));
        ASSERT_EQ(damaged.logs.size(), 1u);
        EXPECT_EQ(damaged.logs[0].function, "srv6_cfg_query_trastat_item_unpack_non_root");
        EXPECT_EQ(damaged.logs[0].text, // its word is at 30
                  "[ZELKO]:Table offset(65566) is out of range(4 - 548)");
        EXPECT_EQ(read(root + "128 " + words(2) + "u32 0xFFFFFFFF " + words(125) + item).record,
                  all(2));
    });
}

TEST(release, of_null_and_of_what_owns_nothing)
{
    for_all_messages([](const message &m, order) {
        platform &p = the_platform();
        p.forget_calls();
        functions_of(m).free_unpacked(nullptr);
        if (is_fixed_size(m)) {
            // Whatever it is passed, and whatever that holds.
            sample s(m, 0xEE);
            const bytes before(s.at(0), s.at(0) + m.record_size);
            functions_of(m).free_unpacked(s.data());
            EXPECT_EQ(bytes(s.at(0), s.at(0) + m.record_size), before);
            functions_of(m).free_unpacked(reinterpret_cast<void *>(1));
        } else {
            sample s = sample::zeros(m);
            functions_of(m).free_unpacked(s.data());
            EXPECT_EQ(bytes(s.at(0), s.at(0) + m.record_size), bytes(m.record_size));
        }
        EXPECT_TRUE(p.memory.empty());
        EXPECT_TRUE(p.logs.empty());
    });
}

} // namespace
} // namespace vorl::test
