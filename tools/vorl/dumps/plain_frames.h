// The frames of lines that are bytes and nothing else: one a line, or one wrapped over several
// (dump_layout says when).
#pragma once

#include "tools/vorl/dumps/plain_line.h"
#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

class plain_frames {
  public:
    explicit plain_frames(reading &to) : to_(to) {}

    /// `form` is hex, base64 or c_string.
    void add(dump_form form, std::size_t line, const plain_line &text);
    /// An empty line, a comment, or a line of another form.
    void gap();
    /// The end of the text.
    void finish();
    /// Whether the line before was of this form.
    bool goes_on_with(dump_form form) const { return form_ == form; }

  private:
    /// A line, with those that it said to go on in; or several that were put together.
    struct piece {
        std::size_t first_line = 0;
        std::size_t last_line = 0;
        bytes content;
        bool is_empty() const { return first_line == 0; }
    };

    void add_piece(piece added);
    void add_guessing(piece added);
    std::span<const std::uint8_t> behind_headers(const piece &p) const;
    bool begins(const piece &p) const;
    bool starts_another(const piece &p) const;
    bool may_be_wrapped(const piece &p) const;
    void append(piece &to, const piece &added) const;
    void deliver(piece &p);
    void note_wrapped();
    void note_lines(const piece &added);

    reading &to_;
    dump_form form_ = dump_form::automatic; ///< of the line before; automatic: none
    piece unfinished_;                      ///< goes on in the next line
    piece frame_;            ///< the first line of a frame that may be wrapped, or more
    std::size_t width_ = 0;  ///< bytes of the first line of frame_ when it is wrapped; 0: not yet
    std::size_t before_ = 0; ///< bytes of the line before, which was a frame; 0: none
    std::size_t before_line_ = 0;
    bool has_noted_wrapped_ = false;
    bool has_noted_lines_ = false;
};

} // namespace vorl::dumps
