// First calls made by two threads at once: one of them binds, both proceed bound. Sixteen threads
// and all messages are in tests/threads.
#include "tests/runtime/blocks.h"

#include <barrier>
#include <chrono>
#include <functional>
#include <thread>

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
    const message *m = &catalogue::find_message("srv6_vrf_class_data")->data;
    ASSERT_NE(m, nullptr);
    race([m](int) { functions_of(*m).unpack(nullptr, 0, nullptr); },
         [] {
             ASSERT_EQ(the_platform().lookups, binding_a);
             ASSERT_EQ(the_platform().logs.size(), 2u);
             ASSERT_EQ(receive_block(0).services_bound, 1u);
         });
}

TEST_F(first_calls, of_two_threads_bind_the_main_allocator_once)
{
    const message *m = &catalogue::find_message("srv6_cfg_query_comm_param")->data;
    ASSERT_NE(m, nullptr);
    race([m](int) { functions_of(*m).sendbatch(1, nullptr, 0, 0); },
         [] {
             ASSERT_EQ(the_platform().lookups, binding_a);
             ASSERT_EQ(the_platform().sends.size(), 2u);
             ASSERT_EQ(the_platform().memory.size(), 4u);
             ASSERT_EQ(the_platform().live_blocks, 0u);
         });
}

TEST_F(first_calls, of_two_threads_bind_the_cache_once)
{
    const message *m = &catalogue::find_message("srv6_common_fwd_update")->data;
    ASSERT_NE(m, nullptr);
    sample in(*m);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    const auto length = static_cast<std::int32_t>(bytes.size());
    std::vector<std::uint8_t> out[2] = {std::vector<std::uint8_t>(16),
                                        std::vector<std::uint8_t>(16)};
    race([&](int thread) { functions_of(*m).unpack(bytes.data(), length, out[thread].data()); },
         [&] {
             ASSERT_EQ(the_platform().lookups, binding_b);
             ASSERT_EQ(the_platform().use_flag_arguments, std::vector<std::uint32_t>{12});
             ASSERT_EQ(the_platform().memory.size(), 2u);
             for (auto &record : out) {
                 ASSERT_TRUE(same_record(*m, in.record(), record.data()));
                 functions_of(*m).free_unpacked(record.data());
             }
             ASSERT_EQ(the_platform().live_blocks, 0u);
             ASSERT_EQ(the_platform().lookups, binding_b);
         });
}

TEST_F(first_calls, of_two_threads_on_two_sides_bind_both_sides)
{
    const message *m = &catalogue::find_message("srv6_sync_bsid_fwd")->data;
    ASSERT_NE(m, nullptr);
    sample in(*m);
    const std::vector<std::uint8_t> bytes = packed(*m, in.record());
    std::vector<std::uint8_t> out(m->record_size);
    race(
        [&](int thread) {
            if (thread == 0)
                functions_of(*m).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                        out.data());
            else
                functions_of(*m).sendsingle(1, in.record(), 0, 0);
        },
        [&] {
            ASSERT_EQ(the_platform().lookups.size(), 6u);
            ASSERT_EQ(receive_block(2).cache_bound, 1u);
            ASSERT_EQ(send_block(2).cache_bound, 1u);
            ASSERT_TRUE(same_record(*m, in.record(), out.data()));
        });
}

} // namespace
} // namespace vorl::test
