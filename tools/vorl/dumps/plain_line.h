// A line of text that is bytes and nothing else: hex digits, base64, or a string of C.
#pragma once

#include <string_view>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::dumps {

struct plain_line {
    bytes content;
    bool goes_on = false; ///< in the next line, as its end says
};

/// Pairs of digits; between them blanks, commas, colons, and 0x before a pair. Throws bad_line.
plain_line read_hex_line(std::string_view line);

/// Whether all characters are of base64.
bool has_base64_only(std::string_view line);
/// Whether a line is base64, long enough to be no word, and cannot be hex digits.
bool is_base64_alone(std::string_view line);
/// Throws bad_line.
plain_line read_base64_line(std::string_view line);

/// "\x04\000A", as C has it, one or more; with a backslash behind it goes on. Throws bad_line.
plain_line read_c_string_line(std::string_view line);

} // namespace vorl::dumps
