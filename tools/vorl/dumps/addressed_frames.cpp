#include "tools/vorl/dumps/addressed_frames.h"

#include <algorithm>
#include <utility>

namespace vorl::dumps {
namespace {

/// Bound of what a * in a dump may stand for: two lines of text must not cost a gigabyte.
constexpr std::uint64_t largest_dump = std::uint64_t{1} << 24;

bool is_form(dump_form form, address_style style)
{
    switch (form) {
    case dump_form::automatic: return true;
    case dump_form::xxd: return style == address_style::colon;
    case dump_form::hexdump: return style == address_style::spaced || style == address_style::words;
    case dump_form::od: return style == address_style::bytes || style == address_style::words;
    default: return false;
    }
}

std::vector<unsigned> radices_of(dump_form form, const addressed_line &text)
{
    const bool is_of_od = text.style == address_style::bytes || text.style == address_style::words;
    if (!is_of_od || text.address.size() % 2 == 0)
        return {16};
    if (form == dump_form::hexdump)
        return {16};
    if (text.style == address_style::bytes || form == dump_form::od)
        return {8, 10};
    return {16, 8, 10};
}

} // namespace

bool addressed_frames::take(dump_form form, std::size_t line, std::string_view text)
{
    if (!is_form(form, address_style::colon) && !is_form(form, address_style::words))
        return false;
    if (in_dump_ && text == "*") {
        repeats_ = true;
        return true;
    }
    if (in_dump_ && take_end(line, text))
        return true;
    const bool may_be_words = form == dump_form::od || form == dump_form::hexdump ||
                              (in_dump_ && style_ == address_style::words);
    const std::optional<addressed_line> read = as_addressed_line(text, may_be_words);
    if (!read || !is_form(form, read->style) || !may_be_line(form, *read)) {
        if (in_dump_ && opens_as_next(text))
            to_.refuse(line, "opens with the next address of the dump, and is no line of it; give "
                             "every line as it was printed");
        return false;
    }
    if (to_number(read->address, 16) == 0U) {
        start(line, *read);
        radices_ = radices_of(form, *read);
    }
    if (!in_dump_)
        to_.refuse(line, "the dump does not start at offset 0; give the whole frame");
    add(line, *read);
    return true;
}

void addressed_frames::finish()
{
    repeats_ = false;
    if (std::exchange(in_dump_, false))
        to_.deliver(to_.place(first_line_), std::exchange(frame_, {}));
}

/// Digits with pairs behind them may be hex digits, as long as no dump has begun.
bool addressed_frames::may_be_line(dump_form form, const addressed_line &text) const
{
    return text.style != address_style::bytes || text.address.size() % 2 != 0 || in_dump_ ||
           form == dump_form::od || to_number(text.address, 16) == 0U;
}

void addressed_frames::start(std::size_t line, const addressed_line &text)
{
    finish();
    first_line_ = line;
    last_line_at_ = 0;
    digits_ = text.address.size();
    style_ = text.style;
    in_dump_ = true;
    if (text.style == address_style::words)
        to_.note("line " + std::to_string(line) + " is read as words of " +
                 std::to_string(text.word) + " bytes, the least significant byte first");
}

void addressed_frames::add(std::size_t line, const addressed_line &text)
{
    go_on_at(text.address, line, false);
    last_line_at_ = frame_.size();
    to_.append(frame_, text.content, to_.place(line));
}

/// The address behind the last byte, which hexdump and od print alone on the last line.
bool addressed_frames::take_end(std::size_t line, std::string_view text)
{
    if (style_ == address_style::colon || text.size() < digits_ ||
        count_digits(text) != text.size())
        return false;
    // Digits that no address here can be are another frame's.
    if (!repeats_ && text.size() % 2 == 0 && possible(text, true).empty())
        return false;
    go_on_at(text, line, true);
    finish();
    return true;
}

bool addressed_frames::opens_as_next(std::string_view text) const
{
    const std::size_t digits = count_digits(text);
    return digits >= digits_ && digits < text.size() && !repeats_ &&
           !possible(text.substr(0, digits), false).empty();
}

/// What the address may be, in each radix that is left, and can be behind the bytes so far.
std::vector<std::uint64_t> addressed_frames::possible(std::string_view address, bool is_end) const
{
    const std::uint64_t most = std::min(largest_dump, to_.options().largest_frame);
    const bool has_line = last_line_at_ < frame_.size(); // for a * to repeat
    std::vector<std::uint64_t> found;
    for (const unsigned radix : radices_) {
        const std::optional<std::uint64_t> number = to_number(address, radix);
        // A last word that lacks a byte is filled with a zero.
        const bool lacks_byte = is_end && style_ == address_style::words && number &&
                                *number + 1 == frame_.size() && frame_.back() == 0;
        if (number && (repeats_ ? *number >= frame_.size() && *number <= most && has_line
                                : *number == frame_.size() || lacks_byte))
            found.push_back(*number);
    }
    return found;
}

void addressed_frames::go_on_at(std::string_view address, std::size_t line, bool is_end)
{
    const std::vector<std::uint64_t> at = possible(address, is_end);
    if (at.empty()) {
        const std::uint64_t first = to_number(address, radices_.front()).value_or(0);
        to_.refuse(line, "the dump goes on at offset " + std::to_string(first) + " where " +
                             std::to_string(frame_.size()) +
                             " bytes stand before it; give every line of it");
    }
    if (at.size() > 1 && at.front() != at.back())
        to_.refuse(line, "the address behind the * may be octal, decimal or hexadecimal; print the "
                         "bytes by hexdump -C or od -Ax -tx1");
    if (radices_.size() > 1 && at.front() != 0)
        std::erase_if(radices_,
                      [&](unsigned radix) { return to_number(address, radix) != at.front(); });
    const std::size_t period = frame_.size() - last_line_at_;
    if (std::exchange(repeats_, false)) {
        frame_.reserve(at.front());
        while (frame_.size() < at.front())
            frame_.push_back(frame_[frame_.size() - period]);
    }
    frame_.resize(at.front());
}

} // namespace vorl::dumps
