// Points in time and durations as text: "2026-11-21T20:44:40.125Z", "3d 02:15:40.125".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorl::inspect {

/// Decimal digits behind the second of a unit: s 0, ms 3, us 6, ns 9. Nothing: it is no unit of time.
std::optional<unsigned> digits_of_unit(std::string_view unit);

/// Since the start of 1970, in UTC. Nothing: it is behind the year 9999.
std::optional<std::string> date_text(std::uint64_t value, unsigned digits);
/// Throws form_error.
std::uint64_t read_date(std::string_view text, unsigned digits);

std::string duration_text(std::uint64_t value, unsigned digits);
/// Throws form_error.
std::uint64_t read_duration(std::string_view text, unsigned digits);

} // namespace vorl::inspect
