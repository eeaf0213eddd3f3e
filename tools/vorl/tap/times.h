// Times and durations as people write them.
#pragma once

#include <cstdint>
#include <string>

namespace vorl::tap {

/// "2026-11-21T23:59:52.123456789Z"
std::string time_text(std::uint64_t nanoseconds);

/// Of that form, with less of a second or none; or seconds since 1970, with a fraction or none. Nanoseconds
/// since 1970. Throws std::runtime_error.
std::uint64_t parse_time(const std::string &text);

/// "10s", "250ms", "2m", "1h", "3" for seconds. Nanoseconds. Throws std::runtime_error.
std::uint64_t parse_duration(const std::string &text);

/// Now, in nanoseconds since 1970.
std::uint64_t present_time();

} // namespace vorl::tap
