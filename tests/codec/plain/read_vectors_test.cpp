// Vectors of tables: bounds, memory, who releases what under which name, and what is left after a
// failure. Expectations are written out here and not taken from the reference.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/codec/support/fixture.h"
#include "tests/codec/support/memory.h"
#include "tests/codec/support/orders.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

/// The 31 batches and srv6_cfg_query_dfx_rec: all with a vector of tables, in slot 1.
std::vector<const message *> messages_with_elements()
{
    std::vector<const message *> list;
    for (const message *m : all_messages()) {
        if (m->slots.size == 2 && m->slots[1].shape == slot_shape::table_vector)
            list.push_back(m);
    }
    return list;
}

template <class Work>
void for_messages_with_elements(Work &&work)
{
    ASSERT_EQ(messages_with_elements().size(), counts::batches + 1); // and dfx_rec
    in_both_orders([&work](order o) {
        for (const message *m : messages_with_elements()) {
            SCOPED_TRACE(name_of(*m));
            work(*m, o);
        }
    });
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

struct vector_state {
    std::uint32_t count;
    std::uint64_t block; ///< its number; 0: null
};

vector_state state_of(const unpacked &u, const vorl::slot &slot)
{
    const bytes &record = u.what().record;
    return {static_cast<std::uint32_t>(reference::load(&record[slot.count_at], 4, order::little)),
            reference::load(&record[slot.record_at], 8, order::little)};
}

void expect_vector(const unpacked &u, const vorl::slot &slot, std::uint32_t count,
                   std::uint64_t block)
{
    EXPECT_EQ(state_of(u, slot).count, count);
    EXPECT_EQ(state_of(u, slot).block, block);
}

// A batch, or a dfx_rec without its header, up to where its vector starts. `rest` says what follows
// the offset word; @list leads to the count.
bytes vector_buffer(const std::string &rest, order o)
{
    return buffer_of(
        "u32 table  vtable: u16 8  u16 0  u16 0  u16 4  table: u32 table-vtable " + rest, o);
}

TEST(vectors, empty_ones_allocate_nothing)
{
    for_messages_with_elements([](const message &m, order o) {
        for (const char *rest : {
                 "u32 @list  list: u32 0",
                 "u32 @list  list: u32 0  u32 0xFFFFFFFF",
             }) {
            const bytes buffer = vector_buffer(rest, o);
            unpacked u(m, buffer.data(), length_of(buffer));
            EXPECT_EQ(u.what().record, bytes(m.record_size));
            u.release();
            EXPECT_TRUE(u.what().memory.empty());
            EXPECT_TRUE(u.what().logs.empty());
        }
        // No slot 1: vtables of 6 bytes, 7 bytes, and of 8 with an entry of 0.
        for (const char *text : {
                 "u32 table  vtable: u16 6  u16 0  u16 0  u16 4 ",
                 "u32 table  vtable: u16 7  u16 0  u16 0  u16 4 ",
                 "u32 table  vtable: u16 8  u16 0  u16 0  u16 0 ",
             }) {
            const bytes buffer =
                buffer_of(text + std::string("table: u32 table-vtable  u32 @list  list: u32 1"), o);
            const unpacked u(m, buffer.data(), length_of(buffer));
            EXPECT_EQ(u.what().record, bytes(m.record_size));
            EXPECT_TRUE(u.what().memory.empty());
        }
    });
}

TEST(vectors, bounds_are_checked_before_anything_is_allocated)
{
    for_messages_with_elements([](const message &m, order o) {
        guarded_buffer memory(256);
        for (const char *rest : {
                 "zeros 3",                         // the offset word is cut
                 "u32 1",                           // the count is cut
                 "u32 4  zeros 3",                  //
                 "u32 4",                           // the count is at the end
                 "u32 5",                           // behind it
                 "word: u32 0-word  zeros 32",      // leads to 0 by wrapping
                 "word: u32 0-word+4  zeros 32",    //
                 "u32 0xFFFFFFFF  zeros 32",        //
                 "u32 0x80000000  zeros 32",        //
                 "u32 4  u32 1",                    // no word for the element
                 "u32 4  u32 1  zeros 3",           //
                 "u32 4  u32 9  zeros 32",          // 8 words for 9 elements
                 "u32 4  u32 0x40000000  zeros 32", // 2^30: 4 times is 0
                 "u32 4  u32 0x40000001  zeros 32", //
                 "u32 4  u32 0x3FFFFFFF  zeros 32", // the position wraps
                 "u32 4  u32 0x80000001  zeros 32", //
                 "u32 4  u32 0xFFFFFFFF  zeros 32", //
             }) {
            const bytes buffer = vector_buffer(rest, o);
            unpacked u(m, memory.holding(buffer), length_of(buffer));
            EXPECT_EQ(u.what().record, bytes(m.record_size)) << rest; // no count either
            EXPECT_TRUE(u.what().logs.empty()) << rest;
            u.release();
            EXPECT_TRUE(u.what().memory.empty()) << rest;
        }
    });
}

// Slot 0 of a batch that passes the end: nothing of slot 1 is read.
TEST(vectors, a_failing_slot_0_ends_the_read)
{
    in_both_orders([](order o) {
        for (const message *m : messages_with_elements()) {
            const bytes buffer =
                buffer_of("u32 table  vtable: u16 8  u16 0  u16 end-table-3  u16 4 "
                          "table: u32 table-vtable  u32 @list  list: u32 1  u32 @e " +
                              empty_element("e"),
                          o);
            const unpacked u(*m, buffer.data(), length_of(buffer));
            EXPECT_EQ(u.what().record, bytes(m->record_size)) << name_of(*m);
            EXPECT_TRUE(u.what().memory.empty());
        }
    });
}

TEST(vectors, elements_are_owned_until_released_once)
{
    for_messages_with_elements([](const message &m, order o) {
        const vorl::slot &slot = m.slots[1];
        const bytes buffer = vector_buffer("u32 @list  list: u32 3  u32 @a  u32 @a  u32 @b " +
                                               empty_element("a") + empty_element("b"),
                                           o);
        unpacked u(m, buffer.data(), length_of(buffer));
        const std::uint64_t size = 3 * slot.nested->record_size;
        expect_vector(u, slot, 3, 1);
        ASSERT_EQ(u.what().blocks.size(), 1u);
        EXPECT_EQ(u.what().blocks[0], bytes(size)); // absent slots: zeros in a block that was dirty
        EXPECT_EQ(the_platform().bounded.size(), 1u);
        EXPECT_EQ(u.what().memory,
                  (std::vector{allocation(std::string(name_of(m)) + "_unpack", size, 1)}));
        EXPECT_TRUE(u.what().logs.empty());

        const std::vector<memory_event> both = {
            allocation(std::string(name_of(m)) + "_unpack", size, 1),
            release(std::string(name_of(m)) + "_free_unpacked", 1)};
        u.release();
        EXPECT_EQ(u.what().memory, both);
        expect_vector(u, slot, 3, 0); // the count stays
        u.release();
        EXPECT_EQ(u.what().memory, both);
        expect_vector(u, slot, 3, 0);
    });
}

// An offset that leads back, by a sum past 32 bits, to a table that is in order: no writer makes
// it, and it is refused without a line.
TEST(vectors, an_element_before_its_word_is_refused)
{
    random_source random(15);
    for_messages_with_elements([&random](const message &m, order o) {
        const vorl::slot &slot = m.slots[1];
        for (const sample &element : {sample::zeros(*slot.nested), sample::ones(*slot.nested),
                                      sample::random(*slot.nested, random)}) {
            bytes buffer = reference::pack(*slot.nested, element.data(), o);
            const std::uint64_t element_at = reference::load(&buffer[0], 4, o);
            const std::size_t vtable = buffer.size();
            const std::uint64_t word = vtable + 8 + 8 + 4;
            reference::store(&buffer[0], vtable + 8, 4, o);
            const bytes batch = buffer_of("vtable: u16 8  u16 8  u16 0  u16 4 "
                                          "table: u32 table-vtable  u32 @list  list: u32 1  u32 0",
                                          o);
            buffer.insert(buffer.end(), batch.begin(), batch.end());
            reference::store(&buffer[word], element_at - word, 4, o);
            unpacked u(m, buffer.data(), length_of(buffer));
            expect_vector(u, slot, 1, 0);
            EXPECT_TRUE(u.what().logs.empty());
            EXPECT_EQ(u.what().memory.size(), 2u); // an allocation and its release
        }
    });
}

TEST(vectors, the_third_element_is_damaged)
{
    for_messages_with_elements([](const message &m, order o) {
        const vorl::slot &slot = m.slots[1];
        const std::string head = "u32 @list  list: u32 4  u32 @a  u32 @a  third: ";
        const std::string tail = "  u32 @a " + empty_element("a");
        struct {
            std::string rest;
            std::string format, text; ///< empty: silent
        } const cases[] = {
            // 16 + 4 + 4 + 16 + 8 = 48 bytes; the third word is at 32
            {head + "u32 0-third" + tail, "", ""},    // wraps, to 0
            {head + "u32 0xFFFFFFFF" + tail, "", ""}, // wraps, to just below the word
            {head + "u32 0-third-1" + tail,           // does not quite wrap
             "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
             "[ZELKO]:Table offset(4294967295) is out of range(4 - 48)"},
            {head + "u32 13" + tail, "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
             "[ZELKO]:Table offset(45) is out of range(4 - 48)"},
            {head + "u32 0x7FFFFFFF" + tail, "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
             "[ZELKO]:Table offset(2147483679) is out of range(4 - 48)"},
            {head + "u32 @bad" + tail + "bad: u32 bad",
             "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)",
             "[ZELKO]:Vtable offset(48) is out of range(4 - 48)"},
            {head + "u32 @bad" + tail + "bad_vtable: u16 9  u16 0  bad: u32 bad-bad_vtable",
             "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)",
             "[ZELKO]:Vtable Len(9) is out of range(0 - 8)"},
            {head + "u32 @bad" + tail + "bad_vtable: u16 6  u16 0  u16 4  bad: u32 bad-bad_vtable",
             "", ""},
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(c.rest);
            const bytes buffer = vector_buffer(c.rest, o);
            unpacked u(m, buffer.data(), length_of(buffer));
            expect_vector(u, slot, 4, 0);
            const std::vector<memory_event> both = {
                allocation(std::string(name_of(m)) + "_unpack", 4 * slot.nested->record_size, 1),
                release(std::string(name_of(m)) + "_free_unpacked", 1)};
            EXPECT_EQ(u.what().memory, both);
            if (c.text.empty()) {
                EXPECT_TRUE(u.what().logs.empty());
            } else {
                ASSERT_EQ(u.what().logs.size(), 1u);
                EXPECT_EQ(
                    u.what().logs[0],
                    (reference::log_event{22, u.what().logs[0].line,
                                          std::string(name_of(*slot.nested)) + "_unpack_non_root",
                                          c.format, c.text}));
            }
            u.release();
            EXPECT_EQ(u.what().memory, both);
        }
    });
}

TEST(vectors, no_memory_for_elements)
{
    for_messages_with_elements([](const message &m, order o) {
        const vorl::slot &slot = m.slots[1];
        const bytes buffer = vector_buffer(
            "u32 @list  list: u32 3  u32 @a  u32 @a  u32 @a " + empty_element("a"), o);
        unpacked u(m, buffer.data(), length_of(buffer), 0xEE, 1);
        const std::string name = std::string(name_of(m)) + "_unpack";
        const auto size = static_cast<std::uint32_t>(3 * slot.nested->record_size);
        expect_vector(u, slot, 3, 0);
        EXPECT_EQ(u.what().memory, (std::vector{allocation(name, size, 0)}));
        const bool is_dfx = std::string_view(name_of(m)) == "srv6_cfg_query_dfx_rec";
        expect_no_memory_log(u.what(), name, is_dfx ? text_with_blanks : usual_text, size);
        u.release();
        EXPECT_EQ(u.what().memory.size(), 1u);
    });
}

// Count times record size at 2^32 - 1 and just past it: the allocator is asked for the first, and
// never for the second. The offset words are there, all zero.
TEST(vectors, block_sizes_past_32_bits)
{
    std::size_t reachable = 0;
    for_messages_with_elements([&reachable](const message &m, order o) {
        const vorl::slot &slot = m.slots[1];
        const std::uint64_t element = slot.nested->record_size;
        const auto most = static_cast<std::uint32_t>(0xFFFFFFFF / element);
        const std::uint64_t size = 24 + 4 * (std::uint64_t{most} + 1);
        if (size > 0x7FFFFFFF)
            return; // more words than an int32 length has bytes
        ++reachable;
        const sparse_memory memory(size);
        const bytes head = vector_buffer("u32 @list  list: u32 0", o);
        ASSERT_EQ(head.size(), 24u);
        std::copy(head.begin(), head.end(), memory.data());
        const std::string name = std::string(name_of(m)) + "_unpack";
        const bool is_dfx = std::string_view(name_of(m)) == "srv6_cfg_query_dfx_rec";
        const char *format = is_dfx ? text_with_blanks : usual_text;

        reference::store(memory.data() + 20, most, 4, o);
        const unpacked largest(m, memory.data(), static_cast<std::int32_t>(size), 0xEE, 1);
        EXPECT_EQ(largest.what().memory, (std::vector{allocation(name, most * element, 0)}));
        expect_no_memory_log(largest.what(), name, format,
                             static_cast<std::uint32_t>(most * element));
        expect_vector(largest, slot, most, 0);

        reference::store(memory.data() + 20, most + 1, 4, o);
        const unpacked past(m, memory.data(), static_cast<std::int32_t>(size));
        EXPECT_TRUE(past.what().memory.empty());
        expect_no_memory_log(past.what(), name, format,
                             static_cast<std::uint32_t>((most + 1) * element));
        expect_vector(past, slot, most + 1, 0);
    });
    // All but srv6_common_fwd_delete, whose elements are 4 bytes.
    EXPECT_EQ(reachable, 2 * counts::batches);
}

} // namespace
} // namespace vorl::test
