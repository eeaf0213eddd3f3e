#include "tools/vorl/dumps/c_array.h"

#include <cctype>
#include <utility>

#include "inspect/blanks.h"
#include "tools/vorl/dumps/addressed_line.h"
#include "tools/vorl/json_node.h"

namespace vorl::dumps {
namespace {

constexpr const char *example = "give { 0x04, 0x00 }, for example";
/// Of what stands before a brace: a declaration is shorter.
constexpr std::size_t longest_declaration = 1024;

/// Of a declaration: words, brackets, signs of types, and an assignment.
bool may_declare(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || is_blank(c) ||
           std::string_view("_$[]<>:,*=()").find(c) != std::string_view::npos;
}

/// 0x04, 4, 04 as C reads them; nothing: no number.
std::optional<std::uint64_t> to_c_number(std::string_view text)
{
    if (text.ends_with('u') || text.ends_with('U'))
        text.remove_suffix(1);
    if (text.starts_with("0x") || text.starts_with("0X"))
        return to_number(text.substr(2), 16);
    if (text.size() > 1 && text.starts_with('0'))
        return to_number(text.substr(1), 8);
    return to_number(text, 10);
}

} // namespace

bool c_arrays::may_begin(std::string_view text)
{
    text = trimmed(text);
    return text.starts_with("/*") || text.starts_with("//") ||
           text.find_first_of("{}[;") != std::string_view::npos;
}

void c_arrays::add(std::size_t line, std::string_view text)
{
    last_line_ = line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string_view two = text.substr(i, 2);
        if (in_comment_ || two == "/*") {
            const std::size_t end = text.find("*/", in_comment_ ? i : i + 2);
            in_comment_ = end == std::string_view::npos;
            if (in_comment_)
                break;
            i = end + 1;
            take(' ', line);
        } else if (two == "//") {
            break;
        } else {
            take(text[i], line);
        }
    }
    take('\n', line);
}

void c_arrays::finish()
{
    if (in_comment_ || depth_ != 0)
        to_.refuse(last_line_, in_comment_
                                   ? "the comment has no end; close it with */"
                                   : "the array that opens in line " + std::to_string(array_line_) +
                                         " has no end; close it with }");
    end_statement(last_line_);
}

void c_arrays::take(char c, std::size_t line)
{
    if (depth_ == 0)
        take_outside(c, line);
    else
        take_inside(c, line);
}

void c_arrays::take_inside(char c, std::size_t line)
{
    if (c == '{') {
        ++depth_;
    } else if (c == '}' || c == ',' || is_blank(c)) {
        end_number(line);
        if (c == '}' && --depth_ == 0) {
            last_size_ = frame_.size();
            to_.deliver(to_.place(array_line_), std::exchange(frame_, {}));
        }
    } else if (number_.size() == longest_declaration) {
        end_number(line);
    } else {
        number_ += c;
    }
}

void c_arrays::take_outside(char c, std::size_t line)
{
    if (c == '{') {
        outside_.clear();
        array_line_ = line;
        depth_ = 1;
    } else if (c == ';') {
        end_statement(line);
    } else if (!may_declare(c) || outside_.size() == longest_declaration) {
        to_.refuse(line,
                   "has \"" + json::printable({&c, 1}) + "\" outside of an array; " + example);
    } else if (!is_blank(c) || !outside_.empty()) {
        outside_ += c;
    }
}

void c_arrays::end_number(std::size_t line)
{
    if (number_.empty())
        return;
    const std::string text = std::exchange(number_, {});
    const std::optional<std::uint64_t> value = to_c_number(text);
    if (!value || *value > 0xFF)
        to_.refuse(line, json::printable(text) + " is no byte; give numbers from 0 to 255");
    const auto byte = static_cast<std::uint8_t>(*value);
    to_.append(frame_, {&byte, 1}, to_.place(line));
}

/// What is no array: nothing, or the length of the array before.
void c_arrays::end_statement(std::size_t line)
{
    const std::string text = std::exchange(outside_, {});
    const std::string_view statement = trimmed(text);
    if (statement.empty())
        return;
    const std::size_t sign = statement.rfind('=');
    const auto length = sign == std::string_view::npos
                            ? std::nullopt
                            : to_c_number(trimmed(statement.substr(sign + 1)));
    if (!length)
        to_.refuse(line, json::printable(statement) + " is no array of bytes; " + example);
    if (*length != last_size_)
        to_.refuse(line, json::printable(statement) + ", but the array before it has " +
                             std::to_string(last_size_) + " bytes; give every line of it");
}

} // namespace vorl::dumps
