// Sends that are refused or damaged: what the sender gets, what a person reads, and that nothing
// accepted is lost and nothing else harmed.

#include <cstring>
#include <fstream>
#include <utility>

#include "srv6.h"
#include "tests/platform/processes.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

class failures : public bus_test {
  protected:
    std::string socket_of_seven() const { return directory + "/7.sock"; }
};

TEST_F(failures, a_full_queue_takes_nothing_of_a_send)
{
    item_receiver receiver(7, 3 * item_frame_length + 31);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_items(7, 0, 0, 2), 0U);
        EXPECT_EQ(send_items(7, 0, 2, 2), 2U);
        EXPECT_EQ(send_items(7, 0, 2, 1), 0U);
        EXPECT_EQ(send_items(7, 0, 3, 1), 2U);
    }));
    EXPECT_EQ(receiver.counters().accepted, 3U);
    ASSERT_TRUE(receiver.receive(3));
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 3, 3), 0U); }));
    ASSERT_TRUE(receiver.receive(6));
    EXPECT_EQ(receiver.items_of(0), numbers_to(6));
}

TEST_F(failures, room_that_was_taken_meanwhile_refuses_a_send)
{
    item_receiver receiver(7, 2 * item_frame_length);
    // There is room when the head comes, and none any more when the rest does.
    const std::vector<std::uint8_t> whole = wire_bytes(item_id, {item_frame(9)});
    const raw_socket slow = raw_socket::connected_to(socket_of_seven());
    slow.write({whole.begin(), whole.begin() + 30});
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 2), 0U); }));
    slow.write({whole.begin() + 30, whole.end()});
    EXPECT_EQ(slow.read(4), (std::vector<std::uint8_t>{2, 0, 0, 0}));
    ASSERT_TRUE(receiver.receive(2));
    // The connection is fit for another.
    slow.write(wire_bytes(item_id, {item_frame(2)}));
    EXPECT_EQ(slow.read(4), (std::vector<std::uint8_t>{0, 0, 0, 0}));
    ASSERT_TRUE(receiver.receive(3));
    EXPECT_EQ(receiver.items_of(0), numbers_to(3));
}

TEST_F(failures, retrying_while_the_queue_is_full_loses_and_doubles_nothing)
{
    channel opened, was_full;
    child sender([&] {
        opened.get();
        std::uint64_t refusals = 0;
        std::uint32_t sent = 0;
        while (send_items(7, 0, sent, 4) == 0)
            sent += 4;
        EXPECT_EQ(sent, 20U);
        was_full.put(1);
        for (std::uint32_t length = 1; sent < 2000; sent += length, length = length % 9 + 1)
            EXPECT_EQ(send_items_patiently(7, 0, sent, length, &refusals), 0U);
        was_full.put(sent);
    });
    item_receiver receiver(7, 20 * item_frame_length);
    opened.put(1);
    was_full.get();
    EXPECT_TRUE(receiver.receive(2000));
    const auto sent = static_cast<std::uint32_t>(was_full.get());
    EXPECT_TRUE(sender.succeeds());
    receiver.close();
    EXPECT_EQ(receiver.items_of(0), numbers_to(sent));
}

TEST_F(failures, a_send_longer_than_the_whole_queue_is_a_bad_frame)
{
    item_receiver receiver(7, 4 * item_frame_length);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_items(7, 0, 0, 5), 3U);
        EXPECT_EQ(send_items(7, 0, 0, 4), 0U);
    }));
    EXPECT_EQ(receiver.counters().accepted, 4U);
}

TEST_F(failures, descriptors_without_bytes_refuse_the_whole_send)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        const std::vector<std::uint8_t> frame = item_frame(0);
        const auto length = static_cast<std::uint32_t>(frame.size());
        const frame_desc good = {frame.data(), item_id, length};
        const frame_desc no_data[] = {good, {nullptr, item_id, length}};
        const frame_desc no_length[] = {good, {frame.data(), item_id, 0}};
        EXPECT_EQ(VORL_SendMsg(7, no_data, 2), 3U);
        EXPECT_EQ(VORL_SendMsg(7, no_length, 2), 3U);
        EXPECT_EQ(VORL_SendMsg(7, &good, 0), 3U);
        EXPECT_EQ(VORL_SendMsg(7, nullptr, 1), 3U);
        EXPECT_EQ(VORL_SendToMsg(0, no_data, 2, 7), 3U);
        EXPECT_EQ(VORL_SendMsg(7, &good, 1), 0U);
    }));
    EXPECT_EQ(receiver.counters().accepted, 1U);
}

TEST_F(failures, unaligned_descriptors_are_read)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        const std::vector<std::uint8_t> frame = item_frame(0);
        const frame_desc desc = {frame.data(), item_id, static_cast<std::uint32_t>(frame.size())};
        std::vector<char> shifted(2 * sizeof desc + 1);
        std::memcpy(shifted.data() + 1, &desc, sizeof desc);
        std::memcpy(shifted.data() + 1 + sizeof desc, &desc, sizeof desc);
        const void *descs = shifted.data() + 1;
        EXPECT_EQ(VORL_SendMsg(7, static_cast<const frame_desc *>(descs), 2), 0U);
    }));
    EXPECT_TRUE(receiver.receive(2));
}

TEST_F(failures, frames_of_unknown_type_are_reported_once_a_type_and_counted)
{
    captured_stderr output;
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_frame(7, 0x12345678, {1, 2, 3}), 0U);
        EXPECT_EQ(send_items(7, 0, 0, 1), 0U);
        EXPECT_EQ(send_frame(7, 0x12345678, {1, 2, 3}), 0U);
        EXPECT_EQ(send_frame(7, 0x9ABCDEF0, {4}), 0U);
        EXPECT_EQ(send_items(7, 0, 1, 1), 0U);
    }));
    ASSERT_TRUE(receiver.receive(2));
    EXPECT_EQ(receiver.items_of(0), numbers_to(2));
    EXPECT_EQ(receiver.counters().accepted, 5U);
    EXPECT_EQ(receiver.counters().delivered, 2U);
    EXPECT_EQ(receiver.counters().unknown, 3U);
    const std::vector<std::string> lines = output.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(
        lines[0],
        "vorl-bus: destination 7: frame of unknown type 0x12345678 (3 bytes) dropped, as will be "
        "all others of this type: nobody registered it");
    EXPECT_NE(lines[1].find("0x9ABCDEF0 (1 bytes)"), std::string::npos);
}

TEST_F(failures, of_unknown_types_the_first_thousand_are_reported)
{
    captured_stderr output;
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        for (std::uint32_t id = 1; id <= 1200; ++id)
            EXPECT_EQ(send_frame(7, id, {1}), 0U);
        EXPECT_EQ(send_items(7, 0, 0, 1), 0U);
    }));
    ASSERT_TRUE(receiver.receive(1));
    EXPECT_EQ(receiver.counters().unknown, 1200U);
    const std::vector<std::string> lines = output.lines();
    ASSERT_EQ(lines.size(), 1001U);
    EXPECT_NE(lines[999].find("0x000003E8 (1 bytes)"), std::string::npos);
    EXPECT_EQ(lines[1000],
              "vorl-bus: destination 7: 1000 unknown types; no further ones are reported");
}

TEST_F(failures, a_frame_that_unpack_refuses_gives_a_zero_record)
{
    register_all();
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen(7, 0);
    ASSERT_NE(receiver, nullptr);
    // A frame with elements first, so that a record left as it was would show them.
    EXPECT_TRUE(in_child([] {
        const message *update = &catalogue::find_message("srv6_common_fwd_update")->data;
        sample record(*update);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(functions_of(*update).sendmsg(7, record.record(), 1), 0U);
            EXPECT_EQ(send_frame(7, update->msg_id, std::vector<std::uint8_t>(40, 0xFF)), 0U);
        }
    }));
    std::vector<std::vector<std::uint8_t>> records;
    const auto keep = [](void *user, std::uint32_t, const void *record, std::uint32_t record_size,
                         const void *, std::uint32_t) {
        const auto *bytes = static_cast<const std::uint8_t *>(record);
        static_cast<decltype(records) *>(user)->emplace_back(bytes, bytes + record_size);
    };
    EXPECT_EQ(VORL_DevReceive(receiver, -1, keep, &records), 4U);
    VORL_DevReceiverClose(receiver, keep, &records);
    ASSERT_EQ(records.size(), 4U);
    const std::vector<std::uint8_t> zero(16);
    EXPECT_NE(records[0], zero);
    EXPECT_EQ(records[1], zero);
    EXPECT_NE(records[2], zero);
    EXPECT_EQ(records[3], zero);
}

TEST_F(failures, a_send_cut_short_delivers_nothing_of_itself)
{
    captured_stderr output;
    item_receiver receiver(7);
    // 16 bytes of head, 3 times 8 of frame heads, 3 frames.
    const std::vector<std::uint8_t> whole =
        wire_bytes(item_id, {item_frame(0), item_frame(1), item_frame(2)});
    const std::size_t cuts[] = {1, 15, 16, 17, 39, 40, 41, whole.size() - 1};
    std::uint64_t cut_so_far = 0;
    for (const std::size_t cut : cuts) {
        EXPECT_TRUE(in_child([&] {
            raw_socket::connected_to(socket_of_seven())
                .write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut)});
        }));
        ++cut_so_far;
        EXPECT_TRUE(eventually([&] { return receiver.counters().cut_short == cut_so_far; })) << cut;
    }
    EXPECT_EQ(receiver.counters().accepted, 0U);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 3), 0U); }));
    ASSERT_TRUE(receiver.receive(3));
    EXPECT_EQ(receiver.items_of(0), numbers_to(3));
    receiver.close();
    const std::vector<std::string> lines = output.lines();
    ASSERT_EQ(lines.size(), 8U);
    for (const std::string &line : lines)
        EXPECT_EQ(
            line,
            "vorl-bus: destination 7: a sender went away in the middle of a send; none of its "
            "frames is delivered");
}

TEST_F(failures, a_slow_sender_keeps_nobody_waiting)
{
    item_receiver receiver(7);
    const std::vector<std::uint8_t> whole = wire_bytes(item_id, {item_frame(1)});
    const raw_socket slow = raw_socket::connected_to(socket_of_seven());
    slow.write({whole.begin(), whole.begin() + 30});
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), 0U); }));
    ASSERT_TRUE(receiver.receive(1));
    slow.write({whole.begin() + 30, whole.end()});
    EXPECT_EQ(slow.read(4), std::vector<std::uint8_t>(4));
    ASSERT_TRUE(receiver.receive(2));
    EXPECT_EQ(receiver.items_of(0), numbers_to(2));
}

TEST_F(failures, a_stream_of_garbage_loses_its_connection_and_harms_no_other)
{
    captured_stderr output;
    item_receiver receiver(7);
    ASSERT_EQ(send_items(7, 0, 0, 1), 0U); // a connection that must live on

    const std::vector<std::uint8_t> good = wire_bytes(item_id, {item_frame(0), item_frame(0)});
    const auto with = [&good](std::size_t at, std::vector<std::uint8_t> bytes) {
        std::vector<std::uint8_t> changed = good;
        std::copy(bytes.begin(), bytes.end(), changed.begin() + static_cast<std::ptrdiff_t>(at));
        return changed;
    };
    const std::vector<std::uint8_t> streams[] = {
        with(0, {'v'}),                                      // magic
        with(4, {0, 0, 0, 0}),                               // no frames
        with(4, {0xFF, 0xFF, 0xFF, 0xFF}),                   // more frames than bytes
        with(8, {1, 0, 0, 0x40}),                            // 2^30 + 1 bytes
        with(8, {0, 0, 0, 0, 0, 0, 0, 0x80}),                // 2^63 bytes
        with(20, {0, 0, 0, 0}),                              // a frame without bytes
        with(20, {0xFF, 0xFF, 0xFF, 0xFF}),                  // a frame past the send
        with(20, {static_cast<std::uint8_t>(good[20] - 1)}), // lengths that fall short
        std::vector<std::uint8_t>(100'000, 0xA5),
    };
    for (const std::vector<std::uint8_t> &stream : streams) {
        const raw_socket client = raw_socket::connected_to(socket_of_seven());
        client.write(stream);
        EXPECT_TRUE(client.read(4).empty());
    }
    EXPECT_EQ(send_items(7, 0, 1, 1), 0U);
    ASSERT_TRUE(receiver.receive(2));
    EXPECT_EQ(receiver.items_of(0), numbers_to(2));
    EXPECT_EQ(receiver.counters().accepted, 2U);
    receiver.close();
    const std::vector<std::string> lines = output.lines();
    ASSERT_EQ(lines.size(), std::size(streams));
    for (const std::string &line : lines)
        EXPECT_EQ(
            line.find("vorl-bus: destination 7: closed a connection that does not speak this bus's "
                      "protocol: "),
            0U)
            << line;
}

TEST_F(failures, the_send_that_the_environment_names_fails)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        setenv("VORL_BUS_FAIL", "2", 1);
        EXPECT_EQ(send_items(7, 0, 0, 1), 0U);
        EXPECT_EQ(send_items(7, 0, 1, 1), 1U);
        EXPECT_EQ(send_items(7, 0, 1, 1), 0U);
    }));
    ASSERT_TRUE(receiver.receive(2));
    EXPECT_EQ(receiver.items_of(0), numbers_to(2));
}

TEST_F(failures, a_directory_that_cannot_be_is_told)
{
    const std::string fresh = directory + "/fresh";
    setenv("VORL_BUS_DIR", fresh.c_str(), 1);
    {
        item_receiver receiver(7);
        EXPECT_EQ(send_items(7, 0, 0, 1), 0U);
    }
    std::ofstream(directory + "/file") << "a file";
    const auto said = [](const std::string &bad, const char *why) {
        return "the directory " + bad + " cannot be used: " + why +
               "; set VORL_BUS_DIR to one that is there or can be made";
    };
    const std::string too_long = directory + "/" + std::string(120, 'x');
    for (const auto &[bad, why] :
         {std::pair{directory + "/none/below", "No such file or directory"},
          {too_long, "File name too long"},
          {directory + "/file", "Not a directory"}}) {
        captured_stderr output;
        setenv("VORL_BUS_DIR", bad.c_str(), 1);
        EXPECT_EQ(send_items(7, 0, 0, 1), 6U);
        EXPECT_EQ(send_items(7, 0, 0, 1), 6U); // said once
        EXPECT_EQ(VORL_DevReceiverOpen(7, 0), nullptr);
        EXPECT_EQ(output.lines(),
                  (std::vector<std::string>{"vorl-bus: " + said(bad, why),
                                            "vorl-bus: destination 7: " + said(bad, why)}));
    }
}

TEST_F(failures, a_variable_that_is_no_number_is_told)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        for (const char *bad :
             {"soon", "10s", "-1", "0", "86400001", " 5", "99999999999999999999"}) {
            captured_stderr output;
            setenv("VORL_BUS_TIMEOUT_MS", bad, 1);
            EXPECT_EQ(send_items(7, 0, 0, 1), 6U) << bad;
            EXPECT_EQ(output.lines(),
                      (std::vector<std::string>{
                          "vorl-bus: VORL_BUS_TIMEOUT_MS is \"" + std::string(bad) +
                          "\"; give a whole number from 1 to 86400000, or unset it"}));
        }
        for (const char *good : {"1000", "86400000", ""}) {
            setenv("VORL_BUS_TIMEOUT_MS", good, 1);
            EXPECT_EQ(send_items(7, 0, 0, 1), 0U) << good;
        }
        for (const char *bad : {"second", "1.5"}) {
            captured_stderr output;
            setenv("VORL_BUS_FAIL", bad, 1);
            EXPECT_EQ(send_items(7, 0, 0, 1), 6U) << bad;
            EXPECT_EQ(output.lines(),
                      (std::vector<std::string>{"vorl-bus: VORL_BUS_FAIL is \"" + std::string(bad) +
                                                "\"; give a whole number from 0 to "
                                                "18446744073709551615, or unset it"}));
        }
    }));
}

} // namespace
} // namespace vorl::test
