// A line of a dump: its address, and the bytes behind it.
//
//   00000010: 0300 0000 0a00  ......                 xxd; tcpdump -X has 0x0010: in front
//   00000010  03 00 00 00  0a 00  |......|           hexdump -C; Wireshark, without the bars
//   0000020 03 00 00 00 0a 00                        od -tx1; od -Ax has 000010
//   0000010 0003 0000 000a                           hexdump; od -tx2 has 0000020
#pragma once

#include <optional>
#include <string_view>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::dumps {

enum class address_style : std::uint8_t {
    colon,  ///< hexadecimal
    spaced, ///< hexadecimal, two blanks or more behind it
    bytes,  ///< in any radix
    words,  ///< in any radix, and bytes as numbers, the least significant first
};

struct addressed_line {
    address_style style;
    std::string_view address; ///< digits
    bytes content;
    std::size_t word = 1; ///< bytes of a number
};

/// Nothing: no such line. `may_be_words`: six digits with words behind them are an address, and not
/// hex digits. Throws bad_line for what is an address with numbers that are no bytes.
std::optional<addressed_line> as_addressed_line(std::string_view line, bool may_be_words);

/// Numbers of one width, separated by blanks, each `prefix` and hex digits, as the bytes that they
/// are in memory, the least significant first. `word` becomes their width; nothing: not so.
std::optional<bytes> read_words(std::string_view text, std::string_view prefix, std::size_t &word);

/// Hex digits at the start of the text.
std::size_t count_digits(std::string_view text);

/// Nothing: a digit is not of the radix, or the number passes 64 bits.
std::optional<std::uint64_t> to_number(std::string_view digits, unsigned radix);

} // namespace vorl::dumps
