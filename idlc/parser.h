// The parser's state and its steps, for the files that share them: parser.cpp has the steps,
// parse.cpp what stands between messages, parse_message.cpp a message, parse_slot.cpp a slot.
//
// After a fault it goes on as if the text were right, where what is missing or too much is
// punctuation; otherwise it passes over the rest of the slot. Of one slot, and of one message's
// opening, the first fault alone is reported, since others would mostly follow from it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "faults.h"
#include "lex.h"
#include "model.h"

namespace idlc {

class parser {
  public:
    parser(const source &from, faults &to)
        : text_(from.text), lexer_(from.file, from.text, &to), faults_(to)
    {
        package_.file = from.file;
    }
    package run();

  private:
    // parse.cpp
    void parse_opening();
    void parse_package();
    void parse_next();
    void parse_slots_outside();
    void skip_to_message();
    bool is_at_message() const;
    bool is_utf_16() const;

    // parse_message.cpp
    void parse_message();
    void pass_to_brace();
    /// `column` is where the message begins.
    void parse_body(message &m, position brace, std::uint32_t column);
    void pass_block();
    bool take_other_brace();
    void pass_nested_message(const std::string &around);

    // parse_slot.cpp
    slot parse_slot();
    void parse_type(slot &s);
    void parse_table(slot &s);
    void parse_elements(slot &s, bool is_array);
    void parse_count(slot &s);
    void parse_slot_name(slot &s);
    void parse_array_of_c(slot &s);
    void parse_attribute(slot &s);
    void parse_malloc_text(slot &s);
    void end_slot(slot &s);
    void pass_over(slot &s);
    void pass_through(char mark);
    void refuse_type(slot &s);
    bool may_begin_slot() const;

    // parser.cpp
    /// On to the next token. Documentation comments stand between the other tokens: those before an
    /// item wait for it, and whoever parses the item takes them before its first step; those right
    /// after a slot go to it.
    void step();
    token ahead(std::size_t count) const; ///< the token `count` behind the one at hand, 1 or more
    bool at(std::string_view punctuation) const
    {
        return token_.is(token_kind::punctuation, punctuation);
    }
    bool is_at_word(std::string_view word) const { return token_.is(token_kind::word, word); }
    bool is_at_mark() const
    {
        return token_.kind == token_kind::stray || token_.kind == token_kind::punctuation;
    }
    bool is_at_end() const { return token_.kind == token_kind::end; }
    /// What the token at hand is called: "found 'x'".
    std::string found() const;
    void report(position at, std::size_t length, const std::string &text);
    void report_here(const std::string &text) { report(token_.at, token_.length, text); }
    void note(position at, const std::string &text);
    /// Of a text or a comment that is not closed, the rest is no news.
    void begin_item() { is_quiet_ = token_.is_faulty; }
    /// Takes the punctuation. A doubled one is taken, too; where there is none, a character that was
    /// meant for it is taken, or it is as if it stood there. Each is reported. `why` tells what it is
    /// for: "after the slot".
    void expect(char punctuation, const std::string &why);
    void refuse_missing(char punctuation, const std::string &why);
    bool take_substitute(char punctuation, const std::string &why);
    void pass_doubled(char punctuation);
    void pass_strays();
    std::string has_no_meaning() const; ///< of the stray at hand
    bool has_foreign_letters() const;
    void pass_foreign_letters();
    bool is_semicolon_missing() const;
    /// Empty: there is none, which is reported.
    std::string take_name(const std::string &of);
    void refuse_pending_doc();
    std::string take_doc();

    std::string_view text_;
    lexer lexer_;
    faults &faults_;
    token token_;
    position end_of_last_; ///< behind the token before the one at hand
    package package_;
    std::vector<std::string_view> messages_; ///< all names, also of those behind
    std::string pending_doc_;
    position pending_doc_at_;
    std::size_t pending_doc_length_ = 0;
    std::string *completed_doc_ = nullptr; ///< of the slot whose ';' is the token at hand
    position last_brace_{0, 0};            ///< of the message that was closed last
    bool is_in_slot_ = false;              ///< at its name, or behind
    bool closes_with_other_ = false;       ///< the message at hand: no '{' opened it
    bool is_quiet_ = false;                ///< something was reported of the item at hand
    bool was_reported_ = false;            ///< by the last report(), rather than passed over
};

} // namespace idlc
