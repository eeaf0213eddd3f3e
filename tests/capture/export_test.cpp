// vorl tap export and snapshot as a person runs them, on rings and on captures.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include "inspect/encode.h"
#include "inspect/hex.h"
#include "inspect/integers.h"
#include "tests/capture/captures.h"
#include "tests/capture/made_ring.h"
#include "tests/support/run.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using namespace vorl::test;

namespace {

bytes encoded(const std::string &object)
{
    const json::record record = json::parse_record(object);
    return inspect::encode(record.type(), record.data(), inspect::encoding::frame);
}

std::uint32_t id_of(const char *message) { return catalogue::find_message(message)->data.msg_id; }

const bytes sid_48 =
    encoded(R"({"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8:1::","f6":48})");
const bytes sid_64 =
    encoded(R"({"message":"srv6_localsid_fwd","f0":2,"f5":"2001:db8:1:2::","f6":64})");
const bytes key = encoded(R"({"message":"srv6_common_fwd_key","f0":3})");
const bytes batch = encoded(R"({"message":"srv6_localsid_fwd_delete","f1":[{"f0":7},{"f0":8}]})");

class tap_export : public ::testing::Test {
  protected:
    outcome shell(const std::string &command) const
    {
        return run(directory.path(), "export VORL_TAP_DIR=rings; PATH='" VORL_TEST_PROGRAMS
                                     "':\"$PATH\"; " +
                                         command);
    }
    std::string path(const std::string &name) const { return directory.path() / name; }

    /// Two processes, whose frames come in turn.
    void make_rings() const
    {
        std::filesystem::create_directory(path("rings"));
        made_ring a(path("rings/1-0.ring"), 65536, 1), b(path("rings/2-0.ring"), 65536, 2);
        a.send(1000, sid_48, id_of("srv6_localsid_fwd"), 7);
        b.receive(2000, sid_48, id_of("srv6_localsid_fwd"));
        a.send(3000, sid_64, id_of("srv6_localsid_fwd"), 8);
        b.receive(4000, {1, 2, 3, 4, 5}, id_of("srv6_localsid_fwd"));
        a.send(5000, key, id_of("srv6_common_fwd_key"), 7);
        b.receive(6000, batch, id_of("srv6_localsid_fwd_delete"));
        a.send(7000, {9}, 0x12345678, 7);
        a.send(8000, pattern(10'000), id_of("srv6_localsid_fwd"), 7);
    }

    /// The nanoseconds of the frames' times that an export with those options has.
    std::string exported(const std::string &options) const
    {
        const outcome done = shell("vorl tap export --json " + options);
        EXPECT_EQ(done.status, 0) << done.err;
        std::string times;
        for (const std::string &line : lines_of(done.out)) {
            const std::string before = "{\"time\":\"2023-11-14T22:13:20.00000";
            if (line.starts_with(before))
                times += (times.empty() ? "" : " ") + line.substr(before.size(), 1);
        }
        return times;
    }

    scratch_directory directory;
};

} // namespace

TEST_F(tap_export, lines_say_what_each_frame_is)
{
    make_rings();
    const outcome done = shell("vorl tap export --json");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err,
              "vorl tap: 2 processes: 8 frames seen, 0 overwritten, 0 dropped, 8 given\n");
    const std::vector<std::string> lines = lines_of(done.out);
    ASSERT_EQ(lines.size(), 10U);
    const std::string thread = ",\"thread\":" + std::to_string(gettid()) + ",";
    EXPECT_EQ(lines[0],
              "{\"time\":\"2023-11-14T22:13:20.000001000Z\",\"process\":1" + thread +
                  "\"direction\":\"sent\",\"destination\":7,\"result\":0,\"identifier\":"
                  "\"0xB7B345A9\",\"message\":\"srv6_localsid_fwd\",\"number\":0,\"length\":104,"
                  "\"kept\":104,\"verdict\":\"accepted\",\"record\":{\"message\":"
                  "\"srv6_localsid_fwd\",\"f0\":1,\"f5\":\"2001:db8:1::\",\"f6\":48}}");
    EXPECT_NE(lines[3].find("\"direction\":\"received\",\"identifier\":\"0xB7B345A9\""),
              std::string::npos);
    EXPECT_NE(lines[3].find("\"verdict\":\"refused\",\"why\":\"offset 0x0000"), std::string::npos)
        << lines[3];
    EXPECT_NE(lines[3].find("\"bytes\":\"0102030405\"}"), std::string::npos);
    EXPECT_NE(lines[6].find("\"identifier\":\"0x12345678\",\"number\":3,\"length\":1,\"kept\":1,"
                            "\"verdict\":\"unknown\",\"bytes\":\"09\"}"),
              std::string::npos);
    EXPECT_NE(lines[7].find("\"length\":10000,\"kept\":8192,\"verdict\":\"cut\""),
              std::string::npos);
    EXPECT_EQ(lines[8], "{\"process\":1,\"counters\":{\"seen\":5,\"overwritten\":0,\"dropped\":0,"
                        "\"given\":5}}");
}

TEST_F(tap_export, filters_by_everything_that_is_known)
{
    make_rings();
    EXPECT_EQ(exported(""), "1 2 3 4 5 6 7 8");
    EXPECT_EQ(exported("--message srv6_localsid_fwd"), "1 2 3 4 8");
    EXPECT_EQ(exported("--message 0x12345678 --message srv6_common_fwd_key"), "5 7");
    EXPECT_EQ(exported("--destination 8"), "3");
    EXPECT_EQ(exported("--destination 8 --destination 7"), "1 3 5 7 8");
    EXPECT_EQ(exported("--process 2"), "2 4 6");
    EXPECT_EQ(exported("--direction sent"), "1 3 5 7 8");
    EXPECT_EQ(exported("--result 0"), "1 3 5 7 8");
    EXPECT_EQ(exported("--result 1"), "");
    EXPECT_EQ(exported("--verdict accepted"), "1 2 3 5 6");
    EXPECT_EQ(exported("--verdict refused"), "4");
    EXPECT_EQ(exported("--verdict cut"), "8");
    EXPECT_EQ(exported("--verdict unknown"), "7");
    EXPECT_EQ(exported("--since 2023-11-14T22:13:20.000003Z --until 1700000000.000005"), "3 4 5");
    EXPECT_EQ(exported("--field f5=2001:db8::/32"), "1 2 3");
    EXPECT_EQ(exported("--field f5=2001:db8:1:2::/64"), "3");
    EXPECT_EQ(exported("--field f5=2001:db8:1::/49"), "1 2 3");
    EXPECT_EQ(exported("--field f5=2001:db8:1::"), "1 2");
    EXPECT_EQ(exported("--field f6=48"), "1 2");
    EXPECT_EQ(exported("--field f6=0x40 --field f5=2001:db8::/32"), "3");
    EXPECT_EQ(exported("--field f1.f0=8"), "6");
    EXPECT_EQ(exported("--field f1.f0=9"), "");
    EXPECT_EQ(exported("--labels '" VORL_TEST_LABELS "' --field locator_length=64"), "3");
    EXPECT_EQ(exported("--labels '" VORL_TEST_LABELS "' --field sid=2001:db8:1::/48"), "1 2 3");
    EXPECT_EQ(exported("rings/2-0.ring"), "2 4 6");
}

TEST_F(tap_export, a_filter_that_no_message_fits_is_an_error)
{
    make_rings();
    const auto err = [this](const std::string &options) {
        const outcome done = shell("vorl tap export --json --message srv6_localsid_fwd " + options);
        EXPECT_EQ(done.status, 1);
        return done.err;
    };
    EXPECT_EQ(err("--field f99=1"),
              "vorl tap export: --field f99=1: srv6_localsid_fwd has no member "
              "f99; it has f0 to f12\n");
    EXPECT_EQ(err("--field f6=65536"),
              "vorl tap export: --field f6=65536: \"65536\" is no number "
              "from 0 to 65535; give one, decimal or as 0x and hex digits\n");
    EXPECT_EQ(err("--field f5=1"), "vorl tap export: --field f5=1: \"1\" is no IPv6 address; give "
                                   "one, such as 2001:db8::1, or 2001:db8::/32\n");
    EXPECT_EQ(err("--field f5"), "vorl tap export: --field f5: \"f5\" is no filter; give a member "
                                 "and a value, such as f5=2001:db8::/32\n");
    EXPECT_EQ(err("--since yesterday"), "vorl: \"yesterday\" is no time; give one such as "
                                        "2026-11-21T23:59:52.5Z, or seconds since 1970\n");
    // A day that no month has; and more nanoseconds than 64 bits count.
    for (const std::string time : {"2026-11-31T00:00:00Z", "9999-01-01T00:00:00Z"})
        EXPECT_EQ(err("--since " + time).find("vorl: \"" + time + "\" is no time; "), 0U) << time;
    EXPECT_EQ(shell("vorl tap export --verdict maybe").status, 2);
    EXPECT_EQ(shell("vorl tap").status, 2);
}

TEST_F(tap_export, a_capture_has_what_the_rings_have)
{
    make_rings();
    ASSERT_EQ(shell("vorl tap export --output c.pcapng").status, 0);
    EXPECT_EQ(shell("vorl tap export --json c.pcapng").out, shell("vorl tap export --json").out);
    // And may be filtered again, in one with rings and others.
    EXPECT_EQ(exported("--verdict refused c.pcapng c.pcapng rings"), "4 4 4");
    EXPECT_EQ(shell("vorl decode --sparse --message srv6_common_fwd_key c.pcapng").out,
              "{\"message\":\"srv6_common_fwd_key\",\"f0\":3}\n");
    // The first packet describes the message.
    const outcome explained = shell("vorl explain --message srv6_localsid_fwd c.pcapng");
    EXPECT_EQ(explained.out.find("c.pcapng: packet 2, sent by process 1\nsrv6_localsid_fwd, "), 0U);
    EXPECT_NE(
        explained.out.find("\n\nc.pcapng: packet 3, received by process 2\nsrv6_localsid_fwd, "),
        std::string::npos);
    EXPECT_EQ(explained.err.find("c.pcapng: packet 5, received by process 2: srv6_localsid_fwd: "),
              0U);
}

// It would be empty before it is read.
TEST_F(tap_export, an_input_is_not_written_over)
{
    make_rings();
    ASSERT_EQ(shell("vorl tap export --output c.pcapng").status, 0);
    const std::string capture = content(path("c.pcapng")), ring = content(path("rings/1-0.ring"));
    shell("ln -s c.pcapng link; ln rings/1-0.ring hard");
    for (const std::string arguments :
         {"--output c.pcapng c.pcapng", "--output link rings c.pcapng", "--json --output hard",
          "--follow --output rings/1-0.ring"}) {
        const outcome done = shell("timeout 30 vorl tap export " + arguments);
        EXPECT_EQ(done.status, 1) << arguments;
        EXPECT_NE(done.err.find(" is read, so it cannot be written as well; name another file\n"),
                  std::string::npos)
            << done.err;
        EXPECT_TRUE(content(path("c.pcapng")) == capture && content(path("rings/1-0.ring")) == ring)
            << arguments;
    }
}

TEST_F(tap_export, what_is_damaged_is_told_and_the_rest_given)
{
    make_rings();
    shell("vorl tap export --output c.pcapng");
    const std::string whole = content(path("c.pcapng"));
    write(path("cut.pcapng"), whole.substr(0, whole.size() - 500));
    write(path("rings/3-0.ring"), std::string(70'000, '\0'));
    write(path("rings/4-0.ring"), "no ring");
    const outcome done = shell("vorl tap export --json cut.pcapng rings");
    EXPECT_EQ(done.status, 1);
    EXPECT_NE(done.err.find("rings/3-0.ring: is a ring that its process had not finished making"),
              std::string::npos);
    EXPECT_NE(done.err.find("rings/4-0.ring: is no ring of a tapped process"), std::string::npos);
    EXPECT_NE(done.err.find("cut.pcapng: packet "), std::string::npos);
    EXPECT_GE(lines_of(done.out).size(), 16U);
    EXPECT_EQ(shell("vorl tap export --json nowhere").status, 1);
    // Also where rings are followed.
    write(path("short.ring"), content(path("rings/1-0.ring")).substr(0, 70'000));
    const outcome followed = shell("vorl tap export --json --follow --until 1 short.ring");
    EXPECT_EQ(followed.status, 1);
    EXPECT_EQ(
        followed.err.find("short.ring: has 70000 of its 131072 bytes; copy it again, whole\n"), 0U)
        << followed.err;
}

TEST_F(tap_export, redacted_addresses_are_others_and_begin_alike)
{
    make_rings();
    const auto with = [this](const std::string &options) {
        return shell("vorl tap export --json --redact --process 1 " + options).out;
    };
    const std::string text = with("--redact-key 000102030405060708090a0b0c0d0e0f");
    EXPECT_EQ(text, with("--redact-key 000102030405060708090a0b0c0d0e0f"));
    EXPECT_NE(text, with("--redact-key 100102030405060708090a0b0c0d0e0f"));
    EXPECT_EQ(text.find("2001:db8"), std::string::npos);
    // Both have their first 48 bits in common, and the second has a bit behind these.
    const auto address = [](const std::string &line) {
        const std::size_t at = line.find("\"f5\":\"") + 6;
        return line.substr(at, line.find('"', at) - at);
    };
    const std::vector<std::string> lines = lines_of(text);
    const std::string first = address(lines[0]), second = address(lines[1]);
    EXPECT_TRUE(first.ends_with("::")) << first;
    EXPECT_EQ(second.substr(0, first.size() - 2), first.substr(0, first.size() - 2)) << second;
    EXPECT_NE(lines[0].find("\"f6\":48"), std::string::npos);
    // Nobody can tell what these bytes are.
    EXPECT_NE(lines[3].find("\"kept\":0,\"addresses_replaced\":true,\"verdict\":\"unknown\""),
              std::string::npos)
        << lines[3];
    EXPECT_NE(with("").find("\"addresses_replaced\":true"), std::string::npos);
    EXPECT_EQ(shell("vorl tap export --redact --redact-key 12 --json").status, 1);
}

TEST_F(tap_export, follows_what_comes)
{
    make_rings();
    // Neither waits for ever.
    const outcome done = shell(
        "lines() { for i in $(seq 200); do [ $(wc -l <out) = $1 ] && return; sleep 0.05; done; }; "
        "timeout 30 vorl tap export --json --follow >out 2>err & follower=$!; lines 8; "
        "add() { cp rings/1-0.ring new; mv new rings/3-0.ring; }; add; lines 13; "
        // Removed and made again, under the same name.
        "rm rings/3-0.ring; add; lines 18; kill -TERM $follower; wait $follower; echo $?");
    EXPECT_EQ(done.out, "0\n");
    EXPECT_EQ(content(path("err")),
              "vorl tap: 2 processes: 18 frames seen, 0 overwritten, 0 dropped, 18 given\n");
}

TEST_F(tap_export, a_snapshot_has_the_seconds_around_now)
{
    std::filesystem::create_directory(path("rings"));
    made_ring ring(path("rings/1-0.ring"), 65536, 1);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::uint64_t time = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 -
                               static_cast<std::uint64_t>(made_ring::offset);
    ring.send(time - 100'000'000'000, key, id_of("srv6_common_fwd_key"));
    ring.send(time - 1'000'000'000, sid_48, id_of("srv6_localsid_fwd"));
    const outcome done = shell("vorl tap snapshot --before 60s --after 300ms --json");
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(lines_of(done.out).size(), 2U) << done.out;
    EXPECT_NE(done.out.find("srv6_localsid_fwd"), std::string::npos);
    EXPECT_EQ(shell("vorl tap snapshot --before soon --json").status, 1);
}

// The demo's two processes over the development bus, as Wireshark sees them.
TEST_F(tap_export, the_demo_is_captured_and_opens_in_tshark)
{
    ASSERT_EQ(shell("LD_PRELOAD='" VORL_TEST_TAP "' VORL_BUS_DIR=bus '" VORL_TEST_DEMO
                    "' '" VORL_TEST_EXAMPLE "'")
                  .status,
              0);
    const outcome done = shell("vorl tap export --output demo.pcapng");
    EXPECT_EQ(done.err,
              "vorl tap: 3 processes: 666 frames seen, 0 overwritten, 0 dropped, 666 given\n");
    // Each frame, and a description of each of 115 messages.
    EXPECT_EQ(lines_of(shell("tshark -r demo.pcapng 2>/dev/null").out).size(), 666U + 115);
    EXPECT_NE(shell("capinfos demo.pcapng").out.find("Strict time order:   True"),
              std::string::npos);
    EXPECT_EQ(lines_of(shell("vorl decode --sparse demo.pcapng").out).size(), 666U);
}

// Two million frames, 384 MB of ring: filtered to one, and all of them written.
TEST_F(tap_export, two_million_frames_take_little_memory)
{
    constexpr std::uint64_t frames = 2'000'000;
    constexpr long most_kib = 64 * 1024;
    std::filesystem::create_directory(path("rings"));
    {
        made_ring ring(path("rings/1-0.ring"), std::uint64_t{1} << 29, 1);
        bytes frame = sid_48;
        for (std::uint64_t i = 0; i < frames; ++i) {
            store_integer(frame.data() + 8, i, 4); // f0
            // One in a thousand took long, so that it is out of order.
            ring.send(i % 1000 == 0 && i != 0 ? i - 500 : i, frame, id_of("srv6_localsid_fwd"));
        }
    }
    const std::string peak = "sed -n 's/^VmHWM:[[:space:]]*\\([0-9]*\\) kB/\\1/p' /proc/$!/status";
    for (const std::string how : {"--output c.pcapng", "--json --field f0=1999999 --output one"}) {
        const outcome done =
            shell("vorl tap export " + how + " 2>err & while kill -0 $! 2>/dev/null; do " + peak +
                  " >now 2>/dev/null; [ -s now ] && cp now peak; sleep 0.1; done; wait $!; echo "
                  "$?; cat peak");
        const std::vector<std::string> said = lines_of(done.out);
        ASSERT_EQ(said.size(), 2U) << done.err;
        EXPECT_EQ(said[0], "0");
        EXPECT_LE(std::stol(said[1]), most_kib) << how;
    }
    EXPECT_EQ(content(path("err")),
              "vorl tap: 1 processes: 2000000 frames seen, 0 overwritten, 0 dropped, 1 given\n");
    EXPECT_EQ(lines_of(content(path("one"))).size(), 2U);
    EXPECT_NE(shell("capinfos -cM c.pcapng").out.find("2000001"), std::string::npos);
}
