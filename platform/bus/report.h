// What a receiver says on standard error, with its destination.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <string>

#include "platform/support.h"

namespace vorl::bus {

inline void report_at(uint32_t dest, const std::string &text)
{
    platform::write_line(STDERR_FILENO,
                         "vorl-bus: destination " + std::to_string(dest) + ": " + text);
}

template <class First, class... Rest>
void report_at(uint32_t dest, const char *format, First first, Rest... rest)
{
    report_at(dest, platform::formatted(format, first, rest...));
}

} // namespace vorl::bus
