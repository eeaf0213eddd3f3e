// Frames between processes, through the library's send functions and the bus.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include <sys/time.h>

#include "srv6.h"
#include "tests/facts/counts.h"
#include "tests/platform/processes.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

class exchange : public bus_test {};

/// A batch of variable size has 65536 bytes for its frames, so vectors of large elements have one.
sample sample_of(const vorl::message &message, std::uint32_t count, std::uint32_t seed)
{
    const bool is_large =
        std::any_of(message.slots.begin(), message.slots.end(), [](const vorl::slot &slot) {
            return slot.shape == slot_shape::table_vector && slot.nested->record_size > 4096;
        });
    return sample(message, count, is_large ? 1 : 2, seed);
}

struct expected_messages {
    std::vector<known_message> messages = all_messages();
    std::size_t came = 0;

    static constexpr std::size_t records_each = 4;

    /// Each message once alone, then three in a batch; the seed is the message's number.
    static void take(void *user, std::uint32_t msg_id, const void *record,
                     std::uint32_t record_size, const void *, std::uint32_t frame_length)
    {
        auto &expected = *static_cast<expected_messages *>(user);
        const std::size_t number = expected.came / records_each;
        const std::size_t position = expected.came % records_each;
        ++expected.came;
        ASSERT_LT(number, expected.messages.size());
        const vorl::message &message = *expected.messages[number].info;
        EXPECT_EQ(msg_id, message.msg_id) << name_of(message);
        EXPECT_EQ(record_size, message.record_size) << name_of(message);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record) % 8, 0U) << name_of(message);
        if (is_fixed_size(message)) {
            EXPECT_EQ(frame_length, catalogue::frame_length(message)) << name_of(message);
        }
        const auto seed = static_cast<std::uint32_t>(number);
        sample sent =
            position == 0 ? sample_of(message, 1, seed) : sample_of(message, 3, seed + 1000);
        EXPECT_TRUE(same_record(message, record, sent.record(position == 0 ? 0 : position - 1)))
            << name_of(message) << ", record " << position;
    }
};

TEST_F(exchange, all_types_arrive_alone_and_in_batches)
{
    expected_messages expected;
    ASSERT_EQ(expected.messages.size(), counts::messages);
    constexpr std::size_t records = 4 * counts::messages;
    channel opened;
    child sender([&] {
        opened.get();
        for (std::size_t i = 0; i < expected.messages.size(); ++i) {
            const vorl::message &message = *expected.messages[i].info;
            const auto seed = static_cast<std::uint32_t>(i);
            sample one = sample_of(message, 1, seed);
            EXPECT_EQ(functions_of(message).sendmsg(7, one.record(), 1), 0U) << name_of(message);
            sample three = sample_of(message, 3, seed + 1000);
            EXPECT_EQ(functions_of(message).sendtomsg(8, three.record(), 3, 7), 0U)
                << name_of(message);
        }
    });
    register_all();
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen(7, 0);
    ASSERT_NE(receiver, nullptr);
    opened.put(1);
    while (expected.came < records &&
           VORL_DevReceive(receiver, 30'000, expected_messages::take, &expected) != 0) {
    }
    EXPECT_TRUE(sender.succeeds());
    EXPECT_EQ(expected.came, records);
    vorl_dev_counters counters;
    VORL_DevCounters(receiver, &counters);
    EXPECT_EQ(counters.accepted, records);
    EXPECT_EQ(counters.delivered, records);
    EXPECT_EQ(counters.unknown, 0U);
    EXPECT_EQ(counters.cut_short, 0U);
    VORL_DevReceiverClose(receiver, expected_messages::take, &expected);
    EXPECT_EQ(expected.came, records);
}

TEST_F(exchange, explicit_target_is_the_low_half_of_the_handle)
{
    item_receiver eight(8), nine(9);
    EXPECT_TRUE(in_child([] {
        const srv6_class_item item = {0, 5, 0xC3};
        EXPECT_EQ(srv6_class_item__sendtomsg(8, &item, 1, 0xABCD00000009), 0U);
        EXPECT_EQ(srv6_class_item__sendsingle(8, &item, 0, 9), 0U);
        EXPECT_EQ(srv6_class_item__sendsingle(8, &item, 0, 0), 0U);
        EXPECT_EQ(srv6_class_item__sendtomsg(8, &item, 1, 10), std::uint32_t{VORL_DEV_NO_PEER});
    }));
    EXPECT_EQ(eight.counters().accepted, 1U);
    EXPECT_EQ(nine.counters().accepted, 2U);
}

TEST_F(exchange, accepted_means_in_the_receivers_memory)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 5), 0U); }));
    EXPECT_EQ(receiver.counters().accepted, 5U);
    EXPECT_EQ(receiver.counters().delivered, 0U);
    // The sender is gone; nothing more has to come from it.
    ASSERT_TRUE(receiver.receive(5));
    EXPECT_EQ(receiver.items_of(0), numbers_to(5));
    EXPECT_EQ(receiver.counters().delivered, 5U);
}

TEST_F(exchange, receiving_ends_when_the_time_has_passed)
{
    item_receiver receiver(7);
    EXPECT_EQ(VORL_DevReceive(receiver.get(), 0, nullptr, nullptr), 0U);
    EXPECT_EQ(VORL_DevReceive(receiver.get(), 10, nullptr, nullptr), 0U);
}

TEST_F(exchange, receiving_returns_the_number_delivered_and_needs_no_handler)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_items(7, 0, 0, 3), 0U);
        EXPECT_EQ(send_items(7, 0, 3, 2), 0U);
    }));
    EXPECT_EQ(VORL_DevReceive(receiver.get(), -1, nullptr, nullptr), 5U);
    EXPECT_EQ(receiver.counters().delivered, 5U);
}

TEST_F(exchange, four_processes_send_a_thousand_frames_each)
{
    channel opened;
    const auto send_thousand = [&opened](std::uint32_t sender) {
        opened.get();
        for (std::uint32_t sent = 0; sent < 1000; sent += 10) {
            // One by one and in batches, by turns.
            for (std::uint32_t i = 0; i < 5; ++i)
                EXPECT_EQ(send_items_patiently(7, sender, sent + i, 1), 0U);
            EXPECT_EQ(send_items_patiently(7, sender, sent + 5, 5), 0U);
        }
    };
    child a([&] { send_thousand(1); });
    child b([&] { send_thousand(2); });
    child c([&] { send_thousand(3); });
    child d([&] { send_thousand(4); });
    // Small enough to be full at times.
    item_receiver receiver(7, 100 * item_frame_length);
    for (int i = 0; i < 4; ++i)
        opened.put(1);
    EXPECT_TRUE(receiver.receive(4000));
    for (child *sender : {&a, &b, &c, &d})
        EXPECT_TRUE(sender->succeeds());
    receiver.close();
    EXPECT_EQ(receiver.size(), 4000U);
    for (const std::uint32_t sender : {1U, 2U, 3U, 4U})
        EXPECT_EQ(receiver.items_of(sender), numbers_to(1000)) << sender;
}

TEST_F(exchange, threads_share_a_destination)
{
    channel opened;
    child sender([&] {
        opened.get();
        std::vector<std::thread> threads;
        for (std::uint32_t t = 0; t < 4; ++t) {
            threads.emplace_back([t] {
                for (std::uint32_t i = 0; i < 200; ++i)
                    EXPECT_EQ(send_items(7, t, i, 1), 0U);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
    });
    item_receiver receiver(7);
    opened.put(1);
    EXPECT_TRUE(receiver.receive(800));
    EXPECT_TRUE(sender.succeeds());
    for (const std::uint32_t thread : {0U, 1U, 2U, 3U})
        EXPECT_EQ(receiver.items_of(thread), numbers_to(200));
}

TEST_F(exchange, a_forked_sender_uses_a_connection_of_its_own)
{
    channel opened;
    child receiving([&] {
        item_receiver receiver(7);
        opened.put(1);
        EXPECT_TRUE(receiver.receive(601));
        EXPECT_EQ(receiver.items_of(0), numbers_to(301));
        EXPECT_EQ(receiver.items_of(1), numbers_to(300));
    });
    opened.get();
    ASSERT_EQ(send_items(7, 0, 0, 1), 0U); // connects
    child forked([] {
        for (std::uint32_t i = 0; i < 300; ++i)
            EXPECT_EQ(send_items(7, 1, i, 1), 0U);
    });
    for (std::uint32_t i = 1; i <= 300; ++i)
        EXPECT_EQ(send_items(7, 0, i, 1), 0U);
    EXPECT_TRUE(forked.succeeds());
    EXPECT_TRUE(receiving.succeeds());
}

TEST_F(exchange, a_handler_may_send_to_its_own_destination)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), 0U); }));
    const auto send_on = [](void *, std::uint32_t, const void *, std::uint32_t, const void *,
                            std::uint32_t) { EXPECT_EQ(send_items(7, 0, 1, 1), 0U); };
    EXPECT_EQ(VORL_DevReceive(receiver.get(), -1, send_on, nullptr), 1U);
    ASSERT_TRUE(receiver.receive(1));
    EXPECT_EQ(receiver.items_of(0), std::vector<std::uint32_t>{1});
}

TEST_F(exchange, signals_interrupt_nothing)
{
    channel opened;
    child sender([&] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval every = {{0, 500}, {0, 500}};
        opened.get();
        setitimer(ITIMER_REAL, &every, nullptr);
        std::vector<std::uint8_t> frame = item_frame(0);
        frame.resize(8 << 20);
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(send_frame(7, item_id, frame), 0U);
    });
    item_receiver receiver(7);
    opened.put(1);
    EXPECT_TRUE(receiver.receive(6));
    EXPECT_TRUE(sender.succeeds());
    EXPECT_EQ(receiver.counters().accepted, 6U);
}

} // namespace
} // namespace vorl::test
