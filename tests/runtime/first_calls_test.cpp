// First calls made by several threads at once: one of them binds, all of them proceed bound.
#include "tests/runtime/blocks.h"

#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/facts/counts.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

using first_calls = unbound_library;

/// Runs `call` in two threads at once, 1,000 times, each time in an unbound library; `check` looks
/// at what happened.
void race(const std::function<void(int thread)> &call, const std::function<void()> &check)
{
    constexpr int rounds = 1000;
    std::barrier start(2);
    std::barrier end(2);
    const auto run = [&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            if (thread == 0) {
                forget_bindings();
                reset_platform();
                // Long enough for the other thread to find the block unbound and wait for it.
                the_platform().on_lookup = [] {
                    std::this_thread::sleep_for(std::chrono::microseconds(50));
                };
            }
            start.arrive_and_wait();
            call(thread);
            end.arrive_and_wait();
            if (thread == 0)
                check();
        }
    };
    std::thread other(run, 1);
    run(0);
    other.join();
}

TEST_F(first_calls, of_two_threads_bind_the_log_once)
{
    const catalogue::message_info *m = catalogue::find_message("srv6_vrf_class_data");
    ASSERT_NE(m, nullptr);
    race([m](int) { m->functions.unpack(nullptr, 0, nullptr); },
         [] {
             ASSERT_EQ(the_platform().lookups, binding_a);
             ASSERT_EQ(the_platform().logs.size(), 2u);
             ASSERT_EQ(receive_block(0).services_bound, 1u);
         });
}

TEST_F(first_calls, of_two_threads_bind_the_main_allocator_once)
{
    const catalogue::message_info *m = catalogue::find_message("srv6_cfg_query_comm_param");
    ASSERT_NE(m, nullptr);
    race([m](int) { m->functions.sendbatch(1, nullptr, 0, 0); },
         [] {
             ASSERT_EQ(the_platform().lookups, binding_a);
             ASSERT_EQ(the_platform().sends.size(), 2u);
             ASSERT_EQ(the_platform().memory.size(), 4u);
             ASSERT_EQ(the_platform().live_blocks, 0u);
         });
}

TEST_F(first_calls, of_two_threads_bind_the_cache_once)
{
    const catalogue::message_info *m = catalogue::find_message("srv6_common_fwd_update");
    ASSERT_NE(m, nullptr);
    sample in(*m);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    const auto length = static_cast<std::int32_t>(bytes.size());
    std::vector<std::uint8_t> out[2] = {std::vector<std::uint8_t>(16),
                                        std::vector<std::uint8_t>(16)};
    race([&](int thread) { m->functions.unpack(bytes.data(), length, out[thread].data()); },
         [&] {
             ASSERT_EQ(the_platform().lookups, binding_b);
             ASSERT_EQ(the_platform().use_flag_arguments, std::vector<std::uint32_t>{12});
             ASSERT_EQ(the_platform().memory.size(), 2u);
             for (auto &record : out) {
                 ASSERT_TRUE(same_record(*m, in.record(), record.data()));
                 m->functions.free_unpacked(record.data());
             }
             ASSERT_EQ(the_platform().live_blocks, 0u);
             ASSERT_EQ(the_platform().lookups, binding_b);
         });
}

TEST_F(first_calls, of_two_threads_on_two_sides_bind_both_sides)
{
    const catalogue::message_info *m = catalogue::find_message("srv6_sync_bsid_fwd");
    ASSERT_NE(m, nullptr);
    sample in(*m);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    std::vector<std::uint8_t> out(m->record_size);
    race(
        [&](int thread) {
            if (thread == 0)
                m->functions.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                    out.data());
            else
                m->functions.sendsingle(1, in.record(), 0, 0);
        },
        [&] {
            ASSERT_EQ(the_platform().lookups.size(), 6u);
            ASSERT_EQ(receive_block(2).cache_bound, 1u);
            ASSERT_EQ(send_block(2).cache_bound, 1u);
            ASSERT_TRUE(same_record(*m, in.record(), out.data()));
        });
}

TEST_F(first_calls, of_sixteen_threads_through_all_messages_bind_each_block_once)
{
    std::barrier start(16);
    std::atomic<int> wrong = 0;
    const auto tour = [&](std::uint32_t thread) {
        start.arrive_and_wait();
        for (const known_message &m : all_messages()) {
            const auto &f = m.info->functions;
            sample in(*m.info, 2, 1, thread + 1);
            const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
            std::vector<std::uint8_t> out(m.fact->record_size);
            f.unpack(nullptr, 0, nullptr);
            const std::uint32_t size =
                f.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
            const bool good =
                size == m.fact->record_size && same_record(*m.info, in.record(), out.data()) &&
                f.sendbatch(1, in.record(), 2, 0) == 0 && f.sendsingle(1, in.record(), 0, 3) == 0 &&
                f.sendmsg(1, in.record(), 1) == 0 && f.sendtomsg(1, in.record(), 2, 3) == 0;
            f.free_unpacked(out.data());
            wrong += good ? 0 : 1;
        }
    };
    the_platform().keep_frames = false;
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < 16; ++i)
        threads.emplace_back(tour, i);
    for (std::thread &thread : threads)
        thread.join();

    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(the_platform().lookups.size(), 6u * (3 + 3));
    EXPECT_EQ(the_platform().use_flag_arguments, std::vector<std::uint32_t>(6, 12));
    EXPECT_EQ(the_platform().logs.size(), 16 * counts::messages);
    EXPECT_EQ(the_platform().sends.size(), 16 * counts::messages * 4);
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

} // namespace
} // namespace vorl::test
