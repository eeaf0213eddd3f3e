// Arrays of bytes as C has them, over any number of lines, with comments and with declarations or
// without; each is a frame:
//
//   /* Frame (32 bytes) */
//   static const unsigned char frame[32] = {
//   0x04, 0x00, 0, 0, 0xf0, /* .... */
//   };
//   unsigned int frame_len = 5;             as xxd -i writes; held against what was read
#pragma once

#include <string>
#include <string_view>

#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

class c_arrays {
  public:
    explicit c_arrays(reading &to) : to_(to) {}

    /// Whether the text can open an array, or what belongs to one.
    static bool may_begin(std::string_view text);
    /// Whether the lines so far end within something.
    bool is_open() const { return in_comment_ || depth_ != 0 || !outside_.empty(); }

    void add(std::size_t line, std::string_view text);
    /// The end of the text.
    void finish();

  private:
    void take(char c, std::size_t line);
    void take_inside(char c, std::size_t line);
    void take_outside(char c, std::size_t line);
    void end_number(std::size_t line);
    void end_statement(std::size_t line);

    reading &to_;
    bool in_comment_ = false;
    std::size_t depth_ = 0; ///< of braces
    std::string outside_;   ///< what stands before a brace or a semicolon
    std::string number_;
    bytes frame_;
    std::size_t array_line_ = 0; ///< where it opens
    std::size_t last_line_ = 0;
    std::size_t last_size_ = 0; ///< of the array before
};

} // namespace vorl::dumps
