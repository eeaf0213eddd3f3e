// A tapped process that is killed at a thousand moments: whatever was committed is in its ring, whole.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <random>
#include <thread>

#include "capture/ring_read.h"
#include "tests/capture/numbered.h"
#include "tests/support/run.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

namespace {

constexpr unsigned most_threads = 4;

class killed : public ::testing::Test {
  protected:
    using counts = std::array<std::uint64_t, most_threads>;

    killed()
    {
        const int file = open(shared_.c_str(), O_RDWR | O_CREAT, 0600);
        EXPECT_EQ(ftruncate(file, 4096), 0);
        returned_ = static_cast<std::atomic<std::uint64_t> *>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        close(file);
    }
    ~killed() override { munmap(returned_, 4096); }

    /// Runs it, and kills it so long after its start, or after its first send.
    counts run_and_kill(unsigned threads, const std::string &ring_bytes, bool after_a_send,
                        std::chrono::microseconds wait)
    {
        for (unsigned t = 0; t < most_threads; ++t)
            returned_[t] = 0;
        std::filesystem::remove_all(rings_);
        const std::string number = std::to_string(threads);
        std::vector<std::string> environment = {
            "LD_PRELOAD=" VORL_TEST_TAP, "VORL_TAP_DIR=" + rings_, "VORL_TAP_BYTES=" + ring_bytes};
        std::vector<char *> variables;
        for (std::string &variable : environment)
            variables.push_back(variable.data());
        variables.push_back(nullptr);
        std::array<const char *, 5> arguments = {VORL_TEST_TAPPED, "for_ever", shared_.c_str(),
                                                 number.c_str(), nullptr};
        pid_t child = 0;
        EXPECT_EQ(posix_spawn(&child, VORL_TEST_TAPPED, nullptr, nullptr,
                              const_cast<char *const *>(arguments.data()), variables.data()),
                  0);
        while (after_a_send && returned_[0] == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        std::this_thread::sleep_for(wait);
        EXPECT_EQ(kill(child, SIGKILL), 0);
        int ended = 0;
        EXPECT_EQ(waitpid(child, &ended, 0), child);
        EXPECT_TRUE(WIFSIGNALED(ended) && WTERMSIG(ended) == SIGKILL);
        counts all{};
        for (unsigned t = 0; t < most_threads; ++t)
            all[t] = returned_[t];
        return all;
    }

    /// Holds the ring to what the process did.
    void check(const counts &returned, bool may_be_overwritten)
    {
        const std::vector<std::string> rings =
            std::filesystem::exists(rings_) ? rings_in(rings_) : std::vector<std::string>{};
        if (returned == counts{} && rings.empty())
            return;
        ASSERT_EQ(rings.size(), 1U);
        std::unique_ptr<ring_reader> ring;
        try {
            ring = std::make_unique<ring_reader>(rings[0]);
        } catch (const capture_error &error) {
            // Killed while it was made.
            EXPECT_EQ(returned, counts{}) << error.what();
            return;
        }
        EXPECT_FALSE(ring->facts().is_running);
        std::array<std::uint64_t, most_threads> next{};
        std::array<bool, most_threads> has_begun{};
        frame f;
        std::uint64_t found = 0;
        for (std::uint64_t at = ring->oldest(); ring->next(at, ring->facts().head, f);) {
            ++found;
            ASSERT_GE(f.kept.size(), 16U);
            const std::uint32_t thread = f.facts.identifier - 0x1000;
            ASSERT_LT(thread, most_threads);
            std::uint64_t number = 0;
            std::memcpy(&number, f.kept.data() + 8, 8);
            ASSERT_TRUE(f.kept == numbered_frame(thread, number)) << thread << ' ' << number;
            if (has_begun[thread] || !may_be_overwritten) {
                ASSERT_EQ(number, next[thread]) << thread;
            }
            has_begun[thread] = true;
            next[thread] = number + 1;
        }
        for (unsigned t = 0; t < most_threads; ++t) {
            EXPECT_GE(next[t], returned[t]) << t;
            EXPECT_LE(next[t], returned[t] + 1) << t;
        }
        if (!may_be_overwritten) {
            EXPECT_LE(found, ring->facts().seen);
            EXPECT_LE(ring->facts().seen, found + most_threads);
        }
        frames_ += found;
    }

    scratch_directory directory_;
    const std::string shared_ = directory_.path() / "returned";
    const std::string rings_ = directory_.path() / "rings";
    std::atomic<std::uint64_t> *returned_ = nullptr;
    std::mt19937 random_{std::random_device{}()};
    std::uint64_t frames_ = 0;
};

} // namespace

TEST_F(killed, at_five_hundred_moments_by_four_threads)
{
    std::uniform_int_distribution<int> microseconds(0, 3000);
    for (int i = 0; i < 500; ++i) {
        const counts returned = run_and_kill(4, "67108864", i % 5 != 0,
                                             std::chrono::microseconds(microseconds(random_)));
        ASSERT_NO_FATAL_FAILURE(check(returned, false));
    }
    EXPECT_GT(frames_, 0U);
}

// Its ring is so small that it comes round many times.
TEST_F(killed, at_five_hundred_moments_in_a_ring_that_is_overwritten)
{
    std::uniform_int_distribution<int> microseconds(0, 3000);
    for (int i = 0; i < 500; ++i) {
        const counts returned =
            run_and_kill(1, "65536", i % 5 != 0, std::chrono::microseconds(microseconds(random_)));
        ASSERT_NO_FATAL_FAILURE(check(returned, true));
    }
    EXPECT_GT(frames_, 0U);
}
