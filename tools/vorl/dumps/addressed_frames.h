// The frames of the dumps of xxd, hexdump and od: each from its address 0 on, up to the next, to an
// address that stands alone, or to a line of another form.
#pragma once

#include <vector>

#include "tools/vorl/dumps/addressed_line.h"
#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

class addressed_frames {
  public:
    explicit addressed_frames(reading &to) : to_(to) {}

    /// Whether the text is a line of a dump, and has been taken. `form` is what is accepted.
    bool take(dump_form form, std::size_t line, std::string_view text);
    /// A line of another form, or the end of the text.
    void finish();

  private:
    bool may_be_line(dump_form form, const addressed_line &text) const;
    void add(std::size_t line, const addressed_line &text);
    void start(std::size_t line, const addressed_line &text);
    bool take_end(std::size_t line, std::string_view text);
    bool opens_as_next(std::string_view text) const;
    std::vector<std::uint64_t> possible(std::string_view address, bool is_end) const;
    void go_on_at(std::string_view address, std::size_t line, bool is_end);

    reading &to_;
    bytes frame_;
    std::size_t first_line_ = 0;
    std::size_t last_line_at_ = 0;  ///< where the bytes of the dump's last line start
    std::size_t digits_ = 0;        ///< of the dump's first address
    std::vector<unsigned> radices_; ///< that its addresses may have
    address_style style_ = address_style::colon;
    bool in_dump_ = false;
    bool repeats_ = false; ///< a * stands since the last line
};

} // namespace vorl::dumps
