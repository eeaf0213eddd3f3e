// The record of some bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "inspect/decode.h"

namespace vorl {

/// Releases what its vectors lead to when it goes out of scope.
class decoded_record {
  public:
    explicit decoded_record(const message &m) : message_(m), data_((m.record_size + 7) / 8) {}
    ~decoded_record() { inspect::release(message_, data_.data()); }
    decoded_record(const decoded_record &) = delete;
    decoded_record &operator=(const decoded_record &) = delete;

    /// Once. Why a reader refuses the bytes: then the record owns nothing.
    std::optional<inspect::damage> read(std::span<const std::uint8_t> from)
    {
        return inspect::decode(message_, from, data_.data());
    }
    const std::uint8_t *data() const
    {
        return reinterpret_cast<const std::uint8_t *>(data_.data());
    }

  private:
    const message &message_;
    std::vector<std::uint64_t> data_;
};

} // namespace vorl
