// The smallest bus that copies frames through shared memory, for one sender and one receiver on one
// core: a ring of bytes in a mapping that processes could share.
//
//   | identifier | length | frame, filled up to 8 bytes | identifier | length | ...
//      4 bytes     4 bytes
//
// A frame is not split: where the end of the ring is too near, a length of all ones says that the next
// one is at the start. The receiver copies a frame out before it reads it, since what is in shared
// memory can change under a reader.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "runtime/bus.h"

namespace vorl::bench {

class shared_bus {
  public:
    explicit shared_bus(uint32_t capacity);
    ~shared_bus();
    shared_bus(const shared_bus &) = delete;
    shared_bus &operator=(const shared_bus &) = delete;

    /// Copies the frames in; false when one finds no room.
    bool put(const frame_desc *descs, uint32_t count);

    struct frame {
        const uint8_t *bytes; ///< until the next take; null: there was no frame
        uint32_t msg_id;
        uint32_t length;
    };
    frame take();

    /// VORL_SendToMsg puts into this bus from now on.
    void serve();

  private:
    struct header {
        uint32_t msg_id;
        uint32_t length;
    };
    static constexpr uint32_t go_to_start = UINT32_MAX;
    /// What sender and receiver share.
    struct shared {
        alignas(64) std::atomic<uint64_t> put; ///< bytes, ever
        alignas(64) std::atomic<uint64_t> taken;
        alignas(64) uint8_t ring[];
    };
    static uint64_t room_of(uint32_t length) { return sizeof(header) + (length + 7u) / 8 * 8; }

    uint32_t capacity_;
    shared *shared_;
    std::vector<uint8_t> private_;
};

} // namespace vorl::bench
