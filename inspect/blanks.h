// Blanks in text that people wrote.
#pragma once

#include <string_view>

namespace vorl {

constexpr bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// The text without the blanks at both ends.
constexpr std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace vorl
