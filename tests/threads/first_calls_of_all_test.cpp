// Sixteen threads, all messages: each message in turn is every thread's first call. VORL_THREAD_ROUNDS in the
// environment says how often; the library is unbound before each message of each round.
#include <gtest/gtest.h>

#include <barrier>
#include <deque>
#include <thread>

#include "tests/facts/counts.h"
#include "tests/support/bindings.h"
#include "tests/support/samples.h"
#include "tests/threads/lock_free_platform.h"

namespace vorl::test {
namespace {

constexpr std::uint32_t threads = 16;
constexpr std::size_t default_rounds = 8;

std::size_t rounds()
{
    const char *const asked = std::getenv("VORL_THREAD_ROUNDS");
    return asked == nullptr ? default_rounds : std::stoul(asked);
}

/// One thread's record of a message, and its packed bytes.
struct work {
    known_message message;
    sample in;
    std::vector<std::uint8_t> bytes;

    work(const known_message &m, std::uint32_t seed)
        : message(m), in(*m.info, 2, 1, seed), bytes(packed(*m.info, in.record()))
    {}
};

/// The frame that this thread sends next is of this record.
thread_local const void *being_sent = nullptr;
thread_local const known_message *sending = nullptr;
std::atomic<std::uint64_t> wrong = 0;

void note(bool good)
{
    if (!good)
        wrong.fetch_add(1, std::memory_order_relaxed);
}

void unpack_and_release(const known_message &m, const void *bytes, std::size_t size, const void *in)
{
    std::vector<std::uint64_t> out(m.fact->record_size / 8 + 1);
    note(functions_of(*m.info).unpack(bytes, static_cast<std::int32_t>(size), out.data()) ==
         m.fact->record_size);
    note(same_record(*m.info, in, out.data()));
    functions_of(*m.info).free_unpacked(out.data());
}

/// A receiver in the sender's thread, as a bus within one process has it.
void receive(const frame_desc &desc)
{
    unpack_and_release(*sending, desc.data, desc.length, being_sent);
    being_sent = static_cast<const char *>(being_sent) + sending->fact->record_size;
}

/// The steps of a thread; which one is first differs by thread and round.
constexpr std::size_t steps = 8;
void step(std::size_t which, work &w)
{
    const auto &f = functions_of(*w.message.info);
    sending = &w.message;
    being_sent = w.in.record();
    switch (which) {
    case 0: unpack_and_release(w.message, w.bytes.data(), w.bytes.size(), w.in.record()); break;
    case 1: note(packed(*w.message.info, w.in.record()) == w.bytes); break;
    case 2: note(f.sendbatch(1, w.in.record(), 2, 0) == 0); break;
    case 3: note(f.sendsingle(1, w.in.record(), 0, 7) == 0); break;
    case 4: note(f.sendmsg(1, w.in.record(), 1) == 0); break;
    case 5: note(f.sendtomsg(1, w.in.record(), 2, 7) == 0); break;
    case 6: note(f.unpack(nullptr, 0, nullptr) == w.message.fact->record_size); break;
    default: {
        std::uint32_t length = 70000;
        note(f.pack(w.in.record(), nullptr, &length) == 0 && length == w.bytes.size());
    }
    }
}

struct totals {
    std::uint64_t lookups, logs, frames, allocations;
};
totals now() { return {counted.lookups, counted.logs, counted.frames, counted.allocations}; }

TEST(sixteen_threads, make_the_first_call_of_every_message)
{
    const std::vector<known_message> all = all_messages();
    ASSERT_EQ(all.size(), counts::messages);
    on_frame = receive;
    std::vector<std::deque<work>> works(threads);
    for (std::uint32_t t = 0; t < threads; ++t) {
        for (const known_message &m : all)
            works[t].emplace_back(m, t + 1);
    }

    // Runs in one thread while the others wait, before the first message and after each.
    std::size_t turn = 0;
    std::uint64_t blocks_not_bound_once = 0;
    std::uint64_t lookups_before = 0;
    const auto between = [&]() noexcept {
        if (turn++ != 0) {
            // One package's two blocks, both bindings of each, three look-ups a binding.
            const std::uint64_t made = counted.lookups - lookups_before;
            blocks_not_bound_once += made == 2 * (3 + 3) ? 0 : 1;
        }
        forget_bindings();
        lookups_before = counted.lookups;
    };
    std::barrier gate(threads, between);
    const totals before = now();
    const auto run = [&](std::uint32_t t) {
        for (std::size_t round = 0; round < rounds(); ++round) {
            for (std::size_t i = 0; i < all.size(); ++i) {
                gate.arrive_and_wait();
                for (std::size_t s = 0; s < steps; ++s)
                    step((t + round + s) % steps, works[t][i]);
            }
        }
        gate.arrive_and_wait();
    };
    std::vector<std::thread> running;
    for (std::uint32_t t = 0; t < threads; ++t)
        running.emplace_back(run, t);
    for (std::thread &thread : running)
        thread.join();

    const std::uint64_t calls = threads * rounds() * counts::messages;
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(blocks_not_bound_once, 0u);
    EXPECT_EQ(turn, rounds() * counts::messages + 1);
    EXPECT_EQ(counted.logs - before.logs, calls * 2);
    EXPECT_EQ(counted.frames - before.frames, calls * 6);
    // Unpacking, once by itself and six times from the bus: a block a vector, of which one message of
    // variable size has two. Sending: two batches', and two singles' of those and of two long frames.
    constexpr std::uint64_t blocks_a_tour =
        7 * (counts::variable_size + 1) + 2 * (counts::messages + counts::variable_size + 2);
    EXPECT_EQ(counted.allocations - before.allocations, threads * rounds() * blocks_a_tour);
    EXPECT_EQ(counted.releases, counted.allocations);
    EXPECT_EQ(counted.foreign, 0u);
    RecordProperty("first_calls", std::to_string(calls));
}

} // namespace
} // namespace vorl::test
