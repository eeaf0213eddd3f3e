// What the library writes to the platform's log: the place that a line names, and its text. What
// the lines mean to a person stands in inspect/log_lines.cpp, which takes both from here.
#pragma once

#include <stdint.h>

namespace vorl {

/// Where in a message's functions a line is logged: the `line` argument of the log call. Values are
/// kept from release to release, so that a line number in an old log still tells the place.
namespace log_line {

inline constexpr uint32_t pack_arguments = 1;
inline constexpr uint32_t unpack_arguments = 2;
inline constexpr uint32_t root_table = 10;        ///< plus the table_check
inline constexpr uint32_t table = 20;             ///< plus the table_check
inline constexpr uint32_t root_allocation = 1000; ///< plus the slot
inline constexpr uint32_t allocation = 2000;      ///< plus the slot

} // namespace log_line

// The platform's log takes these numbers. It does not document what they stand for.
inline constexpr uint32_t log_level = 2;
inline constexpr uint32_t log_kind = 22;
inline constexpr uint32_t log_kind_no_memory = 12;

namespace log_text {

inline constexpr const char *pack_arguments = "[ZELKO]:Param invalid(%s, %u, %s)";
inline constexpr const char *unpack_arguments = "[ZELKO]:Param invalid(%s, %d, %s)";
inline constexpr const char *no_memory = "[ZELKO]:Malloc unpack data unsuccess, size(%u)";
/// By table_check.
inline constexpr const char *table[] = {
    "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
    "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)",
    "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)",
};

} // namespace log_text
} // namespace vorl
