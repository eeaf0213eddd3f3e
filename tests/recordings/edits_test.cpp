// vorl replay --edit.
#include <set>

#include "tests/recordings/recordings.h"

using namespace vorl;
using namespace vorl::test;

namespace {

class replay_edits : public recordings {
  protected:
    /// The first line on standard error.
    std::string refused(const std::string &edits, int status)
    {
        file("edits", edits);
        replay("--fast --edit edits c.pcapng", status);
        return lines_of(done.err).at(0);
    }
    /// What is sent with these edits.
    std::vector<std::string> sent_with(const std::string &edits)
    {
        file("edits", edits);
        replay("--fast --edit edits c.pcapng");
        return sends();
    }
};

const std::string sid = R"({"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8::","f6":48})";
const std::string item = R"({"message":"srv6_class_item","f0":1,"f1":2,"f2":3})";
const std::string batch =
    R"({"message":"srv6_localsid_fwd_delete","f0":9,"f1":[{"f0":7},{"f0":8}]})";

using lines = std::vector<std::string>;

} // namespace

TEST_F(replay_edits, members_of_a_message_are_replaced_and_all_else_stays)
{
    capture_file("c.pcapng", {sent(0, sid), sent(1, item), sent(2, batch), sent(3, sid)});
    const std::string other =
        line_of(sent(0, R"({"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8::","f6":64})"));
    EXPECT_EQ(sent_with("# a comment\n\n"
                        R"({"message":"srv6_localsid_fwd","set":{"f6":64}})"
                        "\n"),
              (lines{other, line_of(sent(1, item)), line_of(sent(2, batch)), other}));
    EXPECT_EQ(lines_of(done.err).back(),
              "vorl replay: 4 frames read, 4 sent in 4 sends, 2 of them edited, 0 refused");
}

TEST_F(replay_edits, a_frame_is_named_by_its_number_and_process)
{
    std::vector<capture::frame> frames = {sent(0, sid), sent(1, sid), sent(1, sid)};
    frames[2].facts.process = 5;
    capture_file("c.pcapng", frames);
    const std::string as_was = line_of(sent(0, sid));
    const std::string other =
        line_of(sent(0, R"({"message":"srv6_localsid_fwd","f0":2,"f5":"2001:db8::","f6":48})"));
    EXPECT_EQ(sent_with(R"({"number":1,"set":{"f0":2}})"), (lines{as_was, other, other}));
    EXPECT_EQ(sent_with(R"({"number":1,"process":5,"set":{"f0":2}})"),
              (lines{as_was, as_was, other}));
    EXPECT_EQ(sent_with(R"({"number":0,"message":"srv6_localsid_fwd","set":{"f0":2}})"),
              (lines{other, as_was, as_was}));
    // One after the other, in the file's order.
    EXPECT_EQ(sent_with("{\"number\":0,\"set\":{\"f0\":3}}\n"
                        "{\"message\":\"srv6_localsid_fwd\",\"set\":{\"f0\":2}}"),
              (lines{other, other, other}));
    const std::string third =
        line_of(sent(0, R"({"message":"srv6_localsid_fwd","f0":3,"f5":"2001:db8::","f6":48})"));
    EXPECT_EQ(sent_with("{\"message\":\"srv6_localsid_fwd\",\"set\":{\"f0\":3}}\n"
                        "{\"number\":0,\"set\":{\"f0\":2}}"),
              (lines{other, third, third}));
}

// Each shape, where there was a value: arrays and vectors as a whole, of a table what is named.
TEST_F(replay_edits, members_of_every_shape)
{
    struct change {
        const char *before, *set, *after;
    };
    const change changes[] = {
        {sid.c_str(), R"({"f5":"::"})", R"({"message":"srv6_localsid_fwd","f0":1,"f6":48})"},
        {batch.c_str(), R"({"f1":[{"f0":5}]})",
         R"({"message":"srv6_localsid_fwd_delete","f0":9,"f1":[{"f0":5}]})"},
        {batch.c_str(), R"({"f1":[]})", R"({"message":"srv6_localsid_fwd_delete","f0":9})"},
        {batch.c_str(), R"({"f0":1})",
         R"({"message":"srv6_localsid_fwd_delete","f0":1,"f1":[{"f0":7},{"f0":8}]})"},
    };
    for (const change &c : changes) {
        capture_file("c.pcapng", {sent(0, c.before)});
        EXPECT_EQ(sent_with(std::string(R"({"number":0,"set":)") + c.set + "}"),
                  lines{line_of(sent(0, c.after))})
            << c.set;
    }
    // A table, an array of tables, an array of bytes and a vector of bytes, of whichever messages have them.
    std::set<slot_shape> seen;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const std::string head = std::string("{\"message\":\"") + name_of(info.data) + "\"";
            for (std::size_t i = 0; i < info.slots.size(); ++i) {
                const slot &s = info.data.slots[i];
                const bool is_wanted = s.shape == slot_shape::table ||
                                       s.shape == slot_shape::table_array ||
                                       s.shape == slot_shape::byte_vector ||
                                       (s.shape == slot_shape::array && s.width == 1);
                if (!is_wanted ||
                    (s.nested != nullptr &&
                     (s.nested->slots.size < 2 || s.nested->slots[0].shape != slot_shape::scalar ||
                      s.nested->slots[1].shape != slot_shape::scalar)))
                    continue;
                seen.insert(s.shape);
                const std::string name = ",\"f" + std::to_string(i) + "\":";
                const auto object = [&](const std::string &value) {
                    return head + name + value + "}";
                };
                std::string before = "\"010203\"", set = "\"05\"", after = "\"05\"";
                if (s.shape == slot_shape::table) {
                    before = R"({"f0":1,"f1":2})", set = R"({"f1":3})",
                    after = R"({"f0":1,"f1":3})";
                } else if (s.shape == slot_shape::table_array) {
                    before = R"([{"f0":1,"f1":2}])", set = R"([{"f1":3}])", after = set;
                }
                SCOPED_TRACE(object(set));
                capture_file("c.pcapng", {sent(0, object(before))});
                EXPECT_EQ(sent_with(head + ",\"set\":{" + name.substr(1) + set + "}}"),
                          lines{line_of(sent(0, object(after)))});
            }
            if (seen.size() == 4)
                return;
        }
    }
    EXPECT_EQ(seen.size(), 4U);
}

TEST_F(replay_edits, members_may_be_named_by_labels)
{
    capture_file("c.pcapng", {sent(0, sid)});
    file("edits", R"({"message":"srv6_localsid_fwd","set":{"locator_length":64}})");
    replay("--labels '" VORL_TEST_LABELS "' --edit edits c.pcapng");
    EXPECT_EQ(
        sends()[0],
        line_of(sent(0, R"({"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8::","f6":64})")));
}

TEST_F(replay_edits, what_cannot_be_is_said_before_anything_is_sent)
{
    capture_file("c.pcapng", {sent(0, sid)});
    const std::pair<const char *, const char *> wrong[] = {
        {"\n{\"message\":\"srv6_localsid_fdw\",\"set\":{\"f6\":64}}",
         "edits:2: message: vorl: no message is called srv6_localsid_fdw; did you mean "
         "srv6_localsid_fwd?"},
        {R"({"message":"srv6_localsid_fwd","set":{"f99":64}})",
         "edits:1: set.f99: is no member of srv6_localsid_fwd; its members are f0 to f12"},
        {R"({"message":"srv6_localsid_fwd","set":{"f6":65536}})",
         "edits:1: set.f6: 65536 is out of range; give a whole number from 0 to 65535"},
        {R"({"message":"srv6_localsid_fwd"})",
         "edits:1: set: is missing; give one such as "
         R"({"message":"srv6_localsid_fwd","set":{"f6":64}} or {"number":17,"set":{"f6":64}})"},
        {R"({"set":{"f6":64}})",
         "edits:1: line: names neither a message nor a frame's number; give one such as "
         R"({"message":"srv6_localsid_fwd","set":{"f6":64}} or {"number":17,"set":{"f6":64}})"},
        {R"({"mesage":"srv6_localsid_fwd","set":{"f6":64}})",
         "edits:1: mesage: is no member of an edit; did you mean message?"},
        {R"({"number":-1,"set":{"f6":64}})",
         "edits:1: number: is no whole number from 0 to 18446744073709551615; give one such as "
         R"({"message":"srv6_localsid_fwd","set":{"f6":64}} or {"number":17,"set":{"f6":64}})"},
        {R"({"number":1,"number":2,"set":{"f6":64}})",
         "edits:1: number: is given twice; give it once"},
        {R"({"number":1,"set":{}})",
         "edits:1: set: names no member to replace; give one such as "
         R"({"message":"srv6_localsid_fwd","set":{"f6":64}} or {"number":17,"set":{"f6":64}})"},
    };
    for (const auto &[edit, why] : wrong) {
        EXPECT_EQ(refused(edit, 2), why);
        EXPECT_EQ(sends().size(), 0U);
    }
    EXPECT_EQ(refused("{", 2).substr(0, 16), "edits:1: column ");
}

TEST_F(replay_edits, a_frame_that_cannot_be_edited_is_refused_and_the_rest_sent)
{
    std::vector<capture::frame> frames = {sent(0, sid), sent(1, item), sent(2, item)};
    frames[2].kept.resize(28);
    frames[2].facts.length = 28;
    capture_file("c.pcapng", frames);
    EXPECT_EQ(
        refused(R"({"number":1,"set":{"f6":64}})", 1),
        "edits:1: set.f6: is no member of srv6_class_item; its members are f0 to f2 (c.pcapng: "
        "packet 2)");
    EXPECT_EQ(sends(), (lines{line_of(frames[0]), line_of(frames[2])}));
    EXPECT_NE(
        refused(R"({"number":2,"set":{"f0":64}})", 1).find("edits:1: the frame is refused at "),
        std::string::npos);
    EXPECT_EQ(refused(R"({"number":7,"set":{"f0":64}})", 1),
              "edits:1: no frame that was to be sent is that; 'vorl replay --dry-run' shows the "
              "numbers, and the messages");
    EXPECT_EQ(sends().size(), 3U);
}
