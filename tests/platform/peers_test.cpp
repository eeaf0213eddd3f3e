// Receivers that come, go, return, hang, and share a destination.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <memory>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/platform/processes.h"

namespace vorl::test {
namespace {

constexpr std::uint32_t ok = 0, no_peer = 1, io_failed = 4;

class peers : public bus_test {
  protected:
    /// A process that receives at 7, says so on `opened`, and waits to be killed.
    std::unique_ptr<child> waiting_receiver(channel &opened)
    {
        auto process = std::make_unique<child>([&opened] {
            const item_receiver receiver(7);
            opened.put(1);
            for (;;)
                pause();
        });
        opened.get();
        return process;
    }
    /// A process that receives at 7 until told on `finish`, and must have had just item `index`.
    std::unique_ptr<child> receiver_of(std::uint32_t index, channel &opened, channel &finish)
    {
        auto process = std::make_unique<child>([index, &opened, &finish] {
            item_receiver receiver(7);
            opened.put(1);
            finish.get();
            receiver.close();
            EXPECT_EQ(receiver.items_of(0), std::vector<std::uint32_t>{index});
        });
        opened.get();
        return process;
    }
    std::string socket_of_seven() const { return directory + "/7.sock"; }
};

TEST_F(peers, sending_to_nobody) { EXPECT_EQ(send_items(7, 0, 0, 1), no_peer); }

TEST_F(peers, sending_to_one_that_was_killed_and_to_its_successors)
{
    // SIGPIPE would end this process.
    ASSERT_EQ(std::signal(SIGPIPE, SIG_DFL), SIG_DFL);
    channel opened, finish;
    const auto first = waiting_receiver(opened);
    EXPECT_EQ(send_items(7, 0, 0, 1), ok);
    first->kill();
    struct stat left {};
    EXPECT_EQ(stat(socket_of_seven().c_str(), &left), 0) << "the dead leave their socket's file";
    EXPECT_EQ(send_items(7, 0, 1, 1), no_peer);
    EXPECT_EQ(send_items(7, 0, 1, 1), no_peer);

    const auto second = receiver_of(2, opened, finish);
    EXPECT_EQ(send_items(7, 0, 2, 1), ok);
    finish.put(1);
    EXPECT_TRUE(second->succeeds());

    // Over the connection to the second, which is not known to be dead.
    const auto third = receiver_of(3, opened, finish);
    EXPECT_EQ(send_items(7, 0, 3, 1), ok);
    finish.put(1);
    EXPECT_TRUE(third->succeeds());
    EXPECT_NE(stat(socket_of_seven().c_str(), &left), 0) << "closing takes the socket's file away";
    EXPECT_EQ(send_items(7, 0, 4, 1), no_peer);
}

TEST_F(peers, a_destination_has_one_receiver)
{
    item_receiver owner(7);
    captured_stderr output;
    EXPECT_EQ(VORL_DevReceiverOpen(7, 0), nullptr);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(VORL_DevReceiverOpen(7, 0), nullptr); }));
    const std::vector<std::string> lines = output.lines();
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string &line : lines)
        EXPECT_EQ(line, "vorl-bus: destination 7: taken: another receiver holds " + directory +
                            "/7.lock");
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), ok); }));
    EXPECT_TRUE(owner.receive(1));
    owner.close();
    const item_receiver next(7);
    EXPECT_NE(next.get(), nullptr);
}

TEST_F(peers, closing_delivers_what_was_accepted)
{
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] {
        EXPECT_EQ(send_items(7, 0, 0, 3), ok);
        EXPECT_EQ(send_items(7, 0, 3, 2), ok);
    }));
    receiver.close();
    EXPECT_EQ(receiver.items_of(0), numbers_to(5));
}

TEST_F(peers, closing_under_load_leaves_no_sender_in_doubt)
{
    channel opened, accepted;
    const auto send_on = [&](std::uint32_t sender) {
        opened.get();
        std::uint32_t sent = 0, result = ok;
        for (; result == ok; sent += 3)
            result = send_items_patiently(7, sender, sent, 3);
        EXPECT_EQ(result, no_peer);
        accepted.put(std::uint64_t{sender} << 32 | (sent - 3));
    };
    child a([&] { send_on(1); });
    child b([&] { send_on(2); });
    child c([&] { send_on(3); });
    item_receiver receiver(7, 60 * item_frame_length);
    for (int i = 0; i < 3; ++i)
        opened.put(1);
    EXPECT_TRUE(receiver.receive(600));
    receiver.close();
    for (int i = 0; i < 3; ++i) {
        const std::uint64_t told = accepted.get();
        EXPECT_EQ(receiver.items_of(static_cast<std::uint32_t>(told >> 32)),
                  numbers_to(static_cast<std::uint32_t>(told)));
    }
    for (child *sender : {&a, &b, &c})
        EXPECT_TRUE(sender->succeeds());
}

TEST_F(peers, a_receiver_that_hangs_ends_the_send_in_time)
{
    const raw_socket hanging = raw_socket::listening_at(socket_of_seven());
    EXPECT_TRUE(in_child([] {
        setenv("VORL_BUS_TIMEOUT_MS", "50", 1);
        // The answer does not come.
        EXPECT_EQ(send_items(7, 0, 0, 1), io_failed);
        EXPECT_EQ(errno, ETIMEDOUT);
        // The bytes do not go.
        EXPECT_EQ(send_frame(7, item_id, std::vector<std::uint8_t>(4 << 20)), io_failed);
        EXPECT_EQ(errno, ETIMEDOUT);
        // Not even connecting ends: the backlog of 8 is full.
        for (int i = 0; i < 12; ++i)
            EXPECT_EQ(send_items(7, 0, 0, 1), io_failed);
        EXPECT_EQ(errno, ETIMEDOUT);
    }));
}

TEST_F(peers, a_send_without_its_answer_is_not_repeated)
{
    const raw_socket dying = raw_socket::listening_at(socket_of_seven());
    child sender([] {
        EXPECT_EQ(send_items(7, 0, 0, 1), ok);
        EXPECT_EQ(send_items(7, 0, 1, 1), io_failed);
    });
    raw_socket connection = dying.accept();
    EXPECT_EQ(connection.read(56).size(), 56U); // 16 + 8 + 32: all of it
    connection.write({0, 0, 0, 0});
    EXPECT_EQ(connection.read(56).size(), 56U);
    connection.close();
    EXPECT_TRUE(sender.succeeds());
    EXPECT_FALSE(dying.accept(false).is_open());
}

TEST_F(peers, an_answer_that_means_nothing_is_an_error)
{
    const raw_socket lying = raw_socket::listening_at(socket_of_seven());
    child sender([] {
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(send_items(7, 0, 0, 1), io_failed);
            EXPECT_EQ(errno, EPROTO);
        }
    });
    for (const int word : {0xFF, 0x01}) {
        const raw_socket connection = lying.accept();
        connection.read(56);
        connection.write(std::vector<std::uint8_t>(4, static_cast<std::uint8_t>(word)));
    }
    EXPECT_TRUE(sender.succeeds());
}

TEST_F(peers, one_that_goes_before_it_has_read_all_did_not_accept)
{
    const raw_socket dying = raw_socket::listening_at(socket_of_seven());
    // More than a socket holds, and less.
    for (const std::size_t size : {std::size_t{4} << 20, std::size_t{4096}}) {
        child sender([size] {
            EXPECT_EQ(send_frame(7, item_id, std::vector<std::uint8_t>(size)), no_peer);
        });
        raw_socket connection = dying.accept();
        EXPECT_EQ(connection.read(1000).size(), 1000U);
        connection.close();
        EXPECT_TRUE(sender.succeeds());
    }
}

TEST_F(peers, a_connection_lost_between_sends_is_made_again_once)
{
    const raw_socket restarting = raw_socket::listening_at(socket_of_seven());
    channel gone;
    child sender([&] {
        EXPECT_EQ(send_items(7, 0, 0, 1), ok);
        gone.get();
        EXPECT_EQ(send_items(7, 0, 0, 1), ok);
    });
    const std::vector<std::uint8_t> accept = {0, 0, 0, 0};
    {
        const raw_socket first = restarting.accept();
        EXPECT_EQ(first.read(56).size(), 56U);
        first.write(accept);
    }
    gone.put(1);
    const raw_socket second = restarting.accept();
    EXPECT_EQ(second.read(56).size(), 56U);
    second.write(accept);
    EXPECT_TRUE(second.read(1).empty()); // once: then the sender ends
    EXPECT_TRUE(sender.succeeds());
    EXPECT_FALSE(restarting.accept(false).is_open());
}

TEST_F(peers, a_forked_child_has_nothing_of_its_parents_receiver)
{
    captured_stderr output;
    channel forked, finish;
    auto receiver = std::make_unique<item_receiver>(7);
    child inheriting([&] {
        EXPECT_EQ(VORL_DevReceive(receiver->get(), 0, nullptr, nullptr), 0U);
        VORL_DevReceiverClose(receiver->get(), nullptr, nullptr);
        EXPECT_EQ(send_items(7, 0, 0, 1), ok);
        forked.put(1);
        finish.get();
    });
    forked.get();
    EXPECT_TRUE(receiver->receive(1));
    receiver.reset();
    // The child lives, and holds neither the destination nor a socket that would be connected to.
    EXPECT_EQ(send_items(7, 0, 0, 1), no_peer);
    item_receiver next(7);
    EXPECT_EQ(send_items(7, 0, 0, 1), ok);
    EXPECT_TRUE(next.receive(1));
    finish.put(1);
    EXPECT_TRUE(inheriting.succeeds());
    EXPECT_EQ(output.lines().size(), 2U);
}

TEST_F(peers, a_handler_cannot_receive_or_close)
{
    captured_stderr output;
    item_receiver receiver(7);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), ok); }));
    const auto misuse = [](void *user, std::uint32_t, const void *, std::uint32_t, const void *,
                           std::uint32_t) {
        const auto *own = static_cast<item_receiver *>(user);
        EXPECT_EQ(VORL_DevReceive(own->get(), -1, nullptr, nullptr), 0U);
        VORL_DevReceiverClose(own->get(), nullptr, nullptr);
    };
    EXPECT_EQ(VORL_DevReceive(receiver.get(), -1, misuse, &receiver), 1U);
    EXPECT_TRUE(in_child([] { EXPECT_EQ(send_items(7, 0, 0, 1), ok); }));
    EXPECT_TRUE(receiver.receive(1));
    EXPECT_EQ(output.lines().size(), 2U);
}

} // namespace
} // namespace vorl::test
