// The sends that a receiver has accepted and not delivered yet, as they were read from the socket.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/bus/protocol.h"

namespace vorl::bus {

/// A send as it was read from the socket, its head included.
class batch {
  public:
    explicit batch(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}

    uint32_t count() const { return load<send_head>(0).count; }
    uint64_t frame_bytes() const { return load<send_head>(0).bytes; }
    frame_head frame(uint32_t index) const
    {
        return load<frame_head>(sizeof(send_head) + size_t{index} * sizeof(frame_head));
    }
    const uint8_t *frames() const
    {
        return bytes_.data() + sizeof(send_head) + size_t{count()} * sizeof(frame_head);
    }
    bool is_consistent() const
    {
        uint64_t sum = 0;
        for (uint32_t i = 0; i < count(); ++i) {
            if (frame(i).length == 0)
                return false;
            sum += frame(i).length;
        }
        return sum == frame_bytes();
    }

  private:
    template <class T>
    T load(size_t at) const
    {
        T value;
        memcpy(&value, bytes_.data() + at, sizeof value);
        return value;
    }

    std::vector<uint8_t> bytes_;
};

/// Accepted sends, in order of acceptance. `limit` bounds the bytes of their frames that have not
/// been delivered.
class batch_queue {
  public:
    explicit batch_queue(uint64_t limit) : limit_(limit) {}

    uint64_t limit() const { return limit_; }
    bool has_room(uint64_t bytes)
    {
        const std::lock_guard lock(lock_);
        return bytes <= limit_ - held_;
    }
    bool push(batch accepted)
    {
        {
            const std::lock_guard lock(lock_);
            if (accepted.frame_bytes() > limit_ - held_)
                return false;
            held_ += accepted.frame_bytes();
            batches_.push_back(std::move(accepted));
        }
        arrived_.notify_one();
        return true;
    }
    /// All that are there, at once; waits for the first until `until`, or for ever.
    std::deque<batch> take(const std::chrono::steady_clock::time_point *until)
    {
        std::unique_lock lock(lock_);
        const auto is_filled = [this] { return !batches_.empty(); };
        if (until != nullptr)
            arrived_.wait_until(lock, *until, is_filled);
        else
            arrived_.wait(lock, is_filled);
        return std::exchange(batches_, {});
    }
    void delivered(uint64_t bytes)
    {
        const std::lock_guard lock(lock_);
        held_ -= bytes;
    }

  private:
    const uint64_t limit_;
    std::mutex lock_;
    std::condition_variable arrived_;
    std::deque<batch> batches_;
    uint64_t held_ = 0;
};

} // namespace vorl::bus
