// What is not to be encoded: counts without pointers, and records whose bytes pass 32 bits.
#include <gtest/gtest.h>

#include <cstring>

#include "srv6_cfg.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

constexpr std::uint32_t failure = 0xFFFFFFFF;

/// __pack and the four sends refuse the record: nothing is written, sent, logged or kept.
void expect_refused(const message &m, const void *record)
{
    platform &p = the_platform();
    p.forget_calls();
    bytes buffer(65536, 0xEE);
    std::uint32_t length = 65536;
    EXPECT_EQ(functions_of(m).pack(record, buffer.data(), &length), failure);
    EXPECT_EQ(length, 65536u);
    EXPECT_EQ(buffer, bytes(65536, 0xEE));
    length = failure;
    EXPECT_EQ(functions_of(m).pack(record, nullptr, &length), failure);
    EXPECT_EQ(length, failure);
    EXPECT_TRUE(p.logs.empty());

    EXPECT_EQ(functions_of(m).sendsingle(1, record, 0, 0), failure);
    EXPECT_EQ(functions_of(m).sendmsg(1, record, 1), failure);
    EXPECT_EQ(functions_of(m).sendtomsg(1, record, 1, 2), failure);
    EXPECT_TRUE(p.memory.empty());
    EXPECT_EQ(functions_of(m).sendbatch(1, record, 1, 0), failure);
    EXPECT_TRUE(p.sends.empty());
    EXPECT_TRUE(p.logs.empty());
    EXPECT_EQ(p.live_blocks, 0u);
}

/// Calls work(record) for each vector of a message, its own or a nested one's, with a count of 1
/// and no pointer there.
template <class Work>
void for_each_damaged(const message &m, const message &holder, std::size_t at, Work &&work)
{
    for (const vorl::slot &slot : holder.slots) {
        if (slot.shape == slot_shape::table) {
            for_each_damaged(m, *slot.nested, at + slot.record_at, work);
        } else if (slot.is_vector()) {
            sample s = sample::ones(m, 1);
            reference::store(s.at(at + slot.count_at), 1, 4, order::little);
            reference::store(s.at(at + slot.record_at), 0, 8, order::little);
            work(s);
        }
    }
}

TEST(measuring, a_count_without_a_pointer_at_every_level)
{
    std::size_t vectors = 0;
    for_all_messages([&vectors](const message &m, order) {
        for_each_damaged(m, m, 0, [&](sample &s) {
            ++vectors;
            EXPECT_FALSE(reference::measured_size(m, s.data()));
            expect_refused(m, s.data());
        });
    });
    // The batches; comm_param, comm_rec, trastat_key, trastat_rec and dfx_key one each; dfx_rec two.
    EXPECT_EQ(vectors, 2 * (counts::batches + 7));
}

// One damaged record among good ones: nothing is sent.
TEST(measuring, a_damaged_record_in_a_batch)
{
    for_all_messages([](const message &m, order) {
        for_each_damaged(m, m, 0, [&](sample &damaged) {
            const sample good = sample::zeros(m);
            bytes records(3 * m.record_size);
            std::memcpy(&records[0], good.data(), m.record_size);
            std::memcpy(&records[m.record_size], good.data(), m.record_size);
            std::memcpy(&records[2 * m.record_size], damaged.data(), m.record_size);
            the_platform().forget_calls();
            EXPECT_EQ(functions_of(m).sendmsg(1, records.data(), 3), failure);
            EXPECT_TRUE(the_platform().sends.empty());
            EXPECT_EQ(the_platform().live_blocks, 0u);
            EXPECT_EQ(functions_of(m).sendmsg(1, records.data(), 2), 0u);
        });
    });
}

// What a failed __unpack leaves is never sent on as an empty batch.
TEST(measuring, what_a_failed_unpack_leaves)
{
    in_both_orders([](order o) {
        for (const message *m : all_messages()) {
            if (is_fixed_size(*m))
                continue;
            SCOPED_TRACE(name_of(*m));
            const bytes packed = reference::pack(*m, sample::ones(*m, 1).data(), o);
            unpacked u(*m, packed.data(), static_cast<std::int32_t>(packed.size()), 0, 1);
            ASSERT_EQ(u.what().logs.size(), 1u);
            expect_refused(*m, u.record());
        }
    });
}

/// The measured size of the record, by a measuring call; 0 when it is refused.
std::uint32_t measured(const message &m, const void *record)
{
    std::uint32_t length = 0xFFFFFFFF;
    return functions_of(m).pack(record, nullptr, &length) == 0 ? length : 0;
}

// Measuring looks at the count of a byte vector alone, never at its bytes.
TEST(measuring, byte_vectors_up_to_32_bits)
{
    std::uint8_t byte = 0;
    struct {
        const char *message;
        std::size_t count_at;
        std::size_t pointer_at;
        std::uint32_t others; ///< bytes of everything but the vector's content
    } const cases[] = {
        // root offset 4, vtable 10, soffset 4, word 4, count 4
        {"srv6_cfg_query_comm_param", 8, 16, 26},
        {"srv6_cfg_query_comm_rec", 12, 16, 28},
        // 4 + 8 + 4 + two words; 22 of comm_param; 12 of cond
        {"srv6_cfg_query_trastat_key", 8, 16, 58},
        // 4 + 8 + 4 + 8; 24 of comm_rec; 6 + 4 + 4 + 4 + 512 and 128 items of 32
        {"srv6_cfg_query_trastat_rec", 12, 16, 24 + 24 + 530 + 4096},
        // 4 + 8 + 4 + 8; 22; 10 + 4 + 4 + 4 + 128
        {"srv6_cfg_query_dfx_key", 8, 16, 24 + 22 + 150},
        // 4 + 8 + 4 + 4; 24
        {"srv6_cfg_query_dfx_rec", 12, 16, 44},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.message);
        const message &m = message_named(c.message);
        sample s = sample::zeros(m);
        const auto set_count = [&](std::uint32_t count) {
            reference::store(s.at(c.count_at), count, 4, order::little);
            const std::uint8_t *first = &byte;
            std::memcpy(s.at(c.pointer_at), &first, sizeof first);
        };
        set_count(0xFFFFFFFF - c.others);
        EXPECT_EQ(measured(m, s.data()), 0xFFFFFFFF);
        set_count(0xFFFFFFFF - c.others + 1); // 2^32
        expect_refused(m, s.data());
        set_count(0xFFFFFFFF);
        expect_refused(m, s.data());
    }
}

// Elements whose tables together pass 32 bits. They are zeros that nobody wrote.
TEST(measuring, elements_up_to_32_bits)
{
    struct {
        const char *message;
        std::size_t count_at;
        std::size_t pointer_at;
        std::uint64_t base; ///< of a record with elements, without any
        std::uint64_t each; ///< offset word, vtable, table and array bodies of an element of zeros
        std::size_t element_size;
    } const cases[] = {
        // With one element more, 24 + 4294967280: the elements alone still fit 32 bits.
        {"srv6_xsid_fwd_update", 4, 8, 24, 4 + 40 + 4 + 3 * 24, 88},
        // Here they do not, either.
        {"srv6_sidstack_fwd_update", 4, 8, 24, 4 + 44 + 4 + 11 * 24, 208},
        {"srv6_cfg_query_dfx_rec", 24, 32, 44, 4 + 16618, 16572},
    };
    the_platform().forget_calls();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.message);
        const message &m = message_named(c.message);
        const auto most = static_cast<std::uint32_t>((0xFFFFFFFF - c.base) / c.each);
        const sparse_memory elements((std::size_t{most} + 1) * c.element_size);
        sample s = sample::zeros(m);
        const std::uint8_t *first = elements.data();
        std::memcpy(s.at(c.pointer_at), &first, sizeof first);
        reference::store(s.at(c.count_at), most, 4, order::little);
        EXPECT_EQ(measured(m, s.data()), c.base + most * c.each);
        reference::store(s.at(c.count_at), std::uint64_t{most} + 1, 4, order::little);
        EXPECT_EQ(measured(m, s.data()), 0u);
        EXPECT_EQ(functions_of(m).sendsingle(1, s.data(), 0, 0), failure);
    }
    EXPECT_TRUE(the_platform().memory.empty());
}

} // namespace
} // namespace vorl::test
