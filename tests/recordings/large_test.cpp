// Two million frames, in bounded memory.
#include <chrono>
#include <fstream>
#include <functional>

#include "inspect/integers.h"
#include "tests/recordings/recordings.h"

using namespace vorl;
using namespace vorl::test;

namespace {

constexpr std::uint64_t frames = 2'000'000;
constexpr long most_kib = 96 * 1024;

class large : public recordings {
  protected:
    using fill = std::function<void(std::uint64_t, capture::frame &)>;

    /// A capture of that many frames, each made of the one before.
    void make(const std::string &name, std::uint64_t count, const capture::frame &first,
              const fill &change) const
    {
        std::ofstream out(directory.path() / name, std::ios::binary);
        capture::pcapng_writer to(
            [&out](std::span<const std::uint8_t> block) {
                out.write(reinterpret_cast<const char *>(block.data()),
                          static_cast<std::streamsize>(block.size()));
            },
            "vorl test");
        const std::uint32_t from = to.add_interface({4711, "sender"});
        capture::frame f = first;
        for (std::uint64_t i = 0; i < count; ++i) {
            f.facts.number = i;
            f.facts.time += 1000;
            store_integer(f.kept.data() + 8, i, 4); // f0
            change(i, f);
            to.add(from, f);
        }
    }

    /// The highest resident memory of the command in KiB; what it said is in `done`.
    long peak_of(const std::string &command, int status)
    {
        done = shell(command + " >out 2>err & while kill -0 $! 2>/dev/null; do sed -n "
                               "'s/^VmHWM:[[:space:]]*\\([0-9]*\\) kB/\\1/p' /proc/$!/status "
                               ">now 2>/dev/null; [ -s now ] && cp now peak; sleep 0.1; done; wait "
                               "$!; echo $?; cat peak");
        const std::vector<std::string> said = lines_of(done.out);
        if (said.size() != 2) {
            ADD_FAILURE() << done.out << done.err;
            return -1;
        }
        EXPECT_EQ(said[0], std::to_string(status)) << text_of("err");
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
        std::printf("%s: %s KiB, %.1f seconds\n", command.c_str(), said[1].c_str(), seconds);
        return std::stol(said[1]);
    }
    void start() { start_ = std::chrono::steady_clock::now(); }

    static void nothing(std::uint64_t, capture::frame &) {}

    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    const capture::frame item = sent(0, R"({"message":"srv6_class_item"})");
};

} // namespace

TEST_F(large, equal_captures_are_compared_and_replayed)
{
    make("a", frames, item, nothing);
    start();
    EXPECT_LE(peak_of("vorl diff a a", 0), most_kib);
    EXPECT_EQ(text_of("err"),
              "vorl diff: 2000000 compared, 0 different, 0 only in a, 0 only in a\n");
    start();
    EXPECT_LE(peak_of("vorl replay --fast --dry-run --message srv6_localsid_fwd a", 0), most_kib);
    EXPECT_EQ(text_of("err"),
              "vorl replay: 2000000 frames read, 0 would be sent in 0 sends, 2000000 "
              "left out, 0 refused\n");
    start();
    EXPECT_LE(peak_of("vorl replay --fast --dry-run a", 0), most_kib);
    EXPECT_EQ(
        text_of("err"),
        "vorl replay: 2000000 frames read, 2000000 would be sent in 2000000 sends, 0 refused\n");
}

// All of one message before all of the other, and the other way round: what waits is most of it.
TEST_F(large, any_order_of_messages_takes_no_more_memory)
{
    const std::uint32_t other = message_named("srv6_vrf_class_state").msg_id;
    make("a", frames, item, [&](std::uint64_t i, capture::frame &f) {
        f.facts.identifier = i < frames / 2 ? item.facts.identifier : other;
        store_integer(f.kept.data() + 8, i % (frames / 2), 4);
    });
    make("b", frames, item, [&](std::uint64_t i, capture::frame &f) {
        f.facts.identifier = i < frames / 2 ? other : item.facts.identifier;
        store_integer(f.kept.data() + 8, i % (frames / 2), 4);
    });
    start();
    EXPECT_LE(peak_of("vorl diff a b", 0), most_kib);
    EXPECT_EQ(text_of("err"),
              "vorl diff: 2000000 compared, 0 different, 0 only in a, 0 only in b\n");
}

// With a key, 100,000 frames of 32 bytes wait at a time, and each takes its bytes and 400 more.
TEST_F(large, with_keys_memory_is_of_the_frames_that_wait)
{
    constexpr std::uint64_t apart = 100'000;
    make("a", frames, item, nothing);
    make("b", frames, item, [](std::uint64_t i, capture::frame &f) {
        // The last of each group first.
        store_integer(f.kept.data() + 8, i / apart * apart + (apart - 1 - i % apart), 4);
    });
    start();
    const long peak = peak_of("vorl diff --key srv6_class_item=f0 a b", 0);
    EXPECT_LE(peak, static_cast<long>(16 * 1024 + apart * (32 + 400) / 1024));
    EXPECT_EQ(text_of("err"),
              "vorl diff: 2000000 compared, 0 different, 0 only in a, 0 only in b\n");
}
