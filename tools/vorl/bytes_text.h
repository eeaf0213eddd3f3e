// Bytes as people have them: hex text, and the dumps of xxd and hexdump -C.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vorl {

/// "LINE: what is wrong; what to do".
class hex_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

using bytes = std::vector<std::uint8_t>;

/// Calls take(line, frame) for each frame of a text:
///   04000000 d4ff ffff             a line a frame; blanks, commas and 0x before digits are skipped
///   00000000: 0400 0000  ....      a dump: lines open with an offset, a frame from offset 0 on
///   00000000  04 00 00  |...|      the same of hexdump -C, its * for repeated lines included
/// Empty lines and lines that open with # are skipped. `line` is where the frame starts, from 1.
/// Throws hex_error.
void read_hex_frames(std::istream &text,
                     const std::function<void(std::size_t line, const bytes &frame)> &take);

} // namespace vorl
