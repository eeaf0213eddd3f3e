// The record of some bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "catalogue/catalogue.h"
#include "tools/vorl/bytes_text.h"

namespace vorl {

/// As the library decodes it. Released when it goes out of scope.
class decoded_record {
  public:
    decoded_record(const catalogue::message_info &type, const bytes &from)
        : type_(type), data_((type.record_size + 7) / 8)
    {
        type.functions.unpack(from.data(), static_cast<std::int32_t>(from.size()), data_.data());
    }
    ~decoded_record() { type_.functions.free_unpacked(data_.data()); }
    decoded_record(const decoded_record &) = delete;
    decoded_record &operator=(const decoded_record &) = delete;

    const void *data() const { return data_.data(); }

  private:
    const catalogue::message_info &type_;
    std::vector<std::uint64_t> data_;
};

} // namespace vorl
