// Text -> tokens. Blanks and ordinary comments vanish; documentation comments are tokens, as they
// belong to the model. What is wrong within a comment or a text is reported here, and the token is
// marked; characters that have no meaning are tokens, for what to write instead depends on where
// they stand.
#pragma once

#include <string>
#include <string_view>

#include "faults.h"
#include "model.h"

namespace idlc {

enum class token_kind : std::uint8_t {
    word,
    number, ///< begins with a digit, or with a sign and a digit
    string,
    punctuation,
    stray,   ///< characters that have no meaning
    comment, ///< where ordinary ones are kept
    doc_before,
    doc_after,
    end
};

struct token {
    token_kind kind = token_kind::end;
    std::string_view text; ///< of a string or a comment: without its delimiters
    position at;
    std::size_t length = 0;        ///< in the line
    bool is_first_on_line = false; ///< but for comments
    bool is_faulty = false;        ///< which is reported
    bool is(token_kind k, std::string_view t) const { return kind == k && text == t; }
};

class lexer {
  public:
    /// `to` may be null: nothing is reported. The text must outlive the tokens.
    lexer(std::string_view file, std::string_view text, faults *to)
        : file_(file), text_(text), to_(to)
    {}
    /// From now on ordinary comments are tokens, too, and the text of every comment is all of it,
    /// without blanks at its end.
    void keep_comments() { keeps_comments_ = true; }
    /// The next token; `end` at the end of the text, again and again.
    token next();
    /// The next ones but this lexer, quietly.
    lexer ahead() const
    {
        lexer copy = *this;
        copy.to_ = nullptr;
        return copy;
    }

  private:
    char peek(std::size_t ahead = 0) const
    {
        return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
    }
    bool is_at_end() const { return at_ == text_.size(); }
    bool starts_with(std::string_view text) const { return text_.substr(at_).starts_with(text); }
    void advance();
    void advance_to(std::size_t place);
    void report(position at, std::size_t length, std::string text);
    void skip_blanks();
    void skip_foreign_comment();
    token comment();
    token string();
    token word();
    token stray();
    void skip_line();

    std::string_view file_;
    std::string_view text_;
    faults *to_;
    std::size_t at_ = 0;
    position where_;
    std::uint32_t line_of_last_ = 0;
    bool keeps_comments_ = false;
    bool said_return_ = false;    ///< that a carriage return ends no line
    bool rest_is_faulty_ = false; ///< a comment that nothing closes took the rest of the text
};

} // namespace idlc
