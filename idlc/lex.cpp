#include "lex.h"

#include <algorithm>
#include <utility>

#include "characters.h"
#include "inspect/blanks.h"
#include "inspect/printable.h"

namespace idlc {
namespace {

using vorl::is_blank;
using vorl::is_printable;
using vorl::trimmed;

// The language is ASCII; <cctype> would ask the locale.
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_word(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || is_digit(c);
}
bool is_punctuation(char c)
{
    return std::string_view("{}<>[],;=").find(c) != std::string_view::npos;
}

} // namespace

void lexer::advance()
{
    if (text_[at_] == '\n') {
        ++where_.line;
        where_.column = 1;
    } else {
        ++where_.column;
    }
    ++at_;
}

void lexer::advance_to(std::size_t place)
{
    while (at_ < place)
        advance();
}

void lexer::skip_line() { advance_to(std::min(text_.find('\n', at_), text_.size())); }

void lexer::report(position at, std::size_t length, std::string text)
{
    if (to_ != nullptr)
        to_->add(std::string(file_), at, length, std::move(text));
}

void lexer::skip_blanks()
{
    while (!is_at_end() && is_blank(peek()))
        advance();
}

token lexer::comment()
{
    token t{token_kind::end, {}, where_};
    const std::size_t begin = at_;
    for (; !is_at_end() && peek() != '\n'; advance()) {
        if (peek() == '\r' && peek(1) != '\n' && at_ + 1 < text_.size()) {
            t.is_faulty = true;
            // Where one line ends so, all do.
            if (!std::exchange(said_return_, true))
                report(where_, 1,
                       "a carriage return ends no line here, so the comment goes on; end lines "
                       "with a line feed");
            break;
        }
        if (t.is_faulty || is_printable(peek()) || is_blank(peek()))
            continue;
        t.is_faulty = true;
        const std::string_view from_here = text_.substr(at_);
        report(where_, character_length(from_here),
               "a comment holds ASCII text, and not " + character_name(from_here) + "; " +
                   instead_of(from_here));
    }
    t.text = text_.substr(begin, at_ - begin);
    t.length = t.text.size();
    if (t.text.starts_with("///<"))
        t.kind = token_kind::doc_after;
    else if (t.text.starts_with("///"))
        t.kind = token_kind::doc_before;
    else if (keeps_comments_)
        t.kind = token_kind::comment;
    else
        return t;
    if (keeps_comments_) {
        t.text = trimmed(t.text);
        return t;
    }
    const std::string_view whole = t.text;
    t.text = trimmed(t.text.substr(t.kind == token_kind::doc_after ? 4 : 3));
    // What a C compiler takes for more than text inside a comment; ??/ is a backslash to it.
    for (const std::string_view mark : {"/*", "*/", "?\?/"}) {
        const std::size_t found = whole.find(mark, 3);
        if (found == std::string_view::npos || t.is_faulty)
            continue;
        t.is_faulty = true;
        report({t.at.line, t.at.column + static_cast<std::uint32_t>(found)}, mark.size(),
               "'" + std::string(mark) +
                   "' has a meaning in the comments of the C header; write it otherwise");
    }
    return t;
}

token lexer::string()
{
    token t{token_kind::string, {}, where_};
    advance();
    const std::size_t begin = at_;
    while (!is_at_end() && peek() != '"' && peek() != '\n') {
        // A text goes into C++ source as it stands, so what would need escaping is not accepted.
        if (!t.is_faulty && (peek() == '\\' || !is_printable(peek())) &&
            !(peek() == '\r' && peek(1) == '\n')) {
            t.is_faulty = true;
            const std::string_view from_here = text_.substr(at_);
            report(where_, character_length(from_here),
                   "a text holds printable ASCII without backslashes, and not " +
                       character_name(from_here) + "; " + instead_of(from_here));
        }
        advance();
    }
    t.text = text_.substr(begin, at_ - begin);
    t.length = t.text.size() + 1;
    if (peek() != '"' || is_at_end()) {
        t.is_faulty = true;
        report(t.at, t.length, "the text has no closing quote on its line; add '\"'");
        return t;
    }
    ++t.length;
    advance();
    return t;
}

token lexer::word()
{
    token t{
        is_word(peek()) && !is_digit(peek()) ? token_kind::word : token_kind::number, {}, where_};
    const std::size_t begin = at_;
    do
        advance();
    while (is_word(peek()) || (t.kind == token_kind::number && peek() == '.'));
    t.text = text_.substr(begin, at_ - begin);
    t.length = t.text.size();
    return t;
}

// Comments of other languages. What they hold would only be the next faults.
void lexer::skip_foreign_comment()
{
    const position begin = where_;
    if (!starts_with("/*")) {
        const std::string opening(1, peek());
        skip_line();
        report(begin, where_.column - begin.column,
               "'" + opening + "' opens no comment; write '//'");
        return;
    }
    const std::size_t close = text_.find("*/", at_ + 2);
    if (close != std::string_view::npos) {
        report(begin, 2,
               "'/*' opens no comment; write '//' at the beginning of each line of it instead");
        advance_to(close + 2);
        return;
    }
    report(
        begin, 2,
        "'/*' opens no comment, and no '*/' follows; write '//' at the beginning of each line of "
        "it instead");
    advance_to(text_.size());
    rest_is_faulty_ = true;
}

token lexer::stray()
{
    token t{token_kind::stray, {}, where_};
    const std::size_t begin = at_;
    // A run of one character, or of bytes that are no text, is one fault.
    const char first = peek();
    const bool is_text = is_printable(first);
    advance_to(at_ + character_length(text_.substr(at_)));
    while (!is_at_end() && !is_blank(peek()) && (is_text ? peek() == first : !is_printable(peek())))
        advance();
    t.text = text_.substr(begin, at_ - begin);
    t.length = t.text.size();
    return t;
}

token lexer::next()
{
    const std::uint32_t line_before = line_of_last_;
    token t;
    for (;;) {
        skip_blanks();
        if (is_at_end()) {
            t = {token_kind::end, {}, where_};
            t.is_faulty = rest_is_faulty_;
            break;
        }
        const char c = peek();
        if (c == '/' && peek(1) == '/') {
            t = comment();
            if (t.kind != token_kind::end)
                return t;
        } else if (c == '/' || c == '#') {
            skip_foreign_comment();
        } else {
            const bool is_signed = (c == '-' || c == '+') && is_digit(peek(1));
            if (c == '"') {
                t = string();
            } else if (is_word(c) || is_signed) {
                t = word();
            } else if (is_punctuation(c)) {
                t = {token_kind::punctuation, text_.substr(at_, 1), where_, 1};
                advance();
            } else {
                t = stray();
            }
            break;
        }
    }
    t.is_first_on_line = t.at.line != line_before;
    line_of_last_ = t.at.line;
    return t;
}

} // namespace idlc
