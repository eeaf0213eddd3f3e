// The platform's memset_s and memcpy_s: what they are told, and that a reader does without them when
// they refuse. Blocks hold old bytes when the reader gets them (support/platform.cpp), so whatever
// neither writes shows.
#include <gtest/gtest.h>

#include <functional>

#include "tests/codec/support/fixture.h"
#include "tests/codec/support/hostile.h"
#include "tests/codec/support/memory.h"
#include "tests/codec/support/ways_to_read.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

void for_messages_with_vectors(
    const std::function<void(const message &, const way_to_read &)> &work)
{
    for (const way_to_read &way : ways_to_read) {
        SCOPED_TRACE(way.name);
        std::size_t count = 0;
        for (const message *m : all_messages()) {
            if (is_fixed_size(*m))
                continue;
            SCOPED_TRACE(name_of(*m));
            ++count;
            work(*m, way);
        }
        EXPECT_EQ(count, counts::variable_size);
    }
    reset_platform();
    forget_bindings();
}

/// A message with a vector of tables whose elements take 56 bytes each, and one with bytes.
constexpr const char *batch = "srv6_common_fwd_update";
constexpr const char *run = "srv6_cfg_query_comm_param";

bytes batch_of_three(order o)
{
    return buffer_of("u32 table  vtable: u16 8  u16 0  u16 0  u16 4  table: u32 table-vtable "
                     "u32 @list  list: u32 3  u32 @a  u32 @a  u32 @a " +
                         empty_element("a"),
                     o);
}

/// The five bytes begin at 26.
bytes run_of_five(order o)
{
    return buffer_of("u32 table  vtable: u16 10  u16 0  u16 0  u16 0  u16 4 "
                     "table: u32 table-vtable  u32 @list  list: u32 5  bytes A1 B2 C3 D4 E5",
                     o);
}

TEST(bounded, are_told_the_block_its_size_and_what_goes_there)
{
    for (const way_to_read &way : ways_to_read) {
        SCOPED_TRACE(way.name);
        way.prepare();
        const bytes tables = batch_of_three(way.byte_order);
        const unpacked cleared(message_named(batch), tables.data(), length_of(tables));
        ASSERT_EQ(the_platform().memory.size(), 1u);
        EXPECT_EQ(the_platform().bounded,
                  (std::vector<bounded_call>{
                      {false, the_platform().memory[0].block, 168, 0, nullptr, 168, 1}}));

        way.prepare();
        const bytes five = run_of_five(way.byte_order);
        ASSERT_EQ(five.size(), 31u);
        const unpacked copied(message_named(run), five.data(), length_of(five));
        ASSERT_EQ(the_platform().memory.size(), 1u);
        EXPECT_EQ(the_platform().bounded,
                  (std::vector<bounded_call>{
                      {true, the_platform().memory[0].block, 5, 0, five.data() + 26, 5, 1}}));
    }
    forget_bindings();
}

// The same of every message is asserted wherever codec_test unpacks one (support/library.cpp). Here: that
// both are called for every vector there is, and for nothing else.
TEST(bounded, are_called_once_for_each_vector)
{
    for_messages_with_vectors([](const message &m, const way_to_read &way) {
        std::vector<bool> copies; // memory is taken for nested vectors first
        for (const vorl::slot &slot : m.slots) {
            if (slot.shape == slot_shape::table && !is_fixed_size(*slot.nested))
                copies.push_back(true);
        }
        for (const vorl::slot &slot : m.slots) {
            if (slot.is_vector())
                copies.push_back(slot.shape == slot_shape::byte_vector);
        }
        ASSERT_FALSE(copies.empty());
        const bytes buffer = reference::pack(m, sample::ones(m, 3).data(), way.byte_order);
        way.prepare();
        unpacked u(m, buffer.data(), length_of(buffer));
        std::vector<bool> called;
        for (const bounded_call &call : the_platform().bounded)
            called.push_back(call.copies);
        EXPECT_EQ(called, copies);
        u.release();
        EXPECT_TRUE(the_platform().bounded.empty());
    });
}

TEST(bounded, are_called_for_vectors_alone)
{
    for_all_messages([](const message &m, order o) {
        const sample record = sample::ones(m, 3);
        const bytes frame = sent_single(m, record.data());
        sent_batch(m, record.data(), 1);
        EXPECT_TRUE(the_platform().bounded.empty());
        library_pack(record);
        EXPECT_TRUE(the_platform().bounded.empty());
        if (is_fixed_size(m)) {
            const unpacked u(m, frame.data(), length_of(frame));
            EXPECT_EQ(u.what().record, expected_unpack(m, frame, o).record);
            EXPECT_TRUE(the_platform().bounded.empty());
        }
    });
}

struct refuser {
    const char *name;
    std::size_t limit;
    int result;
    std::size_t damage;
};
constexpr refuser refusers[] = {
    {"refuses all", 0, 1, 0},
    {"refuses all, by a negative number", 0, -1, 0},
    {"refuses all, by a number of which the low byte is 0", 0, 0x100, 0},
    {"refuses all, by the lowest number", 0, INT32_MIN, 0},
    {"refuses more than 100 bytes", 100, 34, 0},
    {"writes a byte and refuses", 0, 22, 1},
    {"writes 50 bytes, and refuses more than 100", 100, 22, 50},
    {"writes over all, and refuses", 0, 75, SIZE_MAX},
};

void apply(const refuser &r)
{
    the_platform().bounded_limit = r.limit;
    the_platform().bounded_refusal = r.result;
    the_platform().bounded_damage = r.damage;
}

// Records, blocks, logs and memory are what they are with memset_s and memcpy_s that work.
TEST(bounded, refusing_ones_change_nothing)
{
    std::size_t refused = 0;
    std::size_t accepted = 0;
    for_messages_with_vectors([&](const message &m, const way_to_read &way) {
        const order o = way.byte_order;
        random_source random(19);
        std::vector<bytes> buffers = {
            reference::pack(m, sample::ones(m, 1).data(), o),
            reference::pack(m, sample::ones(m, 200).data(), o),
            reference::pack(m, sample::random(m, random, 20).data(), o),
            // Elements that share a table without slots, and one whose last element is refused.
            hostile_buffer(m, 2, o),
            hostile_buffer(m, 300, o),
            hostile_buffer(m, 3, o, hostile_elements::late),
        };
        for (const refuser &r : refusers) {
            SCOPED_TRACE(r.name);
            apply(r);
            for (const bytes &buffer : buffers) {
                way.prepare();
                ASSERT_EQ(reading_difference(m, buffer, o), "");
                // Those of the releases, which have been forgotten, are none.
                way.prepare();
                const unpacked u(m, buffer.data(), length_of(buffer));
                for (const bounded_call &call : the_platform().bounded)
                    ++(call.count > r.limit ? refused : accepted);
                ASSERT_EQ(u.what().logs, expected_unpack(m, buffer, o).logs);
            }
        }
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
    // A call a vector at the least, of which the third and sixth buffer may have none.
    EXPECT_GE(refused, std::size(ways_to_read) * 6 * 4 * counts::variable_size);
    EXPECT_GE(accepted, std::size(ways_to_read) * 2 * 1 * counts::variable_size);
}

TEST(bounded, refusing_ones_in_bytes)
{
    for (const way_to_read &way : ways_to_read) {
        SCOPED_TRACE(way.name);
        for (const refuser &r : refusers) {
            SCOPED_TRACE(r.name);
            apply(r);
            way.prepare();
            const bytes tables = batch_of_three(way.byte_order);
            const unpacked cleared(message_named(batch), tables.data(), length_of(tables));
            EXPECT_EQ(cleared.what().blocks, std::vector<bytes>{bytes(168)});
            way.prepare();
            const bytes five = run_of_five(way.byte_order);
            const unpacked copied(message_named(run), five.data(), length_of(five));
            EXPECT_EQ(copied.what().blocks, (std::vector<bytes>{{0xA1, 0xB2, 0xC3, 0xD4, 0xE5}}));
            EXPECT_TRUE(cleared.what().logs.empty());
            EXPECT_TRUE(copied.what().logs.empty());
        }
    }
    reset_platform();
    forget_bindings();
}

} // namespace
} // namespace vorl::test
