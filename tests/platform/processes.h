// Real processes, and what they say to each other and to a person.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/types.h>

#include "platform/bus/receiver.h"
#include "runtime/bus.h"
#include "tests/support/run.h"

namespace vorl::test {

/// A directory of its own for each test, with the bus in it.
class bus_test : public ::testing::Test {
    scratch_directory scratch_;

  protected:
    bus_test() { setenv("VORL_BUS_DIR", directory.c_str(), 1); }

    const std::string directory = scratch_.path();
};

/// A forked process. It ends with 0 when nothing in it failed, and never outlives the test.
class child {
  public:
    explicit child(const std::function<void()> &work);
    ~child();
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    /// True when it ended by itself and without failures.
    bool succeeds();
    /// As waitpid() tells it.
    int wait_status();
    /// Ends it by SIGKILL; its sockets are closed when this returns.
    void kill();

  private:
    pid_t pid_;
};

inline bool in_child(const std::function<void()> &work) { return child(work).succeeds(); }

/// Numbers from one process to another. A reader waits, and fails the test after 30 seconds.
class channel {
  public:
    channel();
    ~channel();
    channel(const channel &) = delete;
    channel &operator=(const channel &) = delete;

    void put(std::uint64_t value);
    std::uint64_t get();

  private:
    std::array<int, 2> ends_;
};

/// Standard error of this process and its children, from construction to lines().
class captured_stderr {
  public:
    captured_stderr();
    ~captured_stderr();

    /// Puts standard error back. What was written, line by line.
    std::vector<std::string> lines();

  private:
    std::FILE *file_;
    int before_;
};

/// Waits until `holds` or 30 seconds have passed; whether it holds.
template <class Condition>
bool eventually(Condition holds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
    }
    return true;
}

/// A socket without the bus: what a broken program might be.
class raw_socket {
  public:
    raw_socket() = default;
    explicit raw_socket(int fd) : fd_(fd) {}
    raw_socket(raw_socket &&other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    ~raw_socket() { close(); }

    static raw_socket connected_to(const std::string &path);
    static raw_socket listening_at(const std::string &path);
    /// The next connection; not open when there is none and `waits` is false.
    raw_socket accept(bool waits = true) const;

    bool is_open() const { return fd_ >= 0; }
    void close();
    void write(const std::vector<std::uint8_t> &bytes) const;
    /// Up to `size` bytes; fewer where the other end closes.
    std::vector<std::uint8_t> read(std::size_t size) const;

  private:
    int fd_ = -1;
};

/// A send as the bus's sockets carry it, frames of one type.
std::vector<std::uint8_t> wire_bytes(std::uint32_t msg_id,
                                     const std::vector<std::vector<std::uint8_t>> &frames);

// Class items, frames of 32 bytes: f0 tells the sender, f1 counts.

inline constexpr std::uint32_t item_id = 0x178C617C;
inline constexpr std::uint64_t item_frame_length = 32;

/// Sends items first, first + 1, ... in one send.
std::uint32_t send_items(std::uint32_t dest, std::uint32_t sender, std::uint32_t first,
                         std::uint32_t count);
/// The same, again and again while the queue is full. Counts the refusals.
std::uint32_t send_items_patiently(std::uint32_t dest, std::uint32_t sender, std::uint32_t first,
                                   std::uint32_t count, std::uint64_t *refusals = nullptr);
/// The frame of item `index` of sender 0.
std::vector<std::uint8_t> item_frame(std::uint32_t index);
/// One frame of any bytes.
std::uint32_t send_frame(std::uint32_t dest, std::uint32_t msg_id,
                         const std::vector<std::uint8_t> &bytes);

/// A receiver of this process with all packages registered, and the items that came.
class item_receiver {
  public:
    explicit item_receiver(std::uint32_t dest, std::uint64_t queue_bytes = 0);
    ~item_receiver() { close(); }
    item_receiver(const item_receiver &) = delete;
    item_receiver &operator=(const item_receiver &) = delete;

    /// Receives until `total` items came. False when 30 seconds pass without one.
    bool receive(std::size_t total);
    void close();

    vorl_dev_receiver *get() const { return receiver_; }
    vorl_dev_counters counters() const;
    /// The f1 of all items of `sender`, in order.
    std::vector<std::uint32_t> items_of(std::uint32_t sender) const;
    std::size_t size() const { return items_.size(); }

  private:
    struct item {
        std::uint32_t sender, index;
    };
    static void take(void *user, std::uint32_t msg_id, const void *record,
                     std::uint32_t record_size, const void *frame, std::uint32_t frame_length);

    vorl_dev_receiver *receiver_;
    std::vector<item> items_;
};

/// 0, 1, ... count - 1.
std::vector<std::uint32_t> numbers_to(std::uint32_t count);

/// Registers all three packages.
void register_all();

} // namespace vorl::test
