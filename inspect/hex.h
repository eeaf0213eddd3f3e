// Hex digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorl {

inline constexpr char hex_digits[] = "0123456789abcdef";

/// -1: not a hex digit.
constexpr int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

/// Lower-case digits, `separator` between bytes.
inline std::string to_hex(const std::uint8_t *data, std::size_t count,
                          std::string_view separator = "")
{
    std::string text;
    text.reserve(count * (2 + separator.size()));
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 0)
            text += separator;
        text += hex_digits[data[i] >> 4];
        text += hex_digits[data[i] & 15];
    }
    return text;
}

/// An identifier as the tools write it: "0xB7B345A9".
inline std::string identifier_text(std::uint32_t identifier)
{
    std::string text = "0x";
    for (unsigned shift = 32; shift != 0; shift -= 4) {
        const char digit = hex_digits[identifier >> (shift - 4) & 15];
        text += digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
    }
    return text;
}

} // namespace vorl
