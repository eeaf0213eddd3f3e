// The demo's recording (record_demo.sh) replayed over the development bus: the receiver reads what the demo was to
// send, and the traffic is that of the recording.
#include <set>

#include "tests/facts/counts.h"
#include "tests/recordings/recordings.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class demo_recording : public recordings {
  protected:
    demo_recording()
    {
        fs::copy(VORL_TEST_RECORDINGS "/demo.pcapng", directory.path() / "demo.pcapng");
        fs::copy(VORL_TEST_RECORDINGS "/demo.jsonl", directory.path() / "demo.jsonl");
        objects = std::to_string(lines_of(text_of("demo.jsonl")).size());
    }

    /// By what the capture says of each frame.
    std::size_t sends_that_were() const
    {
        const std::string facts = shell("vorl tap export --json demo.pcapng").out;
        return lines_of(facts).size() - count_of(facts, "\"counters\":") -
               count_of(facts, "\"of_send\":") + count_of(facts, "\"index\":0,");
    }

    /// Receives the objects into `received` while the recording is replayed to destination 1.
    outcome exchange(const std::string &before, const std::string &options) const
    {
        return shell(before + "vorl recv 1 --count " + objects +
                     " --timeout 60 --sparse >received 2>err & "
                     "receiver=$!; " +
                     before + "vorl replay --wait 30 " + options +
                     " demo.pcapng && wait $receiver");
    }
    std::string objects; ///< how many the demo is to send
    const std::string tapped = "export VORL_TAP_DIR=rings LD_PRELOAD='" VORL_TEST_TAP "'; ";
    const std::string untapped = "unset LD_PRELOAD; ";
};

} // namespace

TEST_F(demo_recording, has_every_message)
{
    std::set<std::string> messages;
    for (const std::string &line : lines_of(shell("vorl decode --sparse demo.pcapng").out))
        messages.insert(line.substr(0, line.find(',')));
    EXPECT_EQ(messages.size(), counts::messages);
}

TEST_F(demo_recording, a_receiver_of_its_replay_reads_what_the_demo_was_to_send)
{
    const outcome replayed = exchange("", "");
    EXPECT_EQ(replayed.status, 0) << replayed.err;
    EXPECT_EQ(replayed.err, "vorl replay: " + objects + " frames read, " + objects + " sent in " +
                                std::to_string(sends_that_were()) + " sends, 0 refused\n");
    EXPECT_EQ(text_of("err"), "vorl recv: " + objects + " received, 0 refused\n");
    const outcome compared = shell("vorl diff demo.jsonl received");
    EXPECT_EQ(compared.out, "");
    EXPECT_EQ(compared.err, "vorl diff: " + objects +
                                " compared, 0 different, 0 only in demo.jsonl, 0 only in "
                                "received\n");
    EXPECT_EQ(compared.status, 0);
}

TEST_F(demo_recording, a_capture_of_its_replay_is_equal_to_it)
{
    const outcome replayed = exchange(tapped, "--fast");
    EXPECT_EQ(replayed.status, 0) << replayed.err;
    // Without those that were refused, because the receiver had not come yet.
    ASSERT_EQ(shell(untapped + "vorl tap export --direction sent --result 0 --output again.pcapng "
                               "rings")
                  .status,
              0);
    const outcome compared = shell("vorl diff --strict demo.pcapng again.pcapng");
    EXPECT_EQ(compared.out, "");
    EXPECT_EQ(compared.err, "vorl diff: " + objects +
                                " compared, 0 different, 0 only in demo.pcapng, 0 only in "
                                "again.pcapng\n");
    EXPECT_EQ(compared.status, 0);
    // The same batches, byte for byte, which is more than to mean the same.
    const auto listed = [this](const std::string &name) {
        return shell("vorl replay --dry-run " + name + " | sed 's/.*: //'").out;
    };
    EXPECT_EQ(listed("again.pcapng"), listed("demo.pcapng"));
    EXPECT_EQ(count_of(listed("again.pcapng"), "of one send"),
              count_of(shell("vorl tap export --json demo.pcapng").out, "\"of_send\":"));
    EXPECT_GT(count_of(listed("again.pcapng"), "of one send"), 100U);
    EXPECT_TRUE(shell("vorl decode again.pcapng").out == shell("vorl decode demo.pcapng").out);
}

// The comparison is not blind.
TEST_F(demo_recording, what_was_edited_differs)
{
    file("edits", R"({"message":"srv6_localsid_fwd","set":{"f6":65}})");
    const outcome replayed = exchange("", "--fast --edit edits");
    EXPECT_EQ(replayed.status, 0) << replayed.err;
    const std::size_t edited = count_of(text_of("demo.jsonl"), "\"message\":\"srv6_localsid_fwd\"");
    EXPECT_GT(edited, 5U);
    const outcome compared = shell("vorl diff demo.jsonl received");
    EXPECT_EQ(compared.status, 1);
    EXPECT_EQ(count_of(compared.out, "@@ srv6_localsid_fwd, line "), edited);
    EXPECT_EQ(count_of(compared.out, "+f6: 65\n"), edited);
    EXPECT_EQ(count_of(compared.out, "@@ "), edited);
}
