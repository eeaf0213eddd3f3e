#include "tools/vorl/dumps/addressed_line.h"

#include <algorithm>
#include <charconv>

#include "inspect/hex.h"
#include "tools/vorl/dumps/plain_line.h"
#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {
namespace {

constexpr std::size_t shortest_address = 4;
constexpr std::size_t longest_address = 16;
/// od prints seven digits of an octal or decimal address, six of a hexadecimal one; hexdump seven.
constexpr std::size_t shortest_of_od = 6;

std::size_t count_blanks(std::string_view text)
{
    return std::min(text.find_first_not_of(" \t"), text.size());
}

/// What is separated by blanks; takes it off the text.
std::string_view take_word(std::string_view &text)
{
    text.remove_prefix(count_blanks(text));
    const std::string_view word = text.substr(0, text.find_first_of(" \t"));
    text.remove_prefix(word.size());
    return word;
}

/// Pairs of digits up to three blanks, to a bar, or to the end.
std::optional<bytes> read_pairs(std::string_view text)
{
    bytes read;
    for (;;) {
        const std::size_t blanks = count_blanks(text);
        text.remove_prefix(blanks);
        if (text.empty() || text.front() == '|' || (blanks > 2 && !read.empty()))
            return read;
        if (count_digits(text) != 2)
            return std::nullopt;
        read.push_back(static_cast<std::uint8_t>(*to_number(text.substr(0, 2), 16)));
        text.remove_prefix(2);
        if (!text.empty() && count_blanks(text) == 0)
            return std::nullopt;
    }
}

bool is_zero(std::string_view digits)
{
    return digits.find_first_not_of('0') == std::string_view::npos;
}

/// Behind an address of od or hexdump, where the digits alone do not say that it is one.
std::optional<addressed_line> behind_blank(std::string_view address, std::string_view numbers,
                                           bool may_be_words)
{
    const bool is_no_hex = address.size() % 2 != 0;
    numbers = numbers.substr(0, numbers.find("  >")); // the characters, of od -tx1z
    std::size_t word = 0;
    const std::optional<bytes> content = read_words(numbers, "", word);
    if (content && word == 1)
        return addressed_line{address_style::bytes, address, *content, word};
    if (content && word != 1 && (is_no_hex || may_be_words))
        return addressed_line{address_style::words, address, *content, word};
    if (is_no_hex)
        throw bad_line("opens with an address, and no hexadecimal numbers of 1, 2, 4 or 8 bytes "
                       "stand behind it; print the bytes by xxd, hexdump -C or od -tx1");
    if (content && is_zero(address) && address.size() != 2 * word)
        throw bad_line("is hex digits, or an address and words of od -tx2; print the bytes by xxd, "
                       "hexdump -C or od -tx1, or say --form hex or --form od");
    return std::nullopt;
}

} // namespace

std::size_t count_digits(std::string_view text)
{
    return static_cast<std::size_t>(
        std::find_if(text.begin(), text.end(), [](char c) { return hex_value(c) < 0; }) -
        text.begin());
}

std::optional<std::uint64_t> to_number(std::string_view digits, unsigned radix)
{
    std::uint64_t number = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, static_cast<int>(radix));
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

std::optional<bytes> read_words(std::string_view text, std::string_view prefix, std::size_t &word)
{
    bytes read;
    std::size_t width = 0;
    for (std::string_view digits = take_word(text); !digits.empty(); digits = take_word(text)) {
        if (!digits.starts_with(prefix))
            return std::nullopt;
        digits.remove_prefix(prefix.size());
        if (width == 0)
            width = digits.size();
        const bool is_width = width == 2 || width == 4 || width == 8 || width == 16;
        if (!is_width || digits.size() != width || count_digits(digits) != width)
            return std::nullopt;
        for (std::size_t at = width; at != 0; at -= 2)
            read.push_back(static_cast<std::uint8_t>(*to_number(digits.substr(at - 2, 2), 16)));
    }
    if (read.empty())
        return std::nullopt;
    word = width / 2;
    return read;
}

std::optional<addressed_line> as_addressed_line(std::string_view line, bool may_be_words)
{
    line.remove_prefix(count_blanks(line));
    const bool has_prefix = line.starts_with("0x") || line.starts_with("0X");
    if (has_prefix)
        line.remove_prefix(2);
    const std::size_t digits = count_digits(line);
    if (digits < shortest_address || digits > longest_address)
        return std::nullopt;
    const std::string_view address = line.substr(0, digits);
    std::string_view rest = line.substr(digits);
    if (rest.starts_with(':') && count_blanks(rest.substr(1)) != 0) {
        // The characters stand behind two blanks.
        rest.remove_prefix(1);
        rest.remove_prefix(count_blanks(rest));
        return addressed_line{address_style::colon, address,
                              read_hex_line(rest.substr(0, rest.find("  "))).content};
    }
    const std::size_t blanks = count_blanks(rest);
    if (blanks == 0 || has_prefix)
        return std::nullopt;
    if (blanks > 1 && digits % 2 == 0) {
        if (const auto pairs = read_pairs(rest); pairs && !pairs->empty())
            return addressed_line{address_style::spaced, address, *pairs};
    }
    if (digits < shortest_of_od)
        return std::nullopt;
    return behind_blank(address, rest, may_be_words);
}

} // namespace vorl::dumps
