#include "characters.h"

#include <cstdint>
#include <cstdio>

namespace idlc {
namespace {

struct decoded {
    std::uint32_t code;
    std::size_t length; ///< 0: no valid character of UTF-8 with more than one byte
};

decoded decode(std::string_view text)
{
    const auto byte = [&text](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const std::size_t length = byte(0) >= 0xF0 && byte(0) <= 0xF4  ? 4
                               : byte(0) >= 0xE0 && byte(0) < 0xF0 ? 3
                               : byte(0) >= 0xC2 && byte(0) < 0xE0 ? 2
                                                                   : 0;
    std::uint32_t code = length == 0 ? 0 : byte(0) & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U)
            return {0, 0};
        code = code << 6 | (byte(i) & 0x3FU);
    }
    return {code, length};
}

/// What word processors and web pages make of characters of the language.
struct lookalike {
    std::uint32_t first, last;
    const char *is;
    const char *instead; ///< empty: remove it
};
constexpr lookalike lookalikes[] = {
    {0x00A0, 0x00A0, "a blank that does not break", "' '"},
    {0x2000, 0x200A, "a blank", "' '"},
    {0x200B, 0x200F, "invisible", ""},
    {0x2010, 0x2015, "a dash", "'-'"},
    {0x2018, 0x201B, "a curly quote", "'\"'"},
    {0x201C, 0x201F, "a curly quote", "'\"'"},
    {0x2026, 0x2026, "three full stops", "'...'"},
    {0x202A, 0x202E, "invisible", ""},
    {0x202F, 0x202F, "a blank that does not break", "' '"},
    {0x2060, 0x2064, "invisible", ""},
    {0x3000, 0x3000, "a blank", "' '"},
    {0xFEFF, 0xFEFF, "a byte order mark", ""},
};

} // namespace

std::size_t character_length(std::string_view text)
{
    const std::size_t length = decode(text).length;
    return length == 0 ? 1 : length;
}

std::string character_name(std::string_view text)
{
    if (text[0] > ' ' && text[0] <= '~')
        return std::string("'") + text[0] + "'";
    const decoded character = decode(text);
    if (character.length == 0)
        return "byte " + std::to_string(static_cast<unsigned char>(text[0]));
    char name[16];
    std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(character.code));
    return name;
}

std::string instead_of(std::string_view text)
{
    const std::uint32_t code = decode(text).code;
    for (const lookalike &l : lookalikes) {
        if (code < l.first || code > l.last)
            continue;
        return *l.instead == '\0' ? std::string("remove it, it is ") + l.is
                                  : std::string("it is ") + l.is + ", write " + l.instead;
    }
    // Full-width forms of ASCII.
    if (code >= 0xFF01 && code <= 0xFF5E)
        return std::string("write '") + static_cast<char>(code - 0xFEE0) + "'";
    return "remove it";
}

} // namespace idlc
