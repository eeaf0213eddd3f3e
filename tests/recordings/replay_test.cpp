// vorl replay as a person runs it, over a bus that notes what it is handed.
#include "inspect/integers.h"
#include "tests/facts/counts.h"
#include "tests/recordings/recordings.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class replay_command : public recordings {};

const std::string item_1 = R"({"message":"srv6_class_item","f0":1})";
const std::string item_2 = R"({"message":"srv6_class_item","f0":2})";
const std::string item_3 = R"({"message":"srv6_class_item","f0":3})";

/// Whole blocks of packets that the text has.
std::size_t blocks_of_frames(const std::string &text)
{
    std::size_t found = 0;
    const auto *const at = reinterpret_cast<const std::uint8_t *>(text.data());
    for (std::size_t block = 0; text.size() - block >= 12;) {
        const std::size_t length = load_integer(at + block + 4, 4);
        if (length > text.size() - block)
            break;
        found += load_integer(at + block, 4) == 6 ? 1 : 0;
        block += length;
    }
    return found;
}

} // namespace

TEST_F(replay_command, every_message_is_sent_byte_for_byte)
{
    std::vector<capture::frame> frames;
    std::vector<std::string> expected;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            // Whatever the bytes are: they are not looked at.
            capture::frame f = frame_of(frames.size(), pattern(frames.size() * 37 + 1));
            f.facts.identifier = info.data.msg_id;
            f.facts.destination = static_cast<std::uint32_t>(frames.size());
            if (f.facts.destination == 99) // which this bus refuses
                f.facts.destination = 1000;
            expected.push_back(line_of(f, std::to_string(f.facts.destination) + " -"));
            frames.push_back(f);
        }
    }
    frames.push_back(frame_of(frames.size(), pattern(600'000))); // split over packets
    expected.push_back(line_of(frames.back()));
    ASSERT_EQ(expected.size(), counts::messages + 1);
    capture_file("c.pcapng", frames);
    EXPECT_EQ(replay("c.pcapng"), "vorl replay: 116 frames read, 116 sent in 116 sends, 0 refused");
    EXPECT_EQ(sends(), expected);
    EXPECT_EQ(replay("- <c.pcapng"),
              "vorl replay: 116 frames read, 116 sent in 116 sends, 0 refused");
    EXPECT_EQ(sends(), expected);
}

TEST_F(replay_command, a_batch_is_one_send_and_a_handle_goes_with_it)
{
    std::vector<capture::frame> frames;
    for (std::uint32_t i = 0; i < 3; ++i) {
        frames.push_back(sent(i, item_1));
        frames.back().facts.index = i;
        frames.back().facts.of_send = 3;
        frames.back().facts.known |= capture::handle_given;
        frames.back().facts.handle = 0x500000002;
    }
    frames.push_back(sent(3, item_2));
    capture_file("c.pcapng", frames);
    const std::string one = line_of(frames[0], "");
    EXPECT_EQ(replay("c.pcapng"), "vorl replay: 4 frames read, 4 sent in 2 sends, 0 refused");
    EXPECT_EQ(sends(),
              (std::vector<std::string>{"7 21474836482" + one + one + one, line_of(frames[3])}));
    // Elsewhere, and without the handle, which would lead to the same place as before.
    replay("--to 12 c.pcapng");
    EXPECT_EQ(sends(),
              (std::vector<std::string>{"12 -" + one + one + one, line_of(frames[3], "12 -")}));
    EXPECT_EQ(shell("vorl replay --dry-run c.pcapng").out,
              "packet 1, process 4711, number 0: srv6_class_item, 32 bytes, to 7, handle "
              "21474836482, 1 of 3 of one send\n"
              "packet 2, process 4711, number 1: srv6_class_item, 32 bytes, to 7, handle "
              "21474836482, 2 of 3 of one send\n"
              "packet 3, process 4711, number 2: srv6_class_item, 32 bytes, to 7, handle "
              "21474836482, 3 of 3 of one send\n"
              "packet 4, process 4711, number 3: srv6_class_item, 32 bytes, to 7\n");
}

TEST_F(replay_command, filters_are_those_of_the_export)
{
    std::vector<capture::frame> frames = {sent(0, item_1), sent(1, item_2, 1000),
                                          sent(2, item_3, 2000)};
    frames[1].facts.destination = 8;
    frames[2].facts.process = 5;
    frames.push_back(sent(3, R"({"message":"srv6_localsid_fwd","f5":"2001:db8::1"})", 3000));
    frames.push_back(sent(4, item_1, 4000));
    frames[4].kept.resize(28); // refused by a receiver, but whole
    frames[4].facts.length = 28;
    capture_file("c.pcapng", frames);
    const auto sent_by = [this](const std::string &filter) {
        replay("--fast " + filter + " c.pcapng");
        return sends();
    };
    using lines = std::vector<std::string>;
    EXPECT_EQ(sent_by("--message srv6_localsid_fwd"), lines{line_of(frames[3])});
    EXPECT_EQ(sent_by("--field f5=2001:db8::/32"), lines{line_of(frames[3])});
    EXPECT_EQ(sent_by("--labels '" VORL_TEST_LABELS "' --field sid=2001:db8::1"),
              lines{line_of(frames[3])});
    EXPECT_EQ(sent_by("--destination 8"), lines{line_of(frames[1], "8 -")});
    EXPECT_EQ(sent_by("--process 5"), lines{line_of(frames[2])});
    EXPECT_EQ(sent_by("--verdict refused"), lines{line_of(frames[4])});
    EXPECT_EQ(sent_by("--since 1700000003 --until 1700000003.5"), lines{line_of(frames[3])});
    EXPECT_EQ(replay("--fast --message srv6_localsid_fwd c.pcapng"),
              "vorl replay: 5 frames read, 1 sent in 1 sends, 4 left out, 0 refused");
}

TEST_F(replay_command, what_was_received_or_refused_then_is_sent_when_asked_for)
{
    std::vector<capture::frame> frames = {sent(0, item_1), sent(1, item_2), sent(2, item_3)};
    frames[1].facts.way = capture::direction::received;
    frames[1].facts.known = capture::identifier_known;
    frames[2].facts.result = 2;
    capture_file("c.pcapng", frames);
    EXPECT_EQ(replay("c.pcapng"),
              "vorl replay: --result CODE replays those that the bus refused then");
    EXPECT_NE(done.err.find("vorl replay: 3 frames read, 1 sent in 1 sends, 1 left out, 1 left out "
                            "that the bus refused then, 0 refused\n"),
              std::string::npos);
    EXPECT_EQ(sends(), std::vector<std::string>{line_of(frames[0])});
    replay("--result 2 c.pcapng");
    EXPECT_EQ(sends(), std::vector<std::string>{line_of(frames[2])});
    replay("--direction received --to 9 c.pcapng");
    EXPECT_EQ(sends(), std::vector<std::string>{line_of(frames[1], "9 -")});
    EXPECT_EQ(replay("--direction received c.pcapng", 2),
              "vorl replay: a received frame has no destination; name one by --to");
}

TEST_F(replay_command, cut_frames_and_those_without_a_destination_are_counted)
{
    std::vector<capture::frame> frames = {sent(0, item_1), sent(1, item_2), sent(2, item_3),
                                          sent(3, item_3)};
    frames[0].kept.resize(31);
    frames[1].facts.known = capture::identifier_known;
    frames[2].facts.known = capture::destination_known;
    capture_file("c.pcapng", frames);
    EXPECT_EQ(replay("c.pcapng", 1), "vorl replay: 4 frames read, 1 sent in 1 sends, 1 cut and not "
                                     "sent, 2 refused");
    EXPECT_EQ(
        done.err.substr(0, done.err.find("vorl replay")),
        "c.pcapng: packet 2: nothing says where the frame was sent to; name a destination by "
        "--to\n"
        "c.pcapng: packet 3: nothing says which message the frame is of, so that it cannot be "
        "sent\n");
    EXPECT_EQ(sends(), std::vector<std::string>{line_of(frames[3])});
}

TEST_F(replay_command, a_message_that_is_described_otherwise_is_refused_unless_forced)
{
    written_capture to;
    const std::uint32_t from = to.to.add_interface({4711, "sender"});
    capture::description other =
        capture::describe(*catalogue::find_message("srv6_class_item"), nullptr);
    other.slots[1].width = 8;
    to.to.describe(from, 0, to_packet(other));
    to.to.add(from, sent(0, item_1));
    to.to.add(from, sent(1, R"({"message":"srv6_localsid_fwd"})"));
    file("c.pcapng", to.text);
    EXPECT_EQ(replay("c.pcapng", 1), "vorl replay: 2 frames read, 1 sent in 1 sends, 1 refused");
    EXPECT_EQ(lines_of(done.err)[0],
              "c.pcapng: packet 2: srv6_class_item.f1 is of another type in the capture (shape 0, "
              "width 8, count 0; here shape 0, width 4, count 0); --force sends it as it is");
    EXPECT_EQ(replay("--force c.pcapng"),
              "vorl replay: 2 frames read, 2 sent in 2 sends, 0 refused");
    EXPECT_EQ(sends()[0], line_of(sent(0, item_1)));
    // As a message that leads to it is.
    written_capture nested;
    nested.to.add_interface({4711, "sender"});
    const message &key = message_named("srv6_localsid_fwd_key");
    capture::description inner = capture::describe(catalogue::info_of(key), nullptr);
    inner.slots.push_back(inner.slots[0]);
    nested.to.describe(0, 0, to_packet(inner));
    nested.to.describe(0, 0,
                       to_packet(capture::describe(
                           *catalogue::find_message("srv6_localsid_fwd_delete"), nullptr)));
    nested.to.add(0, sent(0, R"({"message":"srv6_localsid_fwd_delete"})"));
    file("n.pcapng", nested.text);
    replay("n.pcapng", 1);
    EXPECT_NE(done.err.find("srv6_localsid_fwd_key has "), std::string::npos) << done.err;
}

TEST_F(replay_command, packets_of_unknown_kinds_are_skipped_and_said)
{
    capture_file("c.pcapng", {sent(0, item_1), sent(1, item_2)});
    std::string text = text_of("c.pcapng");
    const std::size_t header = text.find("VORL");
    text[header + 5] = 9; // the kind of the first
    file("c.pcapng", text);
    EXPECT_EQ(
        replay("c.pcapng", 1),
        "vorl replay: 1 frames read, 1 sent in 1 sends, 0 refused, 1 packets of unknown kinds");
    EXPECT_EQ(lines_of(done.err)[0],
              "c.pcapng: 1 packets are of kinds that this vorl does not know; "
              "a newer vorl reads them");
    EXPECT_EQ(sends(), std::vector<std::string>{line_of(sent(1, item_2))});
}

TEST_F(replay_command, what_is_before_damage_is_sent)
{
    const std::vector<capture::frame> frames = {sent(0, item_1), sent(1, item_2), sent(2, item_3)};
    capture_file("c.pcapng", frames);
    const std::string text = text_of("c.pcapng");
    for (std::size_t size = 0; size < text.size(); size += 13) {
        file("cut.pcapng", text.substr(0, size));
        const outcome dry = shell("vorl replay --dry-run cut.pcapng");
        const std::size_t whole = lines_of(dry.out).size();
        EXPECT_TRUE(dry.status == 1 || dry.status == 3 || (dry.status == 0 && whole == 0)) << size;
        // A frame's block ends behind its bytes, padding and options, and its length once more.
        EXPECT_EQ(whole, blocks_of_frames(text.substr(0, size))) << size;
        EXPECT_TRUE(dry.status != 3 || whole == 0) << size;
    }
    std::string damaged = text;
    damaged[damaged.rfind("VORL") + 4] = 7; // the version of the last
    file("c.pcapng", damaged);
    EXPECT_EQ(replay("c.pcapng", 1),
              "vorl replay: 2 frames read, 2 sent in 2 sends, 0 refused, 1 damaged");
    EXPECT_NE(done.err.find("c.pcapng: packet 3: its header is of version 7"), std::string::npos);
    EXPECT_EQ(sends().size(), 2U);
}

TEST_F(replay_command, what_cannot_be_read_has_a_status_of_its_own)
{
    file("text", "04000000\n");
    EXPECT_EQ(replay("nowhere", 3), "nowhere: cannot be opened (No such file or directory); give a "
                                    "readable file, or - for standard input");
    replay("text", 3);
    EXPECT_EQ(done.err.substr(0, 6), "text: ") << done.err;
    capture_file("c.pcapng", {sent(0, item_1)});
    EXPECT_EQ(replay("--edit nowhere c.pcapng", 3).substr(0, 7), "nowhere");
    for (const char *wrong :
         {"", "--speed 0 c.pcapng", "--speed 2 --fast c.pcapng", "--fast --step c.pcapng",
          "--step -", "--message srv6_nothing c.pcapng", "--since soon c.pcapng",
          "--field f1 c.pcapng", "--to x c.pcapng", "c.pcapng d.pcapng"})
        replay(wrong, 2);
}

TEST_F(replay_command, what_the_bus_refuses_is_said_and_counted)
{
    std::vector<capture::frame> frames = {sent(0, item_1), sent(1, item_2)};
    frames[0].facts.destination = 99;
    capture_file("c.pcapng", frames);
    EXPECT_EQ(replay("c.pcapng", 1), "vorl replay: 2 frames read, 1 sent in 1 sends, 1 refused");
    EXPECT_EQ(lines_of(done.err)[0], "c.pcapng: packet 1: refused with code 77: the bus gives no "
                                     "meaning; look it up in the bus's documents");
    // A thousand are counted, and twenty shown.
    frames.assign(1000, frames[0]);
    capture_file("many.pcapng", frames);
    EXPECT_EQ(replay("--fast many.pcapng", 1),
              "vorl replay: 1000 frames read, 0 sent in 0 sends, 1000 refused");
    EXPECT_EQ(lines_of(done.err).size(), 22U);
    EXPECT_EQ(sends().size(), 1000U);
}

TEST_F(replay_command, sends_are_paced_as_they_were_or_scaled)
{
    capture_file("c.pcapng", {sent(0, item_1, 0), sent(1, item_2, 400), sent(2, item_3, 1000)});
    const auto pauses = [this](const std::string &how) {
        replay(how + " c.pcapng");
        std::vector<long> all;
        for (const std::string &line : lines_of(text_of("sends")))
            all.push_back(std::stol(line));
        return all.size() == 3 ? std::pair(all[1] - all[0], all[2] - all[0]) : std::pair(-1L, -1L);
    };
    // A busy machine may be late, and never early.
    const auto [first, second] = pauses("");
    EXPECT_GE(first, 399);
    EXPECT_GE(second, 999);
    EXPECT_LT(second, 6000);
    const auto [first_slow, second_slow] = pauses("--speed 0.5");
    EXPECT_GE(first_slow, 799);
    EXPECT_GE(second_slow, 1999);
    capture_file("c.pcapng", {sent(0, item_1, 0), sent(1, item_2, 4000), sent(2, item_3, 60'000)});
    const auto [first_fast, second_fast] = pauses("--speed 100");
    EXPECT_GE(first_fast, 39);
    EXPECT_GE(second_fast, 599);
    EXPECT_LT(second_fast, 20'000);
    EXPECT_LT(pauses("--fast").second, 20'000);
}

TEST_F(replay_command, a_long_pause_is_told_and_a_signal_ends_it)
{
    capture_file("c.pcapng", {sent(0, item_1, 0), sent(1, item_2, 3'600'000)});
    const outcome ended =
        shell("LD_PRELOAD='" VORL_TEST_NOTING_BUS "' vorl replay c.pcapng 2>err & replay=$!; "
              "for i in $(seq 200); do grep -q 3600 err && break; sleep 0.05; done; "
              "kill -TERM $replay; wait $replay; echo $?");
    EXPECT_EQ(ended.out, "1\n");
    EXPECT_EQ(
        text_of("err"),
        "c.pcapng: packet 2: is sent in 3600 seconds, as it was; --speed and --fast wait less\n"
        "vorl replay: 2 frames read, 1 sent in 1 sends, 0 refused; ended before the end of the "
        "capture\n");
}

TEST_F(replay_command, steps_wait_for_a_line_each)
{
    capture_file("c.pcapng", {sent(0, item_1), sent(1, item_2, 3'600'000), sent(2, item_3)});
    const outcome two = shell("printf '\\n\\n' | LD_PRELOAD='" VORL_TEST_NOTING_BUS
                              "' vorl replay --step c.pcapng");
    EXPECT_EQ(two.status, 1);
    EXPECT_EQ(two.out, "packet 1, process 4711, number 0: srv6_class_item, 32 bytes, to 7\n"
                       "packet 2, process 4711, number 1: srv6_class_item, 32 bytes, to 7\n"
                       "packet 3, process 4711, number 2: srv6_class_item, 32 bytes, to 7\n");
    EXPECT_EQ(two.err, "vorl replay: 3 frames read, 2 sent in 2 sends, 0 refused; ended before the "
                       "end of the capture\n");
    EXPECT_EQ(sends().size(), 2U);
    const outcome all =
        shell("yes | LD_PRELOAD='" VORL_TEST_NOTING_BUS "' vorl replay --step c.pcapng");
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(sends().size(), 5U);
}

TEST_F(replay_command, a_dry_run_needs_no_bus_and_sends_nothing)
{
    capture_file("c.pcapng", {sent(0, item_1), sent(1, item_2, 3'600'000)});
    const outcome dry = shell("cp \"$(command -v vorl)\" alone; ./alone replay --dry-run c.pcapng");
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_EQ(dry.out, "packet 1, process 4711, number 0: srv6_class_item, 32 bytes, to 7\n"
                       "packet 2, process 4711, number 1: srv6_class_item, 32 bytes, to 7\n");
    EXPECT_EQ(dry.err, "vorl replay: 2 frames read, 2 would be sent in 2 sends, 0 refused\n");
    EXPECT_NE(shell("./alone replay c.pcapng").err.find("vorl replay: cannot load"),
              std::string::npos);
}
