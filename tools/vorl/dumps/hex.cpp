// Lines of hex digits.
#include "inspect/hex.h"
#include "tools/vorl/dumps/plain_line.h"
#include "tools/vorl/dumps/reading.h"
#include "tools/vorl/json_node.h"

namespace vorl::dumps {

plain_line read_hex_line(std::string_view line)
{
    static constexpr int none = -1;
    plain_line read;
    int high = none;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const int value = hex_value(c);
        if (high == none && c == '0' && i + 1 < line.size() && (line[i + 1] | 0x20) == 'x') {
            ++i;
        } else if (value >= 0 && high == none) {
            high = value;
        } else if (value >= 0) {
            read.content.push_back(static_cast<std::uint8_t>(16 * high + value));
            high = none;
        } else if (high != none || std::string_view(" \t,:").find(c) == std::string_view::npos) {
            throw bad_line(
                "has \"" + json::printable({&c, 1}) +
                "\" where a pair of hex digits must be; give hex digits, or another form "
                "that --help lists");
        }
    }
    if (high != none)
        throw bad_line("half a byte at the end; give two hex digits a byte");
    read.goes_on = line.ends_with(',') || line.ends_with(':');
    return read;
}

} // namespace vorl::dumps
