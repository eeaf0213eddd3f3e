// What the stand-ins share: lines for people, and numbers from the environment.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace vorl::platform {

/// `text` and a line feed in one write, so that the lines of several processes do not mix.
inline void write_line(int fd, std::string text)
{
    text += '\n';
    [[maybe_unused]] const ssize_t written = write(fd, text.data(), text.size());
}

/// What printf would print, cut where it passes 2047 bytes.
template <class First, class... Rest>
std::string formatted(const char *format, First first, Rest... rest)
{
    char text[2048];
    snprintf(text, sizeof text, format, first, rest...);
    return text;
}

/// The decimal number in the variable `name`; `otherwise` when it is missing or no number.
inline uint64_t number_from_environment(const char *name, uint64_t otherwise)
{
    const char *text = getenv(name);
    if (text == nullptr || *text < '0' || *text > '9')
        return otherwise;
    char *end = nullptr;
    const uint64_t number = strtoull(text, &end, 10);
    return *end == '\0' ? number : otherwise;
}

} // namespace vorl::platform
