// What gdb's x command prints: addresses of memory, with a symbol or without, and numbers of 1, 2, 4
// or 8 bytes, the least significant byte first.
//
//   (gdb) x/16xb frame                                     a prompt is skipped
//   0x7ffe4a30 <frame>:    0x04  0x00  0x00  0x00  ...
//   0x7ffe4a38 <frame+8>:  0x01  0x00  0x00  0x00  ...
//
// A frame goes on as long as the addresses do; an empty line or a prompt ends it.
#pragma once

#include <string_view>

#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

class gdb_frames {
  public:
    explicit gdb_frames(reading &to) : to_(to) {}

    /// Whether the text is such a line, and has been taken.
    bool take(std::size_t line, std::string_view text);
    /// An empty line, a line of another form, or the end of the text.
    void finish();

  private:
    reading &to_;
    bytes frame_;
    std::size_t first_line_ = 0; ///< 0: in no frame
    std::uint64_t next_ = 0;     ///< address behind the bytes so far
};

} // namespace vorl::dumps
