#include "tools/vorl/bytes_text.h"

#include <algorithm>
#include <optional>

#include "inspect/hex.h"
#include "tools/vorl/json_node.h"

namespace vorl {
namespace {

constexpr std::size_t shortest_offset = 4;
constexpr std::size_t longest_offset = 16;
/// Bound of what a * in a dump may stand for: two lines of text must not cost a gigabyte.
constexpr std::uint64_t largest_dump = std::uint64_t{1} << 24;

[[noreturn]] void refuse(std::size_t line, const std::string &what)
{
    throw hex_error(std::to_string(line) + ": " + what);
}

/// Hex digits at the start of the text.
std::size_t count_digits(std::string_view text)
{
    return static_cast<std::size_t>(
        std::find_if(text.begin(), text.end(), [](char c) { return hex_value(c) < 0; }) -
        text.begin());
}

/// Of up to 16 hex digits.
std::uint64_t to_number(std::string_view digits)
{
    std::uint64_t number = 0;
    for (const char c : digits)
        number = number * 16 + static_cast<std::uint64_t>(hex_value(c));
    return number;
}

void append_hex(bytes &to, std::string_view text, std::size_t line)
{
    static constexpr int none = -1;
    int high = none;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const int value = hex_value(c);
        if (high == none && c == '0' && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x') {
            ++i;
        } else if (value >= 0 && high == none) {
            high = value;
        } else if (value >= 0) {
            to.push_back(static_cast<std::uint8_t>(16 * high + value));
            high = none;
        } else if (high != none || std::string_view(" \t,").find(c) == std::string_view::npos) {
            refuse(line, "has \"" + json::printable({&c, 1}) +
                             "\" where a pair of hex digits must be; give hex text, or the "
                             "output of xxd or hexdump -C");
        }
    }
    if (high != none)
        refuse(line, "half a byte at the end; give two hex digits a byte");
}

/// One line of a dump: the offset that it opens with and the hex digits behind it.
struct dump_line {
    std::uint64_t offset;
    std::string_view hex;
};

std::optional<dump_line> as_dump_line(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.size() > 2 && line[0] == '0' && line[1] == 'x')
        line.remove_prefix(2);
    const std::size_t digits = count_digits(line);
    if (digits < shortest_offset || digits > longest_offset)
        return std::nullopt;
    const std::uint64_t offset = to_number(line.substr(0, digits));
    std::string_view hex = line.substr(digits);
    if (hex.starts_with(':')) {
        // The characters stand behind two blanks.
        hex.remove_prefix(1);
        hex.remove_prefix(std::min(hex.find_first_not_of(" \t"), hex.size()));
        return dump_line{offset, hex.substr(0, hex.find("  "))};
    }
    if (hex.starts_with("  "))
        return dump_line{offset, hex.substr(0, hex.find('|'))};
    return std::nullopt;
}

/// An offset alone on its line, with which hexdump ends.
bool is_dump_end(std::string_view line)
{
    static constexpr std::size_t hexdump_digits = 8;
    return line.size() == hexdump_digits && count_digits(line) == line.size();
}

class frame_collector {
  public:
    explicit frame_collector(const std::function<void(std::size_t, const bytes &)> &take)
        : take_(take)
    {}

    void add(std::string_view text, std::size_t line)
    {
        if (in_dump_ && text == "*") {
            repeats_ = true;
        } else if (const auto dump = as_dump_line(text)) {
            if (dump->offset == 0)
                start(line, true);
            if (!in_dump_)
                refuse(line, "the dump does not start at offset 0; give the whole frame");
            repeat_up_to(dump->offset, line);
            last_line_at_ = frame_.size();
            append_hex(frame_, dump->hex, line);
        } else if (in_dump_ && is_dump_end(text) &&
                   (repeats_ || to_number(text) == frame_.size())) {
            repeat_up_to(to_number(text), line);
            finish();
        } else {
            start(line, false);
            append_hex(frame_, text, line);
            finish();
        }
    }

    void finish()
    {
        if (started_)
            take_(first_line_, frame_);
        started_ = false;
        in_dump_ = false;
        repeats_ = false;
    }

  private:
    void start(std::size_t line, bool is_dump)
    {
        finish();
        frame_.clear();
        first_line_ = line;
        last_line_at_ = 0;
        started_ = true;
        in_dump_ = is_dump;
    }

    void repeat_up_to(std::uint64_t offset, std::size_t line)
    {
        const std::size_t period = frame_.size() - last_line_at_;
        if (repeats_ && offset <= largest_dump && period != 0) {
            while (frame_.size() < offset)
                frame_.push_back(frame_[frame_.size() - period]);
        }
        repeats_ = false;
        if (frame_.size() != offset)
            refuse(line, "the dump goes on at offset " + std::to_string(offset) + " where " +
                             std::to_string(frame_.size()) +
                             " bytes stand before it; give every line of it");
    }

    const std::function<void(std::size_t, const bytes &)> &take_;
    bytes frame_;
    std::size_t first_line_ = 0;
    std::size_t last_line_at_ = 0; ///< where the bytes of the dump's last line start
    bool started_ = false;
    bool in_dump_ = false;
    bool repeats_ = false; ///< a * stands since the last line
};

} // namespace

void read_hex_frames(std::istream &text,
                     const std::function<void(std::size_t line, const bytes &frame)> &take)
{
    frame_collector frames(take);
    std::string line;
    for (std::size_t number = 1; std::getline(text, line); ++number) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (!line.empty() && line[0] != '#')
            frames.add(line, number);
    }
    frames.finish();
}

} // namespace vorl
