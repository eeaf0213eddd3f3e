// The four sends of the fixed-size messages.
#include "tests/api/sending.h"
#include "tests/facts/counts.h"

namespace vorl::test {
namespace {

using send_fixed = sending;

/// Longer than the frame that a send keeps on its stack.
bool is_large(const known_message &m) { return m.fact->frame_length > 1024; }

/// A frame reads back as the record that it was written from.
void expect_frame_of(const known_message &m, const bus_call::frame &frame, const void *record)
{
    EXPECT_EQ(frame.msg_id, m.fact->msg_id);
    ASSERT_EQ(frame.bytes.size(), m.fact->frame_length);
    std::vector<std::uint8_t> out(m.fact->record_size);
    functions_of(*m.info).unpack(frame.bytes.data(), static_cast<std::int32_t>(frame.bytes.size()),
                                 out.data());
    EXPECT_TRUE(same_record(*m.info, record, out.data()));
}

TEST_F(send_fixed, has_messages_of_which_two_are_large)
{
    EXPECT_EQ(messages_where(true).size(), counts::fixed_size);
    int large = 0;
    for (const known_message &m : messages_where(true))
        large += is_large(m) ? 1 : 0;
    EXPECT_EQ(large, 2);
    EXPECT_EQ(fact_of("srv6_cfg_query_trastat_rec_info").frame_length, 14872u);
    EXPECT_EQ(fact_of("srv6_cfg_query_dfx_item").frame_length, 16632u);
}

TEST_F(send_fixed, one_record)
{
    for (const known_message &m : messages_where(true)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        for (const single_way &way : single_ways) {
            SCOPED_TRACE(way.name);
            for (const std::uint64_t to : some_targets) {
                the_platform().forget_calls();
                EXPECT_EQ(way.send(*m.info, in.record(), to), 0u);
                expect_addressed(only_call(), to, 1);
                expect_frame_of(m, only_call().frames.at(0), in.record());
                if (is_large(m)) {
                    expect_one_block(m.fact->frame_length,
                                     std::string(m.fact->name) + "__sendsingle");
                    EXPECT_EQ(only_call().frames.at(0).data, block());
                } else {
                    EXPECT_TRUE(the_platform().memory.empty());
                }
                EXPECT_TRUE(the_platform().logs.empty());
            }
        }
    }
}

TEST_F(send_fixed, many_records)
{
    for (const known_message &m : messages_where(true)) {
        SCOPED_TRACE(name_of(*m.info));
        const std::uint32_t length = m.fact->frame_length;
        sample in(*m.info, 3);
        for (const batch_way &way : batch_ways) {
            SCOPED_TRACE(way.name);
            for (std::uint32_t count = 1; count <= 3; ++count) {
                if (count == 1 && std::string_view(way.name) != "__sendbatch")
                    continue;
                for (const std::uint64_t to : some_targets) {
                    the_platform().forget_calls();
                    EXPECT_EQ(way.send(*m.info, in.record(), count, to), 0u);
                    expect_addressed(only_call(), to, count);
                    expect_one_block(count * (length + 16),
                                     std::string(m.fact->name) + "__sendbatch");
                    for (std::uint32_t i = 0; i < count; ++i) {
                        expect_frame_of(m, only_call().frames.at(i), in.record(i));
                        EXPECT_EQ(only_call().frames.at(i).data, block() + i * length);
                    }
                    EXPECT_EQ(only_call().descs, block() + count * length);
                    EXPECT_TRUE(the_platform().logs.empty());
                }
            }
        }
    }
}

struct block_size {
    const char *message;
    std::uint32_t of_one; ///< record in a batch: its frame and its descriptor
};
constexpr block_size block_sizes[] = {
    {"srv6_vrf_class_data", 64},
    {"srv6_vrf_class_state", 64},
    {"srv6_class_item", 48},
    {"srv6_pid_state", 48},
    {"srv6_vrf_class_data_chg", 88},
    {"srv6_vrf_class_state_chg", 88},
    {"srv6_class_item_chg", 72},
    {"srv6_pid_state_chg", 72},
    {"srv6_cfg_query_trastat_rec_info", 14888},
    {"srv6_cfg_query_dfx_item", 16648},
};

TEST_F(send_fixed, batches_ask_for_these_sizes)
{
    for (const block_size &expected : block_sizes) {
        SCOPED_TRACE(expected.message);
        const message *m = &catalogue::find_message(expected.message)->data;
        ASSERT_NE(m, nullptr);
        sample in(*m, 5);
        for (std::uint32_t count : {1u, 2u, 5u}) {
            the_platform().forget_calls();
            EXPECT_EQ(functions_of(*m).sendbatch(1, in.record(), count, 0), 0u);
            EXPECT_EQ(the_platform().memory.at(0).size, count * expected.of_one);
        }
    }
}

std::uint64_t captured_descriptor[2];
std::uint64_t frame_address;

// The descriptor as the bus finds it in memory: the address, then one 64-bit word.
TEST_F(send_fixed, a_descriptor_is_two_64_bit_words)
{
    const message *m = &catalogue::find_message("srv6_vrf_class_data")->data;
    ASSERT_NE(m, nullptr);
    sample in(*m, 3);
    the_platform().on_send = [](const frame_desc *descs, std::uint32_t count) {
        std::memcpy(captured_descriptor, descs + (count - 1), sizeof captured_descriptor);
    };
    EXPECT_EQ(functions_of(*m).sendsingle(1, in.record(), 0, 0), 0u);
    frame_address = reinterpret_cast<std::uint64_t>(only_call().frames.at(0).data);
    EXPECT_EQ(captured_descriptor[0], frame_address);
    EXPECT_EQ(captured_descriptor[1], 0x00000030AEF44FB0u);

    the_platform().forget_calls();
    EXPECT_EQ(functions_of(*m).sendmsg(1, in.record(), 3), 0u);
    frame_address = reinterpret_cast<std::uint64_t>(block()) + 96;
    EXPECT_EQ(captured_descriptor[0], frame_address);
    EXPECT_EQ(captured_descriptor[1], 0x00000030AEF44FB0u);
}

TEST_F(send_fixed, no_memory)
{
    for (const known_message &m : messages_where(true)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2);
        const auto expect_refused = [&](auto &&send) {
            the_platform().forget_calls();
            the_platform().fail_allocation_at = 1;
            EXPECT_EQ(send(), not_sent);
            EXPECT_EQ(the_platform().memory.size(), 1u);
            expect_nothing_sent();
        };
        for (const std::uint64_t to : some_targets) {
            for (const batch_way &way : batch_ways)
                expect_refused([&] { return way.send(*m.info, in.record(), 2, to); });
            expect_refused([&] { return functions_of(*m.info).sendbatch(1, nullptr, 0, to); });
            if (!is_large(m))
                continue;
            for (const single_way &way : single_ways)
                expect_refused([&] { return way.send(*m.info, in.record(), to); });
        }
    }
}

} // namespace
} // namespace vorl::test
