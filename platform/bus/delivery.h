// Frames to records to the program's handler, in the program's thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <set>

#include "platform/bus/protocol.h"
#include "platform/bus/receiver.h"

namespace vorl::bus {

/// Where records are unpacked. A record ends at a page that cannot be touched, so an __unpack that
/// writes past its record faults there.
class record_area {
  public:
    static constexpr size_t capacity = 65536;

    record_area();
    ~record_area();
    record_area(const record_area &) = delete;
    record_area &operator=(const record_area &) = delete;

    /// `size` zeroed bytes, aligned for any member of a record.
    uint8_t *place(size_t size);

  private:
    uint8_t *start_;
    size_t mapped_size_;
};

/// What is delivered at one destination.
class delivery {
  public:
    explicit delivery(uint32_t dest) : dest_(dest) {}

    /// Unpacks a frame, shows its record to the handler and releases it. False: it was dropped.
    bool deliver(frame_head head, const uint8_t *frame, vorl_dev_handler handler, void *user);

    /// Frames, counted as the public header says.
    std::atomic<uint64_t> delivered{0}, unknown{0};

  private:
    void report_unknown(frame_head head);

    const uint32_t dest_;
    record_area area_;
    std::map<uint32_t, uint32_t> record_sizes_; ///< learned at the first delivery of each type
    std::set<uint32_t> reported_; ///< identifiers that nobody registered, the first ones
};

} // namespace vorl::bus
