// Text of people and files, made fit to be shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "inspect/hex.h"

namespace vorl {

constexpr bool is_printable(char c) { return c >= 0x20 && c < 0x7F; }

/// The text with everything but printable ASCII escaped, and cut when it is long.
inline std::string printable(std::string_view text)
{
    constexpr std::size_t limit = 160;
    std::string result;
    for (const char c : text) {
        if (result.size() >= limit)
            return result + "...";
        if (is_printable(c)) {
            result += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            result += "\\x";
            result += hex_digits[byte >> 4];
            result += hex_digits[byte & 15];
        }
    }
    return result;
}

} // namespace vorl
