#include "lex.h"

namespace idlc {
namespace {

// The language is ASCII; <cctype> would ask the locale.
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_word(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || is_digit(c);
}
bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
std::string shown(char c)
{
    return c > ' ' && c <= '~' ? std::string("'") + c + "'"
                               : "byte " + std::to_string(static_cast<unsigned char>(c));
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

token lexer::comment()
{
    token t{token_kind::end, "", where_};
    while (at_ < text_.size() && peek() != '\n') {
        if ((peek() < ' ' || peek() > '~') && !is_blank(peek()))
            throw description_error(file_, where_,
                                    "a comment holds ASCII text; remove " + shown(peek()));
        t.text += peek();
        advance();
    }
    auto drop = [&t](std::string_view lead, token_kind kind) {
        if (t.text.rfind(lead, 0) != 0)
            return false;
        t.kind = kind;
        t.text.erase(0, lead.size());
        while (!t.text.empty() && is_blank(t.text.front()))
            t.text.erase(0, 1);
        while (!t.text.empty() && is_blank(t.text.back()))
            t.text.pop_back();
        return true;
    };
    if (!drop("///<", token_kind::doc_after) && !drop("///", token_kind::doc_before))
        return t;
    // What a C compiler takes for more than text inside a comment; ??/ is a backslash to it.
    for (const char *mark : {"/*", "*/", "?\?/"}) {
        if (t.text.find(mark) != std::string::npos)
            throw description_error(
                file_, t.at,
                std::string("'") + mark +
                    "' has a meaning in the comments of the C header; write it otherwise");
    }
    return t;
}

token lexer::string()
{
    token t{token_kind::string, "", where_};
    advance();
    while (peek() != '"') {
        // A text goes into C++ source as it stands, so what would need escaping is not accepted.
        if (at_ == text_.size() || peek() == '\n')
            throw description_error(file_, t.at,
                                    "the text has no closing quote on its line; add '\"'");
        if (peek() == '\\' || peek() < ' ' || peek() > '~')
            throw description_error(
                file_, where_,
                "a text holds printable ASCII without backslashes; remove this character");
        t.text += peek();
        advance();
    }
    advance();
    return t;
}

token lexer::next()
{
    while (at_ < text_.size()) {
        const char c = peek();
        if (is_blank(c)) {
            advance();
            continue;
        }
        if (c == '/' && peek(1) == '/') {
            if (token t = comment(); t.kind != token_kind::end)
                return t;
            continue;
        }
        if (c == '"')
            return string();
        token t{token_kind::punctuation, std::string(1, c), where_};
        if (is_word(c)) {
            t.kind = is_digit(c) ? token_kind::number : token_kind::word;
            t.text.clear();
            while (is_word(peek())) {
                t.text += peek();
                advance();
            }
            return t;
        }
        if (std::string_view("{}<>[],;=").find(c) == std::string_view::npos) {
            throw description_error(file_, t.at,
                                    shown(c) + " has no meaning in a description; remove it");
        }
        advance();
        return t;
    }
    return {token_kind::end, "", where_};
}

} // namespace idlc
