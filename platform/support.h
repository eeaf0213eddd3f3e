// What the stand-ins share: lines for people, and numbers from the environment.
#pragma once

#include <stdarg.h>
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
[[gnu::format(printf, 1, 2)]] inline std::string formatted(const char *format, ...)
{
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
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
