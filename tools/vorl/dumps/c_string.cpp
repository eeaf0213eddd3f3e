// Lines of strings as C has them, which Wireshark copies bytes as.
#include "inspect/hex.h"
#include "tools/vorl/dumps/plain_line.h"
#include "tools/vorl/dumps/reading.h"
#include "tools/vorl/json_node.h"

namespace vorl::dumps {
namespace {

class scanner {
  public:
    explicit scanner(std::string_view line) : rest_(line) {}

    bool at_end() const { return rest_.empty(); }
    char next()
    {
        if (rest_.empty())
            throw bad_line("the string has no end; close it with a \"");
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }
    char peek() const { return rest_.empty() ? '\0' : rest_.front(); }

  private:
    std::string_view rest_;
};

bool is_octal(char c) { return c >= '0' && c <= '7'; }

/// What stands behind a backslash.
std::uint8_t escaped(scanner &text)
{
    static constexpr std::string_view names = "abtnvfr"; // 7 to 13, in this order
    const char c = text.next();
    if (c == 'x') {
        const int high = hex_value(text.peek());
        const int low = high < 0 ? -1 : (text.next(), hex_value(text.peek()));
        if (low < 0)
            throw bad_line("has a \\x without two hex digits; give \\x04, for example");
        text.next();
        if (hex_value(text.peek()) >= 0)
            throw bad_line("has a \\x with more than two hex digits, which C takes for one number; "
                           "give two, or end the string behind them");
        return static_cast<std::uint8_t>(16 * high + low);
    }
    if (is_octal(c)) {
        int value = c - '0';
        for (int i = 0; i < 2 && is_octal(text.peek()); ++i)
            value = 8 * value + (text.next() - '0');
        if (value > 0xFF)
            throw bad_line("has an octal number above \\377; give a byte");
        return static_cast<std::uint8_t>(value);
    }
    if (const std::size_t at = names.find(c); at != std::string_view::npos)
        return static_cast<std::uint8_t>(7 + at);
    if (std::string_view("\\\"'?").find(c) != std::string_view::npos)
        return static_cast<std::uint8_t>(c);
    throw bad_line("has \"\\" + json::printable({&c, 1}) +
                   "\", which C does not know; give \\x04, "
                   "for example");
}

} // namespace

plain_line read_c_string_line(std::string_view line)
{
    plain_line read;
    scanner text(line);
    while (!text.at_end()) {
        char c = text.next();
        if (c == ' ' || c == '\t')
            continue;
        if (c == '\\' && text.at_end()) {
            read.goes_on = true;
            continue;
        }
        if (c != '"')
            throw bad_line("has \"" + json::printable({&c, 1}) +
                           "\" outside of a string; give \"\\x04\\x00\", for example");
        while ((c = text.next()) != '"')
            read.content.push_back(c == '\\' ? escaped(text) : static_cast<std::uint8_t>(c));
    }
    return read;
}

} // namespace vorl::dumps
