// Lines of base64.
#include <algorithm>

#include "inspect/hex.h"
#include "tools/vorl/dumps/plain_line.h"
#include "tools/vorl/dumps/reading.h"
#include "tools/vorl/json_node.h"

namespace vorl::dumps {
namespace {

/// Of the smallest message there is: 14 bytes. A shorter line is more likely a word.
constexpr std::size_t shortest_line = 20;

/// -1: none of the alphabet.
int value_of(char c)
{
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t at = alphabet.find(c);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

/// The line without the = at its end, which are two at the most.
std::string_view without_padding(std::string_view line)
{
    for (int i = 0; i < 2 && line.ends_with('='); ++i)
        line.remove_suffix(1);
    return line;
}

} // namespace

bool has_base64_only(std::string_view line)
{
    const std::string_view digits = without_padding(line);
    return std::all_of(digits.begin(), digits.end(), [](char c) { return value_of(c) >= 0; });
}

bool is_base64_alone(std::string_view line)
{
    const auto is_hex = [](char c) { return hex_value(c) >= 0; };
    return line.size() >= shortest_line && line.size() % 4 == 0 && has_base64_only(line) &&
           !std::all_of(line.begin(), line.end(), is_hex);
}

plain_line read_base64_line(std::string_view line)
{
    const std::string_view digits = without_padding(line);
    plain_line read;
    std::uint32_t bits = 0;
    unsigned count = 0; // of bits that no byte has taken
    for (const char c : digits) {
        const int value = value_of(c);
        if (value < 0)
            throw bad_line("has \"" + json::printable({&c, 1}) +
                           "\", which is not of base64; give A to Z, a to z, 0 to 9, + and /");
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            read.content.push_back(static_cast<std::uint8_t>(bits >> count));
            bits &= (1U << count) - 1;
        }
    }
    if (line.size() % 4 != 0 || bits != 0)
        throw bad_line("ends within a byte; give base64 in lines of four characters, or a multiple "
                       "of it");
    return read;
}

} // namespace vorl::dumps
