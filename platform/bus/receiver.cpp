// The receiving side. A thread of the bus accepts connections, reads whole sends and queues them
// (accepted.h); the program's thread takes them from the queue and delivers (delivery.h). A send is
// in the queue before it is answered, so what the sender knows as accepted is here.

#include "platform/bus/receiver.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/bus/accepted.h"
#include "platform/bus/delivery.h"
#include "platform/bus/process.h"
#include "platform/bus/report.h"
#include "platform/bus/settings.h"

namespace vorl::bus {
namespace {

constexpr uint64_t usual_queue_bytes = uint64_t{64} << 20;

/// One sender's connection and what has been read of its present send.
struct connection {
    descriptor socket;
    std::vector<uint8_t> bytes;
    send_head head = {};
    bool has_head = false;
    uint64_t missing = sizeof(send_head); ///< bytes of the present part, head or rest
    uint32_t refusal = VORL_DEV_OK;       ///< decided by the head: the rest is read and dropped

    bool is_within_send() const { return has_head || !bytes.empty(); }
    void expect_head()
    {
        bytes.clear();
        has_head = false;
        missing = sizeof(send_head);
        refusal = VORL_DEV_OK;
    }
};

bool answer(const connection &to, uint32_t result)
{
    // A sender that lets its answers pile up is none of ours; it gets no second try.
    return send(to.socket.get(), &result, sizeof result, MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(sizeof result);
}

} // namespace
} // namespace vorl::bus

using namespace vorl::bus;

struct vorl_dev_receiver {
    vorl_dev_receiver(uint32_t at, uint64_t queue_bytes)
        : dest(at), shown(at), queue(queue_bytes != 0 ? queue_bytes : usual_queue_bytes)
    {}

    bool open();
    uint32_t receive(int32_t timeout_ms, vorl_dev_handler handler, void *user);
    void close(vorl_dev_handler handler, void *user);
    bool is_usable(const char *function) const;

    const uint32_t dest;
    std::atomic<uint64_t> accepted{0}, cut_short{0};
    delivery shown;

  private:
    bool fail(const char *what, int error) const;

    // The bus's thread.
    void run();
    void accept_all();
    bool read_from(connection &from);
    bool take_head(connection &from);
    bool take_send(connection &from);
    bool drop(const char *why);

    // The program's thread.
    uint32_t deliver(const std::deque<batch> &batches, vorl_dev_handler handler, void *user);

    const uint64_t made_in_ = generation();
    std::string socket_path_;
    descriptor owner_lock_; ///< locked file: the destination is this receiver's
    descriptor listener_;
    descriptor stop_; ///< readable: the thread is to end
    std::thread thread_;
    batch_queue queue;

    std::list<connection> connections_; ///< the bus's thread alone
    bool accepts_ = true;               ///< false while the process has no descriptors left

    bool delivers_ = false;
};

bool vorl_dev_receiver::fail(const char *what, int error) const
{
    report_at(dest, "%s: %s", what, strerror(error));
    return false;
}

bool vorl_dev_receiver::open()
{
    std::string lock_path;
    try {
        lock_path = path_of(dest, ".lock");
        socket_path_ = path_of(dest, ".sock");
    } catch (const bad_setting &bad) {
        report_at(dest, bad.what());
        return false;
    }
    const sockaddr_un address = address_of(socket_path_);

    // The lock goes with its process, however that ends; the socket's file stays. So whoever holds
    // the lock may take the file away. Several programs that start at once are in order here.
    owner_lock_ = descriptor::from(
        [&] { return ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600); });
    if (!owner_lock_.is_open())
        return fail(lock_path.c_str(), errno);
    if (flock(owner_lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            return fail(lock_path.c_str(), errno);
        report_at(dest, "taken: another receiver holds %s", lock_path.c_str());
        return false;
    }
    if (unlink(socket_path_.c_str()) != 0 && errno != ENOENT)
        return fail(socket_path_.c_str(), errno);

    listener_ = descriptor::from(
        [] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); });
    if (!listener_.is_open() ||
        bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), SOMAXCONN) != 0)
        return fail(socket_path_.c_str(), errno);
    stop_ = descriptor::from([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!stop_.is_open())
        return fail("eventfd", errno);

    // Signals are the program's business.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    int error = 0;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error &e) {
        error = e.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0 || fail("no thread", error);
}

void vorl_dev_receiver::run()
{
    std::vector<pollfd> watched;
    for (;;) {
        watched.clear();
        watched.push_back({stop_.get(), POLLIN, 0});
        watched.push_back({accepts_ ? listener_.get() : -1, POLLIN, 0});
        for (const connection &c : connections_)
            watched.push_back({c.socket.get(), POLLIN, 0});
        constexpr int try_again_ms = 100;
        if (poll(watched.data(), watched.size(), accepts_ ? -1 : try_again_ms) < 0)
            continue; // interrupted, or no memory just now
        accepts_ = true;
        if (watched[0].revents != 0)
            break;
        auto at = connections_.begin();
        for (size_t i = 2; i < watched.size(); ++i) {
            const auto present = at++;
            if (watched[i].revents != 0 && !read_from(*present))
                connections_.erase(present);
        }
        if (watched[1].revents != 0)
            accept_all();
    }
    // In this order: a sender that sees its connection go finds nobody to connect to. Whatever was
    // written and not accepted is unread here, by which the kernel tells its sender so.
    listener_.close();
    connections_.clear();
}

void vorl_dev_receiver::accept_all()
{
    for (;;) {
        connection made;
        made.socket = descriptor::from([this] {
            return accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        });
        if (made.socket.is_open()) {
            connections_.push_back(std::move(made));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            // They wait in the backlog.
            accepts_ = false;
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

/// False: the connection is over.
bool vorl_dev_receiver::read_from(connection &from)
{
    // A part a turn, so that a busy sender does not keep the others waiting, and memory only for
    // bytes that came.
    constexpr uint64_t turn = 262144;
    const size_t before = from.bytes.size();
    const size_t wanted = std::min(from.missing, turn);
    from.bytes.resize(before + wanted);
    const ssize_t got = recv(from.socket.get(), from.bytes.data() + before, wanted, 0);
    from.bytes.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
        return true;
    if (got <= 0) {
        if (from.is_within_send()) {
            ++cut_short;
            report_at(dest, "a sender went away in the middle of a send; none of its frames is "
                            "delivered");
        }
        return false;
    }
    from.missing -= static_cast<uint64_t>(got);
    if (from.refusal != VORL_DEV_OK)
        from.bytes.clear();
    if (from.missing != 0)
        return true;
    return from.has_head ? take_send(from) : take_head(from);
}

bool vorl_dev_receiver::drop(const char *why)
{
    report_at(dest, "closed a connection that does not speak this bus's protocol: %s", why);
    return false;
}

bool vorl_dev_receiver::take_head(connection &from)
{
    memcpy(&from.head, from.bytes.data(), sizeof from.head);
    const send_head &head = from.head;
    if (head.magic != magic)
        return drop("no magic");
    if (head.count == 0 || head.count > head.bytes)
        return drop("a number of frames that cannot be");
    if (head.bytes > max_send_bytes)
        return drop("a send past the limit of 1073741824 bytes");
    from.has_head = true;
    from.missing = uint64_t{head.count} * sizeof(frame_head) + head.bytes;
    if (head.bytes > queue.limit())
        from.refusal = VORL_DEV_BAD_FRAME;
    else if (!queue.has_room(head.bytes))
        from.refusal = VORL_DEV_QUEUE_FULL;
    return true;
}

bool vorl_dev_receiver::take_send(connection &from)
{
    uint32_t result = from.refusal;
    if (result == VORL_DEV_OK) {
        batch whole(std::move(from.bytes));
        if (!whole.is_consistent())
            return drop("frame lengths that do not add up");
        // Counted first: the counters never show more frames delivered than accepted.
        accepted += from.head.count;
        if (!queue.push(std::move(whole))) {
            accepted -= from.head.count;
            result = VORL_DEV_QUEUE_FULL;
        }
    }
    from.expect_head();
    return answer(from, result);
}

uint32_t vorl_dev_receiver::deliver(const std::deque<batch> &batches, vorl_dev_handler handler,
                                    void *user)
{
    uint32_t count = 0;
    delivers_ = true;
    for (const batch &b : batches) {
        const uint8_t *frame = b.frames();
        for (uint32_t i = 0; i < b.count(); ++i) {
            const frame_head head = b.frame(i);
            count += shown.deliver(head, frame, handler, user) ? 1 : 0;
            queue.delivered(head.length);
            frame += head.length;
        }
    }
    delivers_ = false;
    return count;
}

uint32_t vorl_dev_receiver::receive(int32_t timeout_ms, vorl_dev_handler handler, void *user)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        const std::deque<batch> batches = queue.take(timeout_ms >= 0 ? &until : nullptr);
        if (batches.empty())
            return 0;
        if (const uint32_t count = deliver(batches, handler, user))
            return count;
    }
}

void vorl_dev_receiver::close(vorl_dev_handler handler, void *user)
{
    if (thread_.joinable()) {
        const uint64_t one = 1;
        while (write(stop_.get(), &one, sizeof one) < 0 && errno == EINTR) {
        }
        thread_.join();
        unlink(socket_path_.c_str());
    }
    owner_lock_.close();
    const auto at_once = std::chrono::steady_clock::time_point{};
    deliver(queue.take(&at_once), handler, user);
}

bool vorl_dev_receiver::is_usable(const char *function) const
{
    const char *why = nullptr;
    if (made_in_ != generation())
        why = "of a receiver that is the parent process's";
    else if (delivers_)
        why = "from its own handler";
    if (why != nullptr)
        report_at(dest, "%s %s: nothing done", function, why);
    return why == nullptr;
}

#pragma GCC visibility push(default)

vorl_dev_receiver *VORL_DevReceiverOpen(uint32_t dest, uint64_t queue_bytes)
{
    try {
        auto receiver = std::make_unique<vorl_dev_receiver>(dest, queue_bytes);
        return receiver->open() ? receiver.release() : nullptr;
    } catch (const std::exception &e) {
        report_at(dest, "%s", e.what());
        return nullptr;
    }
}

uint32_t VORL_DevReceive(vorl_dev_receiver *receiver, int32_t timeout_ms, vorl_dev_handler handler,
                         void *user)
{
    return receiver->is_usable(__func__) ? receiver->receive(timeout_ms, handler, user) : 0;
}

void VORL_DevCounters(vorl_dev_receiver *receiver, vorl_dev_counters *counters)
{
    // Delivered before accepted, so that the first never passes the second.
    counters->delivered = receiver->shown.delivered;
    counters->unknown = receiver->shown.unknown;
    counters->cut_short = receiver->cut_short;
    counters->accepted = receiver->accepted;
}

void VORL_DevReceiverClose(vorl_dev_receiver *receiver, vorl_dev_handler handler, void *user)
{
    if (receiver == nullptr || !receiver->is_usable(__func__))
        return;
    receiver->close(handler, user);
    delete receiver;
}

#pragma GCC visibility pop
