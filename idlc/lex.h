// Text -> tokens. Blanks and ordinary comments vanish; documentation comments are tokens, as they
// belong to the model.
#pragma once

#include <string>
#include <string_view>

#include "model.h"

namespace idlc {

enum class token_kind : std::uint8_t {
    word,
    number,
    string,
    punctuation,
    doc_before,
    doc_after,
    end
};

struct token {
    token_kind kind = token_kind::end;
    std::string text; ///< of a string or a comment: without its delimiters
    position at;
};

class lexer {
  public:
    lexer(std::string file, std::string_view text) : file_(std::move(file)), text_(text) {}
    /// The next token; `end` at the end of the text, again and again. Throws description_error.
    token next();

  private:
    char peek(std::size_t ahead = 0) const
    {
        return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
    }
    void advance();
    token comment();
    token string();

    std::string file_;
    std::string_view text_;
    std::size_t at_ = 0;
    position where_;
};

} // namespace idlc
