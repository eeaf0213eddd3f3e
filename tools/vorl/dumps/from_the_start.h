// An input whose first bytes were looked at, so as to know what it is.
#pragma once

#include <algorithm>
#include <streambuf>
#include <string>

namespace vorl::dumps {

/// The input once more from its start, though its first bytes have been looked at.
class from_the_start : public std::streambuf {
  public:
    from_the_start(std::string first, std::streambuf &rest) : first_(std::move(first)), rest_(rest)
    {
        setg(first_.data(), first_.data(), first_.data() + first_.size());
    }

  protected:
    int_type underflow() override
    {
        // No more than is there: whoever reads a pipe gets each line when it comes.
        const int_type next = rest_.sbumpc();
        if (traits_type::eq_int_type(next, traits_type::eof()))
            return next;
        block_[0] = traits_type::to_char_type(next);
        constexpr std::streamsize room = sizeof block_ - 1;
        const std::streamsize there = std::min(rest_.in_avail(), room);
        const std::streamsize more = there > 0 ? rest_.sgetn(block_ + 1, there) : 0;
        setg(block_, block_, block_ + 1 + more);
        return next;
    }

  private:
    std::string first_;
    std::streambuf &rest_;
    char block_[65536];
};

} // namespace vorl::dumps
