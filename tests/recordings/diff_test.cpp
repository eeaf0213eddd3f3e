// vorl diff as a person runs it.
#include <nlohmann/json.hpp>

#include "tests/facts/counts.h"
#include "tests/recordings/recordings.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class diff_command : public recordings {
  protected:
    /// The standard output.
    std::string diff(const std::string &arguments, int status)
    {
        done = shell("vorl diff " + arguments);
        EXPECT_EQ(done.status, status) << arguments << "\n" << done.out << done.err;
        return done.out;
    }
};

std::string item(std::uint64_t f0, std::uint64_t f1 = 0)
{
    return R"({"message":"srv6_class_item","f0":)" + std::to_string(f0) +
           (f1 == 0 ? "" : ",\"f1\":" + std::to_string(f1)) + "}";
}

} // namespace

TEST_F(diff_command, says_which_message_which_member_old_and_new)
{
    file("a", item(1, 2) + "\n" + item(5, 7) + "\n");
    file("b", "# a comment\n\n" + item(1, 2) + "\n" + item(5) + "\n");
    EXPECT_EQ(diff("a b", 1), "--- a\n"
                              "+++ b\n"
                              "@@ srv6_class_item, line 2, line 4 @@\n"
                              "-f1: 7\n"
                              "+f1: absent\n");
    EXPECT_EQ(done.err, "vorl diff: 2 compared, 1 different, 0 only in a, 0 only in b\n");
    EXPECT_EQ(diff("a a", 0), "");
    EXPECT_EQ(diff("b - <a", 1).substr(0, 20), "--- b\n+++ <stdin>\n@@");
}

// As JSON, dumps in several forms, and captures: each with each, of every message.
TEST_F(diff_command, every_input_that_the_tool_reads)
{
    std::string objects;
    std::vector<capture::frame> frames;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const std::string object = std::string(R"({"message":")") + name_of(info.data) + "\"}";
            objects += object + "\n";
            frames.push_back(sent(frames.size(), object));
        }
    }
    ASSERT_EQ(frames.size(), counts::messages);
    file("json", objects);
    capture_file("pcapng", frames);
    diff("json pcapng", 0);
    EXPECT_EQ(done.err, "vorl diff: 115 compared, 0 different, 0 only in json, 0 only in pcapng\n");
    // One message's frames, in forms that do not say what they are.
    file("one", item(1) + "\n" + item(2) + "\n");
    ASSERT_EQ(
        shell("vorl encode one >hex; vorl encode --packed one >packed; "
              "xxd -r -p hex | head -c 32 | xxd >xxd; vorl encode one | tail -1 | xxd -r -p | "
              "xxd >>xxd")
            .status,
        0);
    for (const char *name : {"hex", "packed", "xxd"}) {
        EXPECT_EQ(diff(std::string("--message srv6_class_item one ") + name, 0), "") << name;
        EXPECT_EQ(diff(std::string("--message srv6_class_item packed ") + name, 0), "") << name;
    }
    EXPECT_EQ(diff("one hex", 2), "");
    EXPECT_NE(done.err.find("hex:1: nothing says which message the frame is of; give --message"),
              std::string::npos)
        << done.err;
}

TEST_F(diff_command, absent_is_zero_unless_strict)
{
    file("absent", R"({"message":"srv6_class_item","f2":3})");
    file("zero", R"({"message":"srv6_class_item","f0":0,"f2":3})");
    diff("absent zero", 0);
    EXPECT_EQ(diff("--strict absent zero", 1), "--- absent\n+++ zero\n"
                                               "@@ srv6_class_item, line 1 @@\n"
                                               "-f0: absent\n"
                                               "+f0: 0\n");
}

TEST_F(diff_command, without_keys_records_are_compared_in_order_of_each_message)
{
    const std::string other = R"({"message":"srv6_vrf_class_state","f0":1})";
    file("a", item(1) + "\n" + item(2) + "\n" + other + "\n");
    file("b", other + "\n" + item(1) + "\n" + item(2) + "\n"); // messages by turns otherwise
    diff("a b", 0);
    file("c", item(2) + "\n" + item(1) + "\n" + other + "\n");
    diff("a c", 1);
    EXPECT_EQ(done.err, "vorl diff: 3 compared, 2 different, 0 only in a, 0 only in c\n");
    file("d", item(1) + "\n" + item(2) + "\n" + item(3) + "\n" + other + "\n");
    EXPECT_EQ(diff("a d", 1), "--- a\n+++ d\n"
                              "@@ srv6_class_item, only in d, line 3 @@\n"
                              "+{\"message\":\"srv6_class_item\",\"f0\":3}\n");
    EXPECT_EQ(diff("d a", 1), "--- d\n+++ a\n"
                              "@@ srv6_class_item, only in d, line 3 @@\n"
                              "-{\"message\":\"srv6_class_item\",\"f0\":3}\n");
}

TEST_F(diff_command, with_keys_records_of_equal_key_are_compared)
{
    const std::string key = "--key srv6_class_item=f0 ";
    file("a", item(1, 10) + "\n" + item(2, 20) + "\n" + item(1, 11) + "\n" + item(4) + "\n");
    file("b", item(2, 20) + "\n" + item(1, 10) + "\n" + item(3, 30) + "\n" + item(1, 12) + "\n");
    EXPECT_EQ(diff(key + "a b", 1), "--- a\n+++ b\n"
                                    "@@ srv6_class_item, f0=1, line 3, line 4 @@\n"
                                    "-f1: 11\n"
                                    "+f1: 12\n"
                                    "@@ srv6_class_item, f0=3, only in b, line 3 @@\n"
                                    "+{\"message\":\"srv6_class_item\",\"f0\":3,\"f1\":30}\n"
                                    "@@ srv6_class_item, f0=4, only in a, line 4 @@\n"
                                    "-{\"message\":\"srv6_class_item\",\"f0\":4}\n");
    EXPECT_EQ(done.err, "vorl diff: 3 compared, 1 different, 1 only in a, 1 only in b\n");
    // The order of one key's records is kept.
    file("c", item(1, 11) + "\n" + item(2, 20) + "\n" + item(1, 10) + "\n" + item(4) + "\n");
    diff(key + "a c", 1);
    EXPECT_EQ(done.err, "vorl diff: 4 compared, 2 different, 0 only in a, 0 only in c\n");
    diff("--key srv6_class_item=f0,f1 a c", 0);
    // Also where several of one key wait.
    file("f", item(1, 10) + "\n" + item(1, 11) + "\n" + item(2) + "\n" + item(3) + "\n");
    file("g", item(2) + "\n" + item(3) + "\n" + item(1, 10) + "\n" + item(1, 11) + "\n");
    diff(key + "f g", 0);
    // Several keys, of tables' members, by labels.
    const std::string sids = R"({"message":"srv6_localsid_fwd","f0":2,"f6":48})"
                             "\n"
                             R"({"message":"srv6_localsid_fwd","f0":1,"f6":64})"
                             "\n";
    file("d", sids + item(2) + "\n" + item(1) + "\n");
    const std::vector<std::string> lines = lines_of(sids);
    file("e", item(1) + "\n" + item(2) + "\n" + lines[1] + "\n" + lines[0] + "\n");
    diff("d e", 1);
    diff(key + "--key srv6_localsid_fwd=f0 d e", 0);
    diff("--labels '" VORL_TEST_LABELS "' " + key + "--key srv6_localsid_fwd=sid_number d e", 0);
}

TEST_F(diff_command, keys_that_cannot_be)
{
    file("a", item(1));
    const std::pair<const char *, const char *> wrong[] = {
        {"srv6_class_item", "names no members; give a message and its key's members, such as "
                            "srv6_localsid_fwd=f0,f5"},
        {"srv6_class_itme=f0",
         "vorl: no message is called srv6_class_itme; did you mean srv6_class_item?"},
        {"srv6_class_item=f3", "srv6_class_item has no member f3; it has f0 to f2"},
        {"srv6_class_item=f0,", "srv6_class_item has no member ; it has f0 to f2"},
        {"srv6_class_item=f0.f1", "f0.f1: what stands before \".f1\" is no single table; leave the "
                                  "rest out"},
        {"srv6_localsid_fwd_delete=f1.f0", "f1.f0 holds several tables; a key is of single values"},
    };
    for (const auto &[key, why] : wrong) {
        diff("--key " + std::string(key) + " a a", 2);
        EXPECT_EQ(done.err, "vorl diff: --key " + std::string(key) + ": " + why + "\n");
    }
    diff("--key srv6_class_item=f0 --key srv6_class_item=f1 a a", 2);
    for (const char *usage : {"a", "- -", "a a a", "--nothing a a", "--message srv6_no a a"})
        diff(usage, 2);
}

TEST_F(diff_command, senders_are_told_apart_by_the_order_of_their_first_frames)
{
    const auto by = [](std::uint32_t process, std::uint64_t f0) {
        capture::frame f = sent(0, item(f0));
        f.facts.process = process;
        return f;
    };
    capture_file("a", {by(10, 1), by(20, 2), by(10, 3), by(20, 4)});
    // Other process numbers, and their frames in another order among each other.
    capture_file("b", {by(99, 1), by(99, 3), by(5, 2), by(5, 4)});
    diff("a b", 0);
    capture_file("c", {by(99, 1), by(99, 3), by(5, 4), by(5, 2)}); // each one's own order counts
    EXPECT_EQ(diff("a c", 1), "--- a\n+++ c\n"
                              "@@ srv6_class_item, sent by process 2, packet 2, packet 3 @@\n"
                              "-f0: 2\n"
                              "+f0: 4\n"
                              "@@ srv6_class_item, sent by process 2, packet 4 @@\n"
                              "-f0: 4\n"
                              "+f0: 2\n");
    capture_file("d", {by(7, 1), by(7, 2), by(7, 3), by(7, 4)});
    diff("a d", 1);
    diff("--any-sender a d", 0);
    file("json", item(1) + "\n" + item(2) + "\n" + item(3) + "\n" + item(4));
    diff("a json", 0); // which says nothing of senders
    // What was received is compared with what was received.
    capture::frame received = by(10, 1);
    received.facts.way = capture::direction::received;
    capture_file("e", {by(10, 1), received});
    capture_file("f", {received, by(10, 1)});
    diff("e f", 0);
    capture_file("g", {by(10, 1), by(10, 1)});
    diff("e g", 1);
    EXPECT_EQ(done.err, "vorl diff: 1 compared, 0 different, 1 only in e, 1 only in g\n");
}

TEST_F(diff_command, json_has_the_same)
{
    capture_file("a", {sent(0, item(1, 7)), sent(1, item(2))});
    capture_file("b", {sent(0, item(1))});
    const std::vector<std::string> lines = lines_of(diff("--json --key srv6_class_item=f0 a b", 1));
    ASSERT_EQ(lines.size(), 3U);
    using nlohmann::json;
    EXPECT_EQ(json::parse(lines[0]), json::parse(R"({"message":"srv6_class_item","sender":1,
        "direction":"sent","key":{"f0":1},"a":"packet 1","b":"packet 1","members":[{"member":"f1",
        "a":{"is":"value","value":7},"b":{"is":"zero","value":0}}]})"));
    EXPECT_EQ(json::parse(lines[1]), json::parse(R"({"message":"srv6_class_item","sender":1,
        "direction":"sent","key":{"f0":2},"only":"a","a":"packet 2",
        "record":{"message":"srv6_class_item","f0":2}})"));
    EXPECT_EQ(json::parse(lines[2]), json::parse(R"({"compared":1,"different":1,"only_a":1,
        "only_b":0,"not_compared":0})"));
    file("with", item(1, 7));
    file("without", item(1));
    EXPECT_EQ(lines_of(diff("--json with without", 1))[0],
              R"({"message":"srv6_class_item","a":"line 1","b":"line 1","members":[{"member":"f1",)"
              R"("a":{"is":"value","value":7},"b":{"is":"absent"}}]})");
    EXPECT_EQ(diff("--json b b", 0), "{\"compared\":1,\"different\":0,\"only_a\":0,\"only_b\":0,"
                                     "\"not_compared\":0}\n");
}

TEST_F(diff_command, what_could_be_read_is_compared)
{
    file("a", item(1) + "\n" + item(2) + "\n" + item(3) + "\n");
    file("b", item(1) + "\n{\"message\":\"srv6_class_item\",\"f9\":2}\n" + item(4) + "\n");
    diff("a b", 3);
    EXPECT_EQ(lines_of(done.err)[0],
              "b:2: f9: is no member of srv6_class_item; its members are f0 to f2");
    EXPECT_EQ(count_of(done.out, "@@ srv6_class_item, line 2, line 3 @@"), 1U) << done.out;
    std::vector<capture::frame> frames;
    for (std::uint64_t i = 0; i < 10; ++i)
        frames.push_back(sent(i, item(i + 1)));
    capture_file("whole", frames);
    const std::string text = text_of("whole");
    file("cut", text.substr(0, text.size() - 20));
    EXPECT_EQ(diff("whole cut", 3), "");
    EXPECT_NE(done.err.find("cut: packet 10: "), std::string::npos);
    EXPECT_EQ(lines_of(done.err).back(),
              "vorl diff: 9 compared, 0 different, 0 only in whole, 0 only in cut, 1 not compared, "
              "because the other input ends in damage");
    diff("nowhere a", 3);
    EXPECT_EQ(done.err, "nowhere: cannot be opened (No such file or directory); give a readable "
                        "file, or - for standard input\n");
    file("nothing", "");
    diff("nothing nothing", 0);
    diff("nothing a", 1);
    // Any byte of a capture another: said or not, it ends.
    for (std::size_t at = 0; at < text.size(); at += 41) {
        std::string damaged = text;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        file("damaged", damaged);
        const outcome ended = shell("vorl diff whole damaged");
        EXPECT_TRUE(ended.status == 0 || ended.status == 1 || ended.status == 3)
            << at << ": " << ended.status << "\n"
            << ended.err;
    }
}

TEST_F(diff_command, frames_that_are_no_record_are_told)
{
    std::vector<capture::frame> frames = {sent(0, item(1)), sent(1, item(2))};
    capture_file("a", frames);
    frames[1].kept.resize(10);
    capture_file("b", frames);
    EXPECT_EQ(diff("--key srv6_class_item=f0 b b", 0), "");
    EXPECT_EQ(diff("a b", 1), "--- a\n+++ b\n"
                              "@@ srv6_class_item, sent by process 1, packet 2 @@\n"
                              "-the frame: 32 bytes that a receiver accepts\n"
                              "+the frame: unknown (cut: 10 of 32 bytes)\n");
}
