#include "tests/platform/processes.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <numeric>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "srv6.h"
#include "srv6_cfg.h"
#include "srv6_sync.h"

namespace vorl::test {

child::child(const std::function<void()> &work)
{
    std::fflush(nullptr);
    pid_ = fork();
    if (pid_ != 0)
        return;
    alarm(100);
    work();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
}

child::~child()
{
    if (pid_ > 0)
        kill();
}

int child::wait_status()
{
    int status = -1;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return status;
}

bool child::succeeds()
{
    const int status = wait_status();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void child::kill()
{
    ::kill(pid_, SIGKILL);
    wait_status();
}

channel::channel()
{
    if (pipe(ends_.data()) != 0)
        std::abort();
}

channel::~channel()
{
    close(ends_[0]);
    close(ends_[1]);
}

void channel::put(std::uint64_t value)
{
    EXPECT_EQ(::write(ends_[1], &value, sizeof value), static_cast<ssize_t>(sizeof value));
}

std::uint64_t channel::get()
{
    std::uint64_t value = 0;
    pollfd waiting = {ends_[0], POLLIN, 0};
    const bool came = poll(&waiting, 1, 30'000) == 1;
    EXPECT_TRUE(came) << "the other process says nothing";
    if (came) {
        EXPECT_EQ(read(ends_[0], &value, sizeof value), static_cast<ssize_t>(sizeof value));
    }
    return value;
}

captured_stderr::captured_stderr() : file_(std::tmpfile()), before_(dup(STDERR_FILENO))
{
    dup2(fileno(file_), STDERR_FILENO);
}

captured_stderr::~captured_stderr()
{
    if (file_ != nullptr)
        lines();
}

std::vector<std::string> captured_stderr::lines()
{
    dup2(before_, STDERR_FILENO);
    close(before_);
    std::rewind(file_);
    std::vector<std::string> all;
    char line[4096];
    while (std::fgets(line, sizeof line, file_) != nullptr)
        all.emplace_back(line, std::strcspn(line, "\n"));
    std::fclose(file_);
    file_ = nullptr;
    return all;
}

namespace {

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

raw_socket prepared(int (*prepare)(int, const sockaddr *, socklen_t), const std::string &path)
{
    const sockaddr_un address = address_of(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(prepare(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0)
        << path << ": " << std::strerror(errno);
    return raw_socket(fd);
}

} // namespace

raw_socket raw_socket::connected_to(const std::string &path) { return prepared(connect, path); }

raw_socket raw_socket::listening_at(const std::string &path)
{
    raw_socket made = prepared(bind, path);
    EXPECT_EQ(listen(made.fd_, 8), 0);
    return made;
}

raw_socket raw_socket::accept(bool waits) const
{
    pollfd waiting = {fd_, POLLIN, 0};
    if (poll(&waiting, 1, waits ? 30'000 : 0) != 1)
        return {};
    return raw_socket(::accept(fd_, nullptr, nullptr));
}

void raw_socket::close()
{
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

void raw_socket::write(const std::vector<std::uint8_t> &bytes) const
{
    // Nothing is said of the result: the other end may close at the first bad byte.
    send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::vector<std::uint8_t> raw_socket::read(std::size_t size) const
{
    std::vector<std::uint8_t> bytes(size);
    std::size_t at = 0;
    while (at < size) {
        const ssize_t got = recv(fd_, bytes.data() + at, size - at, 0);
        if (got <= 0)
            break;
        at += static_cast<std::size_t>(got);
    }
    bytes.resize(at);
    return bytes;
}

std::vector<std::uint8_t> wire_bytes(std::uint32_t msg_id,
                                     const std::vector<std::vector<std::uint8_t>> &frames)
{
    std::vector<std::uint8_t> bytes;
    const auto add = [&bytes](std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    std::size_t total = 0;
    for (const auto &frame : frames)
        total += frame.size();
    bytes = {'V', 'O', 'R', 'L'};
    add(frames.size(), 4);
    add(total, 8);
    for (const auto &frame : frames) {
        add(msg_id, 4);
        add(frame.size(), 4);
    }
    for (const auto &frame : frames)
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    return bytes;
}

std::uint32_t send_items(std::uint32_t dest, std::uint32_t sender, std::uint32_t first,
                         std::uint32_t count)
{
    std::vector<srv6_class_item> items(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        items[i].f0 = sender;
        items[i].f1 = first + i;
        items[i].f2 = 0xC3;
    }
    return srv6_class_item__sendmsg(dest, items.data(), count);
}

std::uint32_t send_items_patiently(std::uint32_t dest, std::uint32_t sender, std::uint32_t first,
                                   std::uint32_t count, std::uint64_t *refusals)
{
    for (;;) {
        const std::uint32_t result = send_items(dest, sender, first, count);
        if (result != VORL_DEV_QUEUE_FULL)
            return result;
        if (refusals != nullptr)
            ++*refusals;
        sched_yield();
    }
}

std::vector<std::uint8_t> item_frame(std::uint32_t index)
{
    const srv6_class_item item = {0, index, 0xC3};
    std::vector<std::uint8_t> bytes(4096);
    auto length = static_cast<std::uint32_t>(bytes.size());
    EXPECT_EQ(srv6_class_item__pack(&item, bytes.data(), &length), 0U);
    bytes.resize(length);
    return bytes;
}

std::uint32_t send_frame(std::uint32_t dest, std::uint32_t msg_id,
                         const std::vector<std::uint8_t> &bytes)
{
    const frame_desc desc = {bytes.data(), msg_id, static_cast<std::uint32_t>(bytes.size())};
    return VORL_SendMsg(dest, &desc, 1);
}

item_receiver::item_receiver(std::uint32_t dest, std::uint64_t queue_bytes)
{
    register_all();
    receiver_ = VORL_DevReceiverOpen(dest, queue_bytes);
    EXPECT_NE(receiver_, nullptr);
}

bool item_receiver::receive(std::size_t total)
{
    while (items_.size() < total) {
        if (VORL_DevReceive(receiver_, 30'000, take, this) == 0)
            return false;
    }
    return true;
}

void item_receiver::close()
{
    VORL_DevReceiverClose(receiver_, take, this);
    receiver_ = nullptr;
}

vorl_dev_counters item_receiver::counters() const
{
    vorl_dev_counters counters;
    VORL_DevCounters(receiver_, &counters);
    return counters;
}

std::vector<std::uint32_t> item_receiver::items_of(std::uint32_t sender) const
{
    std::vector<std::uint32_t> indexes;
    for (const item &i : items_) {
        if (i.sender == sender)
            indexes.push_back(i.index);
    }
    return indexes;
}

void item_receiver::take(void *user, std::uint32_t msg_id, const void *record,
                         std::uint32_t record_size, const void *, std::uint32_t)
{
    EXPECT_EQ(msg_id, item_id);
    EXPECT_EQ(record_size, 12U);
    const auto *came = static_cast<const srv6_class_item *>(record);
    EXPECT_EQ(came->f2, 0xC3);
    static_cast<item_receiver *>(user)->items_.push_back({came->f0, came->f1});
}

std::vector<std::uint32_t> numbers_to(std::uint32_t count)
{
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

void register_all()
{
    EXPECT_EQ(srv6_recv_init(), 0U);
    EXPECT_EQ(srv6_cfg_recv_init(), 0U);
    EXPECT_EQ(srv6_sync_recv_init(), 0U);
}

} // namespace vorl::test
