// An explanation of a log line as a person reads it, and as JSON.
#pragma once

#include <cstddef>
#include <string>

#include "inspect/log_explain.h"

namespace vorl {

/// What each line of an explanation begins with, which tells it from the log.
inline constexpr const char *explanation_mark = "    | ";

/// Lines, each behind the mark, without the end of the last. In colour, terminal codes are around
/// each.
std::string to_lines(const inspect::log_finding &finding, bool in_colour);

/// The same for a remark of our own.
std::string to_lines(const std::string &remark, bool in_colour);

/// One JSON object, without a newline; `line` is the number of the line in the log.
std::string to_json(const inspect::log_finding &finding, std::size_t line);

} // namespace vorl
