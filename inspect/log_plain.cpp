#include "inspect/log_plain.h"

#include <charconv>
#include <cstring>

namespace vorl::inspect {
namespace {

constexpr char escape = '\x1b';

/// A character, and how many characters of the line stand for it.
struct written {
    char is;
    std::size_t length;
};

/// \u and four hex digits; what is not ASCII is a question mark, because no text of ours has it.
written unicode_at(std::string_view line)
{
    constexpr std::size_t length = 6;
    unsigned code = 0;
    if (line.size() < length)
        return {line[0], 1};
    const char *const end = line.data() + length;
    const auto [stop, error] = std::from_chars(line.data() + 2, end, code, 16);
    if (error != std::errc() || stop != end)
        return {line[0], 1};
    return {code < 0x80 ? static_cast<char>(code) : '?', length};
}

/// `line` begins with a backslash.
written backslash_at(std::string_view line)
{
    for (const std::string_view as : {"\\x1b", "\\x1B", "\\033"}) {
        if (line.starts_with(as))
            return {escape, as.size()};
    }
    switch (line.size() > 1 ? line[1] : '\0') {
    case 'u': return unicode_at(line);
    case '"':
    case '\\':
    case '/': return {line[1], 2};
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't': return {' ', 2};
    default: return {line[0], 1};
    }
}

written character_at(std::string_view line)
{
    if (line[0] == '\\')
        return backslash_at(line);
    constexpr std::string_view octal = "#033"; // as syslog daemons write it
    if (line.starts_with(octal))
        return {escape, octal.size()};
    return {line[0], 1};
}

/// journalctl's JSON writes a text that is no UTF-8 as an array of its bytes, "[91,90,...]". Appends
/// those bytes when such an array begins at `at`. Returns where the array ends; `at` when none is there.
std::size_t append_numbers(std::string_view line, std::size_t at, plain_line &to)
{
    constexpr std::size_t least =
        8; // shorter than any text of ours, longer than what stands in logs
    const std::size_t before = to.text.size();
    const char *const end = line.data() + line.size();
    const char *next = line.data() + at;
    do {
        std::uint8_t byte = 0;
        const char *const digits = next + 1;
        const auto [stop, error] = std::from_chars(digits, end, byte);
        if (error != std::errc() || stop == end)
            break;
        to.text += static_cast<char>(byte);
        to.at.push_back(static_cast<std::uint32_t>(digits - line.data()));
        next = stop;
    } while (*next == ',');
    if (*next == ']' && to.text.size() - before >= least)
        return static_cast<std::size_t>(next + 1 - line.data());
    to.text.resize(before);
    to.at.resize(before);
    return at;
}

plain_line without_escapes(std::string_view line)
{
    plain_line out;
    out.text.reserve(line.size());
    out.at.reserve(line.size());
    for (std::size_t at = 0; at < line.size();) {
        if (line[at] == '[') {
            const std::size_t end = append_numbers(line, at, out);
            if (end != at) {
                at = end;
                continue;
            }
        }
        const written next = character_at(line.substr(at));
        out.text += next.is;
        out.at.push_back(static_cast<std::uint32_t>(at));
        at += next.length;
    }
    return out;
}

bool is_within(char c, char first, char last) { return c >= first && c <= last; }

/// Where the characters from `at` on end that are within the two.
std::size_t end_of(std::string_view text, std::size_t at, char first, char last)
{
    while (at < text.size() && is_within(text[at], first, last))
        ++at;
    return at;
}

/// How long the terminal code is that `text` begins with an escape character; 1: it is none.
std::size_t code_length(std::string_view text)
{
    constexpr std::size_t none = 1;
    if (text.size() < 2)
        return none;
    if (text[1] == ']') { // up to a bell, or to an escape character and a backslash
        const std::size_t end = text.find_first_of("\a\x1b", 2);
        if (end == std::string_view::npos)
            return none;
        return end + (text[end] == '\a' ? 1 : 2);
    }
    // Parameters are only behind a bracket.
    std::size_t at = text[1] == '[' ? end_of(text, 2, '0', '?') : 1;
    at = end_of(text, at, ' ', '/');
    const char least = text[1] == '[' ? '@' : '0';
    return at < text.size() && is_within(text[at], least, '~') ? at + 1 : none;
}

} // namespace

plain_line plain(std::string_view line)
{
    plain_line all = without_escapes(line);
    std::size_t kept = 0;
    for (std::size_t at = 0; at < all.text.size();) {
        if (all.text[at] == escape) {
            at += code_length(std::string_view(all.text).substr(at));
            continue;
        }
        all.text[kept] = all.text[at];
        all.at[kept++] = all.at[at++];
    }
    all.text.resize(kept);
    all.at.resize(kept);
    return all;
}

bool has_codes(std::string_view line)
{
    return std::memchr(line.data(), escape, line.size()) != nullptr ||
           std::memchr(line.data(), '\\', line.size()) != nullptr ||
           line.find("#033") != std::string_view::npos ||
           line.find("\":[") != std::string_view::npos;
}

} // namespace vorl::inspect
