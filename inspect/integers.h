// Unsigned integers of one to eight bytes, as records hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace vorl {

/// The unsigned integer of `width` bytes at `from`.
inline std::uint64_t load_integer(const std::uint8_t *from, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::uint64_t{from[i]} << (8 * i);
    return value;
}

inline void store_integer(std::uint8_t *to, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = 0; i < width; ++i)
        to[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// The largest integer of `width` bytes.
constexpr std::uint64_t largest_integer(std::size_t width)
{
    return width < 8 ? (std::uint64_t{1} << (8 * width)) - 1
                     : std::numeric_limits<std::uint64_t>::max();
}

} // namespace vorl
