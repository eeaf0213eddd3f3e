#include "tools/vorl/dumps/gdb.h"

#include <utility>

#include "inspect/hex.h"
#include "tools/vorl/dumps/addressed_line.h"

namespace vorl::dumps {
namespace {

std::string to_address(std::uint64_t number)
{
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4) {
        if (number >> shift != 0 || shift == 0)
            text += hex_digits[number >> shift & 15];
    }
    return "0x" + text;
}

} // namespace

bool gdb_frames::take(std::size_t line, std::string_view text)
{
    static constexpr std::string_view prompt = "(gdb)";
    const bool has_prompt = text.starts_with(prompt);
    if (has_prompt) {
        finish();
        text.remove_prefix(prompt.size());
    }
    while (text.starts_with(' '))
        text.remove_prefix(1);
    // The address, and behind it perhaps a symbol in angle brackets.
    const std::size_t digits = text.starts_with("0x") ? count_digits(text.substr(2)) : 0;
    if (digits == 0)
        return has_prompt;
    const auto address = to_number(text.substr(2, digits), 16);
    std::string_view rest = text.substr(2 + digits);
    if (rest.starts_with(" <") && rest.find(">:") != std::string_view::npos)
        rest.remove_prefix(rest.find(">:") + 1);
    if (!address || !rest.starts_with(':'))
        return has_prompt;
    std::size_t word = 0;
    const std::optional<bytes> content = read_words(rest.substr(1), "0x", word);
    if (!content)
        return has_prompt;
    if (first_line_ == 0) {
        first_line_ = line;
        next_ = *address;
    }
    if (*address != next_)
        to_.refuse(line, "the dump goes on at " + to_address(*address) + " where " +
                             to_address(next_) +
                             " is next; give every line of it, and an empty line between frames");
    next_ += content->size();
    to_.append(frame_, *content, to_.place(line));
    return true;
}

void gdb_frames::finish()
{
    if (const std::size_t line = std::exchange(first_line_, 0))
        to_.deliver(to_.place(line), std::exchange(frame_, {}));
}

} // namespace vorl::dumps
