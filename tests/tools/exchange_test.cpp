// vorl send and vorl recv across processes, and the demo.
#include <chrono>
#include <set>

#include "tests/facts/counts.h"
#include "tests/support/facts.h"
#include "tests/tools/program.h"

using namespace vorl::test;

namespace {

class exchange : public tool_test {
  protected:
    /// Runs `send` while "vorl recv 7 OPTIONS" runs; what both said is in the files in, in.err, out
    /// and out.err. A receiver without --count is told to end when sending is over, and none stays
    /// for ever.
    outcome send_to_receiver(const std::string &recv_options, const std::string &send) const
    {
        const bool ends_by_itself = recv_options.find("--count") != std::string::npos;
        return shell("vorl recv 7 --timeout 40 " + recv_options + " >in 2>in.err & receiver=$!; " +
                     send + " >out 2>out.err; echo sender $?; " +
                     (ends_by_itself ? "" : "kill -TERM $receiver; ") +
                     "wait $receiver; echo receiver $?");
    }
};

/// The objects of a file without comments and blank lines.
std::string objects_of(const std::string &file)
{
    std::string objects;
    for (const std::string &line : lines_of(content(file))) {
        if (line.starts_with("{"))
            objects += line + "\n";
    }
    return objects;
}

/// Before a command: it runs with a library before all others.
std::string preloaded(const std::string &library)
{
    return "ASAN_OPTIONS=verify_asan_link_order=0:$ASAN_OPTIONS LD_PRELOAD='" + library + "' ";
}

const std::string first = "{\"message\":\"srv6_common_fwd_key\",\"f0\":1}\n";
const std::string second = "{\"message\":\"srv6_common_fwd_key\",\"f0\":2}\n";
const std::string third = "{\"message\":\"srv6_common_fwd_key\",\"f0\":3}\n";
const std::string bad = "{\"message\":\"srv6_common_fwd_key\",\"f0\":-1}\n";
const std::string bad_error = ": f0: -1 is negative; give a whole number from 0 to 4294967295\n";

const std::string total_of_all = "total: " + std::to_string(counts::messages) + " types, ";

} // namespace

TEST_F(exchange, the_example_arrives_as_it_is)
{
    const std::string objects = objects_of(VORL_TEST_EXAMPLE);
    const std::string number = std::to_string(lines_of(objects).size());
    for (const char *how : {"", "--batch 16", "--explicit 7", "--explicit 7 --batch 1000"}) {
        const outcome done = send_to_receiver("--sparse --count " + number,
                                              std::string("vorl send --to 7 --wait 20 ") + how +
                                                  " " VORL_TEST_EXAMPLE);
        EXPECT_EQ(done.out, "sender 0\nreceiver 0\n") << text_of("in.err") << text_of("out.err");
        EXPECT_TRUE(text_of("in") == objects) << how;
        EXPECT_EQ(text_of("out.err"), "vorl send: " + number + " sent, 0 refused\n");
        EXPECT_EQ(text_of("in.err"), "vorl recv: " + number + " received, 0 refused\n");
    }
}

TEST_F(exchange, nothing_is_sent_from_a_bad_line_on)
{
    file("objects", first + second + bad + third);
    for (const char *batch : {"1", "2", "10"}) {
        const outcome done = send_to_receiver(
            "--sparse", std::string("vorl send --to 7 --wait 20 --batch ") + batch + " objects");
        EXPECT_EQ(done.out, "sender 1\nreceiver 0\n");
        EXPECT_EQ(text_of("in"), first + second);
        EXPECT_EQ(text_of("out.err"), "objects:3" + bad_error + "vorl send: 2 sent, 1 refused\n");
    }
}

TEST_F(exchange, keep_going_skips_bad_lines)
{
    file("objects", bad + first + "nonsense\n" + second + bad + third);
    const outcome done = send_to_receiver(
        "--sparse --count 3", "vorl send --to 7 --wait 20 --keep-going --batch 5 objects");
    EXPECT_EQ(done.out, "sender 1\nreceiver 0\n");
    EXPECT_EQ(text_of("in"), first + second + third);
    const auto errors = lines_of(text_of("out.err"));
    ASSERT_EQ(errors.size(), 4u);
    EXPECT_EQ(errors[0] + "\n", "objects:1" + bad_error);
    EXPECT_TRUE(errors[1].starts_with("objects:3: column ")) << errors[1];
    EXPECT_EQ(errors[2] + "\n", "objects:5" + bad_error);
    EXPECT_EQ(errors[3], "vorl send: 3 sent, 3 refused");
}

TEST_F(exchange, send_to_nobody)
{
    file("objects", first + second);
    const std::string refused =
        ": srv6_common_fwd_key: refused with code 1: nobody receives at destination 7; start the "
        "receiver first, or give --wait\n";
    const outcome stopped = shell("vorl send --to 7 objects");
    EXPECT_EQ(stopped.status, 1);
    EXPECT_EQ(stopped.err, "objects:1" + refused + "vorl send: 0 sent, 1 refused\n");
    const outcome batched = shell("vorl send --to 7 --batch 9 --keep-going objects");
    EXPECT_EQ(batched.status, 1);
    EXPECT_EQ(batched.err,
              "objects:1" + refused + "objects:2" + refused + "vorl send: 0 sent, 2 refused\n");
}

TEST_F(exchange, a_batch_that_is_too_large_goes_line_by_line)
{
    // Frames of one batch of a variable-size message share 65536 bytes.
    const std::string big =
        R"({"message":"srv6_cfg_query_comm_param","f2":")" + std::string(80000, '1') + "\"}\n";
    file("objects", big + big);
    const outcome done =
        send_to_receiver("--sparse --count 2", "vorl send --to 7 --wait 20 --batch 2 objects");
    EXPECT_EQ(done.out, "sender 0\nreceiver 0\n");
    EXPECT_TRUE(text_of("in") == big + big);
}

TEST_F(exchange, a_frame_larger_than_the_queue_names_its_line)
{
    file("objects", first + R"({"message":"srv6_cfg_query_comm_param","f2":")" +
                        std::string(8000, '1') + "\"}\n" + second);
    const outcome done =
        send_to_receiver("--sparse --queue-bytes 1000", "vorl send --to 7 --wait 1 objects");
    EXPECT_EQ(done.out, "sender 1\nreceiver 0\n");
    EXPECT_EQ(text_of("in"), first);
    const std::string error = text_of("out.err");
    EXPECT_TRUE(error.starts_with("objects:2: srv6_cfg_query_comm_param: refused with code "))
        << error;
    EXPECT_TRUE(error.ends_with("\nvorl send: 1 sent, 1 refused\n")) << error;
}

TEST_F(exchange, recv_ends_by_signal_and_tells_what_it_has)
{
    file("objects", first + second);
    for (const char *signal : {"INT", "TERM"}) {
        // A background process of a shell ignores SIGINT unless it asks for it, as vorl does.
        const outcome done = shell("vorl recv 7 --timeout 40 --sparse >in 2>in.err & receiver=$!; "
                                   "vorl send --to 7 --wait 20 objects 2>/dev/null; kill -" +
                                   std::string(signal) + " $receiver; wait $receiver; echo $?");
        EXPECT_EQ(done.out, "0\n");
        EXPECT_EQ(text_of("in"), first + second);
        EXPECT_EQ(text_of("in.err"), "vorl recv: 2 received, 0 refused\n");
    }
}

TEST_F(exchange, recv_of_fewer_than_counted)
{
    const outcome done = shell("vorl recv 7 --count 1 --timeout 0.2");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.err, "vorl recv: 0 received, 0 refused\n");
    EXPECT_EQ(shell("vorl recv 7 --timeout 0.2").status, 0);
}

TEST_F(exchange, recv_at_a_taken_destination)
{
    const outcome done = shell("vorl recv 7 --timeout 40 2>/dev/null & receiver=$!; "
                               "while [ ! -S \"$VORL_BUS_DIR/7.sock\" ]; do sleep 0.05; done; "
                               "vorl recv 7 --timeout 1; echo $?; kill $receiver; wait $receiver");
    EXPECT_EQ(done.out, "1\n");
    EXPECT_TRUE(done.err.ends_with("vorl recv: cannot receive at destination 7; the bus's message "
                                   "above says why\n"))
        << done.err;
}

TEST_F(exchange, recv_whose_output_is_full)
{
    file("objects", first);
    const outcome done = shell("vorl recv 7 --timeout 40 --count 1 >/dev/full & receiver=$!; "
                               "vorl send --to 7 --wait 20 objects 2>/dev/null; wait $receiver; "
                               "echo $?");
    EXPECT_EQ(done.out, "1\n");
    EXPECT_EQ(done.err, "vorl recv: 1 received, 0 refused\n"
                        "vorl recv: standard output cannot be written; the objects after the last "
                        "whole line are lost\n");
}

TEST_F(exchange, recv_shows_a_frame_that_is_refused)
{
    file("objects", first + "{\"message\":\"srv6_class_item\",\"f0\":1}\n" + second);
    const outcome done =
        send_to_receiver("--sparse", "VORL_TEST_DAMAGE=break " + preloaded(VORL_TEST_DAMAGING_BUS) +
                                         "vorl send --to 7 --wait 20 objects");
    EXPECT_EQ(done.out, "sender 0\nreceiver 1\n");
    EXPECT_EQ(text_of("in"), first + second);
    EXPECT_EQ(text_of("in.err"),
              "vorl recv: library log: srv6_class_item_unpack_non_root: [ZELKO]:Table offset(251) "
              "is out of range(4 - 32)\n"
              "vorl recv: srv6_class_item refused at offset 0x0000: the table of srv6_class_item "
              "would be at 0x00fb (251), which is not from 4 to 28; the frame: " +
                  hex_line(R"(
                          u32 0xFB                        // root offset
                  table:  u32 table-vtable                // soffset
                          u32 1  u32 0  u8 0  zeros 3
                  vtable: u16 10  u16 13  u16 4  u16 8  u16 12
                          zeros 2)") +
                  "vorl recv: 2 received, 1 refused (1 by table position)\n");
}

TEST_F(exchange, send_waits_once_whatever_is_sent_at_once)
{
    file("objects", first + second + third);
    for (const char *how :
         {"", "--keep-going", "--batch 3", "--batch 3 --keep-going", "--batch 2 --keep-going"}) {
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(shell(std::string("vorl send --to 7 --wait 1 ") + how + " objects").status, 1);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        EXPECT_GE(took.count(), 1.0) << how;
        EXPECT_LT(took.count(), 2.0) << how;
    }
}

TEST_F(exchange, send_with_settings_that_cannot_be)
{
    file("objects", first);
    const outcome directory = shell("VORL_BUS_DIR=/nowhere/below vorl send --to 7 objects");
    EXPECT_EQ(directory.status, 1);
    EXPECT_EQ(directory.err,
              "vorl-bus: the directory /nowhere/below cannot be used: No such file or directory; "
              "set VORL_BUS_DIR to one that is there or can be made\n"
              "objects:1: srv6_common_fwd_key: refused with code 6: the bus's settings are of no "
              "use, as it says above; nothing was sent\n"
              "vorl send: 0 sent, 1 refused\n");
    const outcome number = shell("VORL_BUS_TIMEOUT_MS=2s vorl send --to 7 objects");
    EXPECT_EQ(number.status, 1);
    EXPECT_EQ(number.err, "vorl-bus: VORL_BUS_TIMEOUT_MS is \"2s\"; give a whole number from 1 to "
                          "86400000, or unset it\n"
                          "objects:1: srv6_common_fwd_key: refused with code 6: the bus's settings "
                          "are of no use, as it says above; nothing was sent\n"
                          "vorl send: 0 sent, 1 refused\n");
}

TEST_F(exchange, raw_frames_are_sent_as_they_are)
{
    // A key's frame, the same with a root offset that leads nowhere, and the first again.
    file("object", first);
    const std::string frame = shell("vorl encode object").out;
    ASSERT_EQ(frame.substr(0, 8), "04000000");
    file("frames", frame + "ff" + frame.substr(2) + frame);
    const outcome done = send_to_receiver(
        "--sparse",
        "vorl send --to 7 --wait 20 --raw --lines --message srv6_common_fwd_key frames");
    EXPECT_EQ(done.out, "sender 0\nreceiver 1\n");
    EXPECT_EQ(text_of("in"), first + first);
    EXPECT_EQ(text_of("out.err"), "vorl send: 3 sent, 0 refused\n");
    EXPECT_TRUE(
        text_of("in.err").ends_with("vorl recv: 2 received, 1 refused (1 by table position)\n"))
        << text_of("in.err");
}

TEST_F(exchange, frames_of_unknown_type_are_counted)
{
    file("frames", "0102\n0304\n");
    const outcome done =
        send_to_receiver("", "vorl send --to 7 --wait 20 --raw --message 0x12345678 frames");
    EXPECT_EQ(done.out, "sender 0\nreceiver 1\n");
    EXPECT_EQ(text_of("in"), "");
    EXPECT_EQ(
        text_of("in.err"),
        "vorl-bus: destination 7: frame of unknown type 0x12345678 (2 bytes) dropped, as will "
        "be all others of this type: nobody registered it\n"
        "vorl recv: 0 received, 0 refused, 2 of unknown type dropped\n");
}

TEST_F(exchange, raw_frames_that_are_refused_are_named)
{
    file("frames", "0102\n0304\n");
    const std::string refused = ": srv6_common_fwd_key: refused with code 1: nobody receives at "
                                "destination 7; start the receiver first, or give --wait\n";
    const std::string command =
        "vorl send --to 7 --raw --lines --message srv6_common_fwd_key frames ";
    EXPECT_EQ(shell(command).err, "frames:1" + refused + "vorl send: 0 sent, 1 refused\n");
    EXPECT_EQ(shell(command + "--keep-going").err,
              "frames:1" + refused + "frames:2" + refused + "vorl send: 0 sent, 2 refused\n");
    EXPECT_EQ(shell("vorl send --to 7 --raw frames").status, 2);
    EXPECT_EQ(shell("vorl send --to 7 --message srv6_common_fwd_key frames").status, 2);
    EXPECT_EQ(shell("vorl send --to 7 --raw --message nothing frames").err,
              "vorl: no message is called nothing; 'vorl list' shows names and identifiers\n");
}

TEST_F(exchange, recv_without_a_receiving_side)
{
    const std::string other_bus = preloaded(VORL_TEST_BUS_WITHOUT_RECEIVER) + "vorl ";
    const outcome done = shell(other_bus + "recv 7");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.out, "");
    EXPECT_EQ(done.err, "vorl recv: this bus library has no receiving side for tools "
                        "(VORL_DevReceiverOpen); run with the development bus\n");

    file("objects", first);
    const outcome sent = shell(other_bus + "send --to 7 objects");
    EXPECT_EQ(sent.status, 1);
    EXPECT_EQ(sent.err, "objects:1: srv6_common_fwd_key: refused with code 77: the bus gives no "
                        "meaning; look it up in the bus's documents\n"
                        "vorl send: 0 sent, 1 refused\n");
}

TEST_F(exchange, the_example_has_every_message)
{
    const std::string objects = objects_of(VORL_TEST_EXAMPLE);
    for (const message_fact &fact : message_facts)
        EXPECT_NE(objects.find("{\"message\":\"" + std::string(fact.name) + "\""),
                  std::string::npos)
            << fact.name << " has no line in examples/pe1.jsonl; add one";
    EXPECT_LT(content(VORL_TEST_EXAMPLE).size(), 300000u);
}

TEST_F(exchange, the_demo_shows_every_message_without_mismatch)
{
    const outcome done = shell("vorl_demo " VORL_TEST_EXAMPLE);
    EXPECT_EQ(done.status, 0) << done.err;
    const auto lines = lines_of(done.out);
    ASSERT_EQ(lines.size(), counts::messages + 2); // and the heading, and the total
    EXPECT_EQ(lines[0], "message                                   sent  received       bytes  "
                        "mismatches");
    // Four frames of 48 bytes.
    EXPECT_EQ(lines[1], "srv6_vrf_class_data                          4         4         192"
                        "           0");
    const std::string objects = std::to_string(lines_of(objects_of(VORL_TEST_EXAMPLE)).size());
    EXPECT_TRUE(lines.back().starts_with(total_of_all + objects + " objects, ")) << lines.back();
    EXPECT_NE(lines.back().find(" bytes, 0 mismatches, "), std::string::npos) << lines.back();
}

TEST_F(exchange, the_demo_fails_on_what_does_not_arrive_as_sent)
{
    const auto damaged = [this](const std::string &damage) {
        return shell("VORL_TEST_DAMAGE=" + damage + " " + preloaded(VORL_TEST_DAMAGING_BUS) +
                     "vorl_demo " VORL_TEST_EXAMPLE);
    };
    const std::size_t objects = lines_of(objects_of(VORL_TEST_EXAMPLE)).size();
    const auto number = [](std::size_t value) { return std::to_string(value); };

    const outcome changed = damaged("change");
    EXPECT_EQ(changed.status, 1);
    EXPECT_NE(changed.err.find("vorl_demo: srv6_class_item, object 1 of its type: f0 differs from "
                               "what was sent\n"),
              std::string::npos)
        << changed.err;

    const outcome dropped = damaged("drop");
    EXPECT_EQ(dropped.status, 1);
    EXPECT_NE(dropped.out.find("srv6_class_item                              4         0"),
              std::string::npos)
        << dropped.out;
    EXPECT_EQ(dropped.err, "vorl_demo: " + number(objects) + " objects sent, but " +
                               number(objects - 4) + " received\n");

    const outcome twice = damaged("twice");
    EXPECT_EQ(twice.status, 1);
    EXPECT_NE(twice.out.find(total_of_all + number(objects + 4) + " objects, "), std::string::npos)
        << twice.out;
    EXPECT_NE(twice.err.find("more received than sent\n"), std::string::npos) << twice.err;

    const outcome refused = shell("VORL_BUS_FAIL=3 vorl_demo " VORL_TEST_EXAMPLE);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("was refused with code 1\n"), std::string::npos) << refused.err;
}

TEST_F(exchange, the_demo_fails_without_every_message)
{
    // All but two, of which the first is also the beginning of another's name.
    std::string others;
    for (const std::string &line : lines_of(objects_of(VORL_TEST_EXAMPLE))) {
        if (line.find("\"srv6_common_fwd\"") == std::string::npos &&
            line.find("\"srv6_bsid_fwd_key\"") == std::string::npos)
            others += line + "\n";
    }
    file("objects", others);
    const outcome done = shell("vorl_demo objects");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.err, "vorl_demo: the file has no object of srv6_common_fwd, srv6_bsid_fwd_key; "
                        "add a line with each\n");
}

TEST_F(exchange, the_demo_fails_on_a_bad_file)
{
    file("objects", first + bad);
    const outcome done = shell("vorl_demo objects");
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.err, "objects:2" + bad_error +
                            "vorl_demo: the receiving process did not start; see above\n");
    EXPECT_EQ(shell("vorl_demo nowhere").status, 1);
    EXPECT_EQ(shell("vorl_demo").status, 2);
}

TEST_F(exchange, the_demo_leaves_nothing_behind)
{
    const outcome done =
        shell("mkdir tmp && TMPDIR=$PWD/tmp vorl_demo " VORL_TEST_EXAMPLE " >/dev/null; ls -A tmp");
    EXPECT_EQ(done.out, "");
}
