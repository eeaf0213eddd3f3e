// The sending side. A process keeps one connection a destination, made at the first send and again
// when the receiver was restarted. Sends to one destination follow each other on it.
//
// A send is repeated on a new connection only when the receiver cannot have accepted it: its bytes
// were not all written, or the receiver went with some of them unread.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "platform/bus/process.h"
#include "platform/bus/protocol.h"
#include "platform/bus/receiver.h"
#include "platform/bus/settings.h"
#include "platform/support.h"
#include "runtime/bus.h"

namespace vorl::bus {
namespace {

using steady = std::chrono::steady_clock;

struct link {
    const uint64_t made_in = generation();
    std::mutex busy; ///< held for a whole send and its answer
    descriptor socket;
};

std::shared_ptr<link> link_to(const std::string &path)
{
    static auto *const links = new std::map<std::string, std::shared_ptr<link>>;
    // Outlives the lock: the last owner of a parent's link closes nothing, but takes the lock.
    std::shared_ptr<link> of_parent;
    const std::lock_guard lock(process_lock());
    std::shared_ptr<link> &found = (*links)[path];
    if (found == nullptr || found->made_in != generation()) {
        of_parent = std::move(found);
        found = std::make_shared<link>();
    }
    return found;
}

/// False with errno set, ETIMEDOUT when the time has passed.
bool wait_for(int fd, short events, steady::time_point deadline)
{
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now()).count();
        if (left <= 0) {
            errno = ETIMEDOUT;
            return false;
        }
        pollfd waiting = {fd, events, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(left));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            return false;
    }
}

/// Runs `io` until it is done or waiting for `events` fails; its last result.
template <class Io>
ssize_t retry(int fd, short events, steady::time_point deadline, Io &&io)
{
    for (;;) {
        const ssize_t result = io();
        if (result >= 0)
            return result;
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!wait_for(fd, events, deadline))
                return -1;
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

bool is_gone(int error) { return error == EPIPE || error == ECONNRESET || error == ENOTCONN; }

/// What became of a send: VORL_DEV_NO_PEER: certainly not accepted. VORL_DEV_IO: errno tells.
uint32_t transfer(int fd, const std::vector<uint8_t> &bytes, steady::time_point deadline)
{
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t written = retry(fd, POLLOUT, deadline, [&] {
            return send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
        });
        if (written < 0)
            return is_gone(errno) ? VORL_DEV_NO_PEER : VORL_DEV_IO;
        at += static_cast<size_t>(written);
    }
    uint32_t answer = VORL_DEV_IO;
    for (size_t at = 0; at < sizeof answer;) {
        const ssize_t got = retry(fd, POLLIN, deadline, [&] {
            return recv(fd, reinterpret_cast<char *>(&answer) + at, sizeof answer - at,
                        MSG_DONTWAIT);
        });
        if (got == 0)
            errno = EPIPE;
        // The kernel says "reset" of a Unix-domain socket whose other end went with bytes unread.
        if (got < 0 && errno == ECONNRESET)
            return VORL_DEV_NO_PEER;
        if (got <= 0)
            return VORL_DEV_IO;
        at += static_cast<size_t>(got);
    }
    if (answer == VORL_DEV_OK || answer == VORL_DEV_QUEUE_FULL || answer == VORL_DEV_BAD_FRAME)
        return answer;
    errno = EPROTO;
    return VORL_DEV_IO;
}

descriptor connect_to(const std::string &path, std::chrono::milliseconds timeout)
{
    const sockaddr_un address = address_of(path);
    descriptor made =
        descriptor::from([] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); });
    if (!made.is_open())
        return {};
    // Connecting waits where the receiver's backlog is full.
    const timeval limit = {timeout.count() / 1000, timeout.count() % 1000 * 1000};
    setsockopt(made.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    while (connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        if (errno == EINTR)
            continue;
        if (errno == EAGAIN)
            errno = ETIMEDOUT;
        const int error = errno;
        made.close();
        errno = error;
        break;
    }
    return made;
}

uint32_t exchange(uint32_t dest, const std::vector<uint8_t> &bytes)
{
    const std::string path = path_of(dest, ".sock");
    const std::shared_ptr<link> to = link_to(path);
    const std::lock_guard lock(to->busy);
    const auto timeout = send_timeout();
    const auto deadline = steady::now() + timeout;
    for (;;) {
        const bool was_open = to->socket.is_open();
        if (!was_open) {
            to->socket = connect_to(path, timeout);
            if (!to->socket.is_open())
                return errno == ENOENT || errno == ECONNREFUSED ? VORL_DEV_NO_PEER : VORL_DEV_IO;
        }
        const uint32_t result = transfer(to->socket.get(), bytes, deadline);
        if (result != VORL_DEV_NO_PEER && result != VORL_DEV_IO)
            return result;
        // A late answer must not be taken for the next send's.
        const int error = errno;
        to->socket.close();
        errno = error;
        if (result == VORL_DEV_IO || !was_open)
            return result;
    }
}

/// Steps through the caller's descriptors, which need not be aligned.
frame_desc descriptor_at(const frame_desc *descs, uint32_t index)
{
    frame_desc desc;
    memcpy(&desc, reinterpret_cast<const char *>(descs) + size_t{index} * sizeof desc, sizeof desc);
    return desc;
}

template <class T>
void append(std::vector<uint8_t> &bytes, const T &value)
{
    const auto *from = reinterpret_cast<const uint8_t *>(&value);
    bytes.insert(bytes.end(), from, from + sizeof value);
}

bool is_told_to_fail()
{
    static std::atomic<uint64_t> calls{0};
    return ++calls == failing_send();
}

uint32_t send_frames(uint32_t dest, const frame_desc *descs, uint32_t count)
{
    if (is_told_to_fail())
        return VORL_DEV_NO_PEER;
    if (descs == nullptr || count == 0)
        return VORL_DEV_BAD_FRAME;
    send_head head = {magic, count, 0};
    for (uint32_t i = 0; i < count; ++i) {
        const frame_desc desc = descriptor_at(descs, i);
        if (desc.data == nullptr || desc.length == 0)
            return VORL_DEV_BAD_FRAME;
        head.bytes += desc.length;
    }
    if (head.bytes > max_send_bytes)
        return VORL_DEV_BAD_FRAME;

    std::vector<uint8_t> bytes;
    bytes.reserve(sizeof head + size_t{count} * sizeof(frame_head) + head.bytes);
    append(bytes, head);
    for (uint32_t i = 0; i < count; ++i) {
        const frame_desc desc = descriptor_at(descs, i);
        append(bytes, frame_head{desc.msg_id, desc.length});
    }
    for (uint32_t i = 0; i < count; ++i) {
        const frame_desc desc = descriptor_at(descs, i);
        const auto *data = static_cast<const uint8_t *>(desc.data);
        bytes.insert(bytes.end(), data, data + desc.length);
    }
    return exchange(dest, bytes);
}

/// Each text once a process.
void report_once(const std::string &text)
{
    static auto *const reported = new std::set<std::string>;
    const std::lock_guard lock(process_lock());
    if (reported->insert(text).second)
        platform::write_line(STDERR_FILENO, "vorl-bus: " + text);
}

uint32_t try_to_send(uint32_t dest, const frame_desc *descs, uint32_t count)
{
    try {
        return send_frames(dest, descs, count);
    } catch (const std::bad_alloc &) {
        // Nothing is written before all memory is there.
        errno = ENOMEM;
        return VORL_DEV_IO;
    } catch (const bad_setting &bad) {
        report_once(bad.what());
        return VORL_DEV_SETTING;
    }
}

} // namespace
} // namespace vorl::bus

#pragma GCC visibility push(default)

uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count)
{
    return vorl::bus::try_to_send(dest, descs, count);
}

uint32_t VORL_SendToMsg(uint32_t, const vorl::frame_desc *descs, uint32_t count, uint64_t to)
{
    return vorl::bus::try_to_send(static_cast<uint32_t>(to), descs, count);
}

#pragma GCC visibility pop
