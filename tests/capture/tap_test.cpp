// The tap in processes of their own: what they see of it, and what it leaves.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "capture/ring_read.h"
#include "inspect/hex.h"
#include "tests/support/run.h"

using namespace vorl;
using namespace vorl::test;
using namespace vorl::capture;

namespace {

class tap : public ::testing::Test {
  protected:
    tap() { setenv("VORL_TAP_DIR", rings_.c_str(), 1); }

    outcome shell(const std::string &command) const
    {
        return run(directory.path(), "PATH='" VORL_TEST_PROGRAMS "':\"$PATH\"; " + command);
    }
    /// Runs a tapped program, with more in its environment.
    outcome tapped(const std::string &arguments, const std::string &environment = "") const
    {
        return shell(environment + " LD_PRELOAD='" VORL_TEST_TAP "' '" VORL_TEST_TAPPED "' " +
                     arguments);
    }
    /// The frames of all rings, in the order of their files and of recording.
    std::vector<frame> frames() const
    {
        std::vector<frame> all;
        for (const std::string &name : rings_in(rings_)) {
            ring_reader ring(name);
            frame f;
            for (std::uint64_t at = ring.oldest(); ring.next(at, ring.facts().head, f);)
                all.push_back(f);
        }
        return all;
    }
    ring_facts only_ring() const
    {
        const std::vector<std::string> rings = rings_in(rings_);
        EXPECT_EQ(rings.size(), 1U);
        return ring_reader(rings.at(0)).facts();
    }
    /// One that sends to 7 and to 8 every millisecond, until it is over.
    class running_program {
      public:
        explicit running_program(const tap &of) : go_(of.directory.path() / "go")
        {
            write(go_, "");
            thread_ = std::thread(
                [&of, this] { EXPECT_EQ(of.tapped("slowly '" + go_.string() + "'").status, 0); });
        }
        ~running_program() { end(); }
        running_program(const running_program &) = delete;
        running_program &operator=(const running_program &) = delete;
        void end()
        {
            std::error_code ignored;
            std::filesystem::remove(go_, ignored);
            if (thread_.joinable())
                thread_.join();
        }

      private:
        fs::path go_;
        std::thread thread_;
    };

    scratch_directory directory;
    const std::string rings_ = directory.path() / "rings";
};

std::string shown(const frame &f)
{
    return std::to_string(f.facts.destination) + ' ' + std::to_string(f.facts.handle) + ' ' +
           std::to_string(f.facts.result) + ' ' + std::to_string(f.facts.known) + ' ' +
           std::to_string(f.facts.index) + '/' + std::to_string(f.facts.of_send) + ' ' +
           identifier_text(f.facts.identifier) + ' ' + std::to_string(f.facts.length) + ' ' +
           to_hex(f.kept.data(), f.kept.size());
}

} // namespace

// The program looks at results and errno itself.
TEST_F(tap, changes_nothing_of_a_send_and_records_each_frame)
{
    const outcome done = tapped("all_ways");
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.err, "");
    std::vector<std::string> found;
    for (const frame &f : frames()) {
        EXPECT_EQ(f.facts.way, direction::sent);
        EXPECT_EQ(f.facts.process, f.facts.thread);
        found.push_back(shown(f));
    }
    EXPECT_EQ(found, (std::vector<std::string>{
                         "0 0 0 13 0/2 0x00001000 3 010203",
                         "0 0 0 13 1/2 0x00002000 2 0405",
                         "9 0 9 13 0/1 0x00001000 3 010203",
                         "1 21474836482 3 15 0/2 0x00001000 3 010203",
                         "1 21474836482 3 15 1/2 0x00002000 2 0405",
                         "5 0 5 13 0/1 0x00003000 10 ",
                         "6 0 6 13 0/2 0x00001000 3 010203",
                         "6 0 6 13 1/2 0x00002000 2 0405",
                     }));
}

TEST_F(tap, knows_the_message_of_what_is_received)
{
    const outcome done = tapped("receive 3");
    EXPECT_EQ(done.status, 0) << done.err;
    const std::vector<frame> found = frames();
    ASSERT_EQ(found.size(), 4U);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(shown(found[i]), "0 0 0 8 0/1 0x0000100" + std::to_string(i) + " 3 010203");
    EXPECT_EQ(shown(found[3]), "0 0 0 8 0/1 0x00001000 0 ");
    EXPECT_EQ(found[0].facts.way, direction::received);
    EXPECT_EQ(only_ring().wrapped, 3U);
    EXPECT_EQ(only_ring().unwrapped, 0U);
    EXPECT_EQ(only_ring().names.size(), 3U);
}

TEST_F(tap, has_room_for_1024_hooks_and_passes_others_as_they_are)
{
    const outcome done = tapped("receive 1030");
    EXPECT_EQ(done.status, 0) << done.err;
    const std::vector<frame> found = frames();
    ASSERT_EQ(found.size(), 1025U);
    for (std::uint32_t i = 0; i < 1024; ++i)
        EXPECT_EQ(found[i].facts.identifier, 0x1000 + i);
    EXPECT_EQ(only_ring().wrapped, 1024U);
    EXPECT_EQ(only_ring().unwrapped, 12U); // six, in each of two rounds
    EXPECT_NE(shell("vorl tap status").out.find("1024 hooks, 12 not wrapped"), std::string::npos);
}

TEST_F(tap, gives_a_forked_child_a_ring_of_its_own)
{
    const outcome done = tapped("fork");
    EXPECT_EQ(done.status, 0) << done.err;
    const auto child = static_cast<std::uint32_t>(std::stoul(done.out));
    ASSERT_EQ(rings_in(rings_).size(), 2U);
    std::string of_child, of_parent;
    for (const frame &f : frames()) {
        EXPECT_EQ(f.facts.process, f.facts.thread);
        (f.facts.process == child ? of_child : of_parent) += to_hex(f.kept.data(), f.kept.size());
    }
    EXPECT_EQ(of_child, "0203");
    EXPECT_EQ(of_parent, "0104");
}

TEST_F(tap, keeps_the_last_frames_and_counts_the_others)
{
    EXPECT_EQ(tapped("some 1000 64", "VORL_TAP_BYTES=70000").status, 0); // 65536: a power of two
    EXPECT_EQ(frames().size(), 512U);
    EXPECT_EQ(only_ring().seen, 1000U);
    const outcome exported = shell("vorl tap export --json");
    EXPECT_EQ(exported.err,
              "vorl tap: 1 processes: 1000 frames seen, 488 overwritten, 0 dropped, 512 given\n");
    EXPECT_NE(exported.out.find("\"counters\":{\"seen\":1000,\"overwritten\":488,\"dropped\":0,"
                                "\"given\":512}}\n"),
              std::string::npos);
    EXPECT_NE(exported.out.find("\"lost_before\":488,"), std::string::npos);
}

TEST_F(tap, makes_files_that_are_the_users_alone)
{
    tapped("some 1 1");
    EXPECT_EQ(shell("stat -c %a rings rings/*.ring").out, "700\n600\n");
    EXPECT_EQ(shell("stat -c %s rings/*.ring").out, "16842752\n");
    // All of its blocks are there: 512 bytes each.
    EXPECT_GE(std::stoul(shell("stat -c %b rings/*.ring").out), 16842752U / 512);
}

TEST_F(tap, leaves_a_process_alone_that_it_has_no_ring_for)
{
    const std::string program = "vorl-tap: process ";
    const auto err_of = [this](const std::string &environment) {
        const outcome done = tapped("all_ways", environment);
        EXPECT_EQ(done.status, 0) << done.err;
        const std::size_t at = done.err.find(": ", 10); // behind the process's number
        return at == std::string::npos ? done.err : done.err.substr(at + 2);
    };
    EXPECT_EQ(err_of("VORL_TAP_BYTES=65535"),
              "VORL_TAP_BYTES is no number from 65536 to 4294967296; nothing is recorded\n");
    EXPECT_EQ(err_of("VORL_TAP_TOTAL_BYTES=many"),
              "VORL_TAP_TOTAL_BYTES is no number; nothing is recorded\n");
    EXPECT_EQ(err_of("VORL_TAP_TOTAL_BYTES=1000000"),
              "no ring in " + rings_ +
                  ": with it the rings there would pass VORL_TAP_TOTAL_BYTES; 'vorl tap clean' "
                  "removes those of processes that have ended\n");
    EXPECT_NE(err_of("VORL_TAP_DIR=/proc/nowhere").find("cannot be used"), std::string::npos);
    // A larger file would end the process by a signal.
    EXPECT_NE(err_of("ulimit -f 1000;").find("File too large"), std::string::npos);
    EXPECT_TRUE(rings_in(rings_).empty());
}

TEST_F(tap, is_switched_while_the_process_runs)
{
    running_program running(*this);
    while (shell("vorl tap status").out.find(" on: ") == std::string::npos)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const auto newest = [this] {
        // What was recorded in a tenth of a second from now.
        const std::uint64_t before = only_ring().seen;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::vector<frame> all = frames();
        std::erase_if(all, [before](const frame &f) { return f.facts.number < before; });
        std::string messages;
        for (const char *message : {"0x00001000", "0x00002000"}) {
            for (const frame &f : all) {
                if (identifier_text(f.facts.identifier) == message) {
                    messages += message;
                    break;
                }
            }
        }
        return messages;
    };
    EXPECT_EQ(newest(), "0x000010000x00002000");
    EXPECT_EQ(shell("vorl tap off").out, "off: 1 processes, and those to come\n");
    EXPECT_EQ(newest(), "");
    EXPECT_NE(shell("vorl tap status").out.find(" off: "), std::string::npos);
    EXPECT_EQ(shell("vorl tap on --message 0x2000").out, "on: 1 processes, and those to come\n");
    EXPECT_EQ(newest(), "0x00002000");
    shell("vorl tap on --destination 7");
    EXPECT_EQ(newest(), "0x00001000");
    shell("vorl tap on --destination 7 --message 0x2000");
    EXPECT_EQ(newest(), "");
    shell("vorl tap on");
    EXPECT_EQ(newest(), "0x000010000x00002000");
    EXPECT_NE(shell("vorl tap status").out.find(" on: "), std::string::npos);
    shell("vorl tap off");
    running.end();
    EXPECT_NE(shell("vorl tap status").out.find(" ended: "), std::string::npos);
    // A process to come obeys, too.
    tapped("some 10 10");
    EXPECT_EQ(shell("vorl tap clean").out, "2 rings removed\n");
    tapped("some 10 10");
    EXPECT_TRUE(frames().empty());
    shell("vorl tap on");
    tapped("some 10 10");
    EXPECT_EQ(frames().size(), 10U);
}

TEST_F(tap, a_switch_does_not_wait_for_ever_for_who_has_the_directory)
{
    const outcome done = shell("mkdir rings; flock rings sleep 60 & holder=$!; until ! flock -n "
                               "rings true; do sleep 0.01; "
                               "done; timeout 50 vorl tap off; echo $?; kill $holder");
    EXPECT_EQ(done.out, "1\n");
    EXPECT_EQ(
        done.err.find("vorl tap: " + rings_ + ": another program has held its lock for 5 seconds"),
        0U)
        << done.err;
}

// Constructors of libraries run before the tap's own.
TEST_F(tap, records_what_a_library_sends_before_main)
{
    const outcome done = shell("LD_PRELOAD='" VORL_TEST_TAP "' '" VORL_TEST_EARLY "'");
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.err, "");
    const std::vector<frame> found = frames();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(shown(found[0]), "7 0 7 13 0/1 0x00001000 3 010203");
    EXPECT_EQ(only_ring().size, 16777216U);
}

TEST_F(tap, a_program_without_a_bus_is_left_alone)
{
    const outcome done = shell("LD_PRELOAD='" VORL_TEST_TAP "' true");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err, "");
    EXPECT_FALSE(std::filesystem::exists(rings_));
}

TEST_F(tap, needs_libc_alone_and_exports_what_it_stands_before)
{
    EXPECT_EQ(
        shell("readelf -dW '" VORL_TEST_TAP "' | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\]/\\1/p'").out,
        "libc.so.6\n");
    EXPECT_EQ(shell("nm -D --defined-only '" VORL_TEST_TAP "' | cut -d ' ' -f 3").out,
              "VORL_RegIDLFuncHook\nVORL_SendMsg\nVORL_SendToMsg\n");
}
