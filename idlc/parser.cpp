#include "parser.h"

#include <algorithm>
#include <utility>

#include "characters.h"
#include "words.h"

namespace idlc {
namespace {

void append(std::string &doc, std::string_view line)
{
    if (!doc.empty())
        doc += '\n';
    doc += line;
}

/// What people write for a punctuation mark, by mistake or from other languages.
std::string_view substitutes_of(char punctuation)
{
    switch (punctuation) {
    case '{': return "([<:=";
    case '<': return "([{";
    case '>': return ")]}";
    case ',': return ";:.*";
    case ';': return ",:.";
    case '=': return ":";
    case ']': return ")}>";
    default: return "";
    }
}

} // namespace

std::string parser::found() const
{
    switch (token_.kind) {
    case token_kind::end: return "the description ends here";
    case token_kind::stray: return "found " + character_name(token_.text);
    case token_kind::string: return "found a text, " + quoted(token_.text);
    default: return "found " + quoted(token_.text);
    }
}

std::string parser::has_no_meaning() const
{
    return character_name(token_.text) + " has no meaning in a description; " +
           instead_of(token_.text);
}

void parser::report(position at, std::size_t length, const std::string &text)
{
    was_reported_ = !is_quiet_;
    if (!is_quiet_)
        faults_.add(package_.file, at, length, text);
    is_quiet_ = true;
}

void parser::note(position at, const std::string &text)
{
    if (was_reported_)
        faults_.note(at, text);
}

void parser::refuse_pending_doc()
{
    if (pending_doc_length_ == 0)
        return;
    faults_.add(package_.file, pending_doc_at_, pending_doc_length_,
                "this documentation comment has no message or slot after it; move or remove it");
    take_doc();
}

std::string parser::take_doc()
{
    pending_doc_length_ = 0;
    return std::exchange(pending_doc_, {});
}

void parser::step()
{
    // Within what is passed over, nobody asks for the comments.
    if (is_quiet_)
        take_doc();
    refuse_pending_doc();
    std::string *const completed_doc = std::exchange(completed_doc_, nullptr);
    end_of_last_ = {token_.at.line, token_.at.column + static_cast<std::uint32_t>(token_.length)};
    for (token_ = lexer_.next();; token_ = lexer_.next()) {
        if (token_.kind == token_kind::doc_before) {
            if (pending_doc_length_ == 0) {
                pending_doc_at_ = token_.at;
                pending_doc_length_ = token_.length;
            }
            append(pending_doc_, token_.text);
        } else if (token_.kind == token_kind::doc_after) {
            if (completed_doc)
                append(*completed_doc, token_.text);
            else if (!is_quiet_ && !(is_in_slot_ && is_semicolon_missing()))
                faults_.add(package_.file, token_.at, token_.length,
                            "'///<' describes the slot before it, and there is none; use '///'");
        } else {
            // What follows from a text that is not closed, or from a comment, is no news.
            is_quiet_ = is_quiet_ || token_.is_faulty;
            return;
        }
    }
}

/// Whether the slot ends with the line, so that a comment behind it is rightly there.
bool parser::is_semicolon_missing() const
{
    const token next = ahead(1);
    return next.is_first_on_line && !next.is(token_kind::punctuation, ";") &&
           !next.is(token_kind::punctuation, "[");
}

token parser::ahead(std::size_t count) const
{
    lexer look = lexer_.ahead();
    token t = token_;
    while (count > 0 && t.kind != token_kind::end) {
        t = look.next();
        if (t.kind != token_kind::doc_before && t.kind != token_kind::doc_after)
            --count;
    }
    return t;
}

void parser::pass_strays()
{
    while (token_.kind == token_kind::stray) {
        report_here(has_no_meaning());
        step();
    }
}

void parser::pass_doubled(char punctuation)
{
    while (at(std::string_view(&punctuation, 1))) {
        report_here(std::string("a second '") + punctuation + "'; remove it");
        step();
    }
}

void parser::refuse_missing(char punctuation, const std::string &why)
{
    const std::string before = is_at_end()                        ? "the end of the file"
                               : token_.kind == token_kind::stray ? character_name(token_.text)
                                                                  : quoted(token_.text);
    report(end_of_last_, 1,
           std::string("'") + punctuation + "' is missing " + why + ", before " + before +
               "; add it");
}

bool parser::take_substitute(char punctuation, const std::string &why)
{
    if (!is_at_mark() || substitutes_of(punctuation).find(token_.text[0]) == std::string_view::npos)
        return false;
    if (at("}") && token_.is_first_on_line) // the message's own
        return false;
    report_here(found() + "; '" + punctuation + "' is wanted " + why);
    step();
    return true;
}

void parser::expect(char punctuation, const std::string &why)
{
    const std::string_view wanted(&punctuation, 1);
    if (is_at_mark() && !at(wanted) && ahead(1).is(token_kind::punctuation, wanted)) {
        report_here(token_.kind == token_kind::stray ? has_no_meaning() : found() + "; remove it");
        step();
    }
    if (at(wanted)) {
        step();
        // Behind a brace or a semicolon the same may stand for something else.
        if (punctuation != '}')
            pass_doubled(punctuation);
        return;
    }
    if (!take_substitute(punctuation, why))
        refuse_missing(punctuation, why);
}

/// Whether the word goes on, without a blank, with what no name has: "srv6-a", "srv6.a".
bool parser::has_foreign_letters() const
{
    const auto end =
        static_cast<std::size_t>(token_.text.data() + token_.text.size() - text_.data());
    if (end == text_.size() ||
        std::string_view(" \t\r\n{}<>[],;=").find(text_[end]) != std::string_view::npos)
        return false;
    const token second = ahead(1);
    const token third = ahead(2);
    const auto touch = [](const token &a, const token &b) {
        return a.at.line == b.at.line && a.at.column + a.length == b.at.column &&
               (b.kind == token_kind::word || b.kind == token_kind::number ||
                b.kind == token_kind::stray);
    };
    return touch(token_, second) && (second.kind == token_kind::number || touch(second, third) ||
                                     static_cast<unsigned char>(second.text[0]) >= 0x80);
}

void parser::pass_foreign_letters()
{
    const token name = token_;
    step();
    report_here("found " + character_name(token_.text) +
                " in a name; names are lower-case letters, digits and underscores");
    while (token_.at.line == name.at.line && token_.at.column == end_of_last_.column &&
           (token_.kind == token_kind::word || token_.kind == token_kind::number ||
            token_.kind == token_kind::stray))
        step();
}

std::string parser::take_name(const std::string &of)
{
    pass_strays();
    if (token_.kind == token_kind::number || token_.kind == token_kind::string) {
        report_here(
            found() + "; the name of " + of + " is wanted, " +
            (token_.kind == token_kind::string ? "without quotes" : "which begins with a letter"));
        step();
        return "";
    }
    if (token_.kind != token_kind::word) {
        report_here(found() + "; the name of " + of + " is wanted");
        return "";
    }
    if (has_foreign_letters()) {
        pass_foreign_letters();
        return "";
    }
    std::string name(token_.text);
    bool has_capital = false;
    for (char &c : name) {
        has_capital = has_capital || (c >= 'A' && c <= 'Z');
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (name.size() > longest_name)
        report_here("a name has at most " + std::to_string(longest_name) + " characters, and " +
                    quoted(token_.text) + " has " + std::to_string(name.size()) + "; shorten it");
    else if (has_capital)
        report_here(quoted(token_.text) +
                    " has a capital letter; names are lower-case with underscores, write " +
                    quoted(name));
    step();
    return name;
}

} // namespace idlc
