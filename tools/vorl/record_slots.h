// What a slot holds in a record of a message that is known at run time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "inspect/integers.h"
#include "serial/slot.h"

namespace vorl {

/// Integers, bytes or records.
struct slot_content {
    const std::uint8_t *data;
    std::size_t count;
};

inline slot_content content_of(const slot &s, const std::uint8_t *record)
{
    switch (s.shape) {
    case slot_shape::byte_vector:
    case slot_shape::table_vector: {
        const std::uint8_t *data = nullptr;
        std::memcpy(&data, record + s.record_at, sizeof data);
        return {data, data == nullptr ? 0 : load_integer(record + s.count_at, 4)};
    }
    case slot_shape::array:
    case slot_shape::table_array: return {record + s.record_at, s.count};
    case slot_shape::scalar:
    case slot_shape::table: break;
    }
    return {record + s.record_at, 1};
}

inline bool is_zero(const std::uint8_t *bytes, std::size_t count)
{
    return std::all_of(bytes, bytes + count, [](std::uint8_t byte) { return byte == 0; });
}

inline bool is_zero_slot(const slot &s, const std::uint8_t *record)
{
    const auto [data, count] = content_of(s, record);
    if (s.is_vector())
        return count == 0;
    // A nested record that owns nothing and counts nothing is zero in every byte.
    return is_zero(data, count * (s.nested != nullptr ? s.nested->record_size : s.width));
}

} // namespace vorl
