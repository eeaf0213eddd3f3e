#include "parse.h"

#include <array>
#include <utility>

#include "inspect/did_you_mean.h"
#include "parser.h"
#include "words.h"

namespace idlc {
namespace {

constexpr const char *opening = "a description opens with 'package <name>;'";

/// The names behind the word `message`, for those who ask what was meant.
std::vector<std::string_view> names_in(std::string_view text)
{
    std::vector<std::string_view> names;
    lexer look("", text, nullptr);
    bool is_next = false;
    for (token t = look.next(); t.kind != token_kind::end; t = look.next()) {
        if (is_next && t.kind == token_kind::word)
            names.push_back(t.text);
        is_next = !is_next && t.is(token_kind::word, "message");
    }
    return names;
}

} // namespace

package parse(const source &from, faults &to) { return parser(from, to).run(); }

bool parser::is_utf_16() const
{
    return text_.starts_with("\xFF\xFE") || text_.starts_with("\xFE\xFF") ||
           (text_.size() > 3 && (text_[0] == '\0') != (text_[1] == '\0') &&
            (text_[0] == '\0') == (text_[2] == '\0') && (text_[1] == '\0') == (text_[3] == '\0'));
}

package parser::run()
{
    if (is_utf_16()) {
        report({}, 1, "the file is UTF-16, or no text; save it as ASCII, or as UTF-8");
        return std::move(package_);
    }
    messages_ = names_in(text_);
    step();
    parse_opening();
    if (is_at_end() && package_.messages.empty())
        report(end_of_last_, 1,
               "the description ends here; a package has at least one message: "
               "'message <name> { ... }'");
    while (!is_at_end()) {
        begin_item();
        parse_next();
    }
    is_quiet_ = false;
    refuse_pending_doc();
    return std::move(package_);
}

void parser::parse_opening()
{
    static constexpr std::string_view package_word[] = {"package"};
    begin_item();
    pass_strays();
    if (is_at_end())
        return report_here(std::string("the description is empty; ") + opening);
    const bool is_near = token_.kind == token_kind::word && ahead(1).kind == token_kind::word &&
                         !vorl::did_you_mean(lower(token_.text), package_word).empty();
    if (!is_at_word("package"))
        report_here(found() + "; " + opening + (is_near ? ", did you mean 'package'?" : ""));
    if (!is_at_word("package") && !is_near)
        return skip_to_message();
    parse_package();
}

void parser::parse_package()
{
    step();
    package_.name_at = token_.at;
    package_.name = take_name("the package");
    // As in "package srv6 cfg;": what goes on in the line is no message.
    const token behind = ahead(1);
    const bool is_wrong_mark =
        is_at_mark() && (behind.is_first_on_line || behind.is(token_kind::punctuation, ";"));
    if (!at(";") && !token_.is_first_on_line && !is_at_end() && !is_at_message() &&
        !is_wrong_mark) {
        report_here(found() + "; ';' is wanted after the package");
        while (!at(";") && !token_.is_first_on_line && !is_at_end())
            step();
    }
    expect(';', "after the package");
}

/// Whether a message begins here: its word may be missing or misspelled, but no slot has a brace.
bool parser::is_at_message() const
{
    if (token_.kind != token_kind::word || is_type_word(token_.text))
        return false;
    const token second = ahead(1);
    if (second.is(token_kind::punctuation, "{"))
        return true;
    if (second.kind != token_kind::word && second.kind != token_kind::number)
        return false;
    const token third = ahead(2);
    return third.is(token_kind::punctuation, "{") ||
           (is_at_word("message") && third.is_first_on_line &&
            !third.is(token_kind::punctuation, ";"));
}

void parser::skip_to_message()
{
    while (!is_at_end() && !is_at_message() && !is_at_word("package"))
        step();
}

void parser::parse_next()
{
    pass_strays();
    if (is_at_end())
        return;
    if (is_at_word("message") || is_at_message()) {
        parse_message();
    } else if (at("}")) {
        report_here("this '}' closes nothing; remove it");
        step();
    } else if (at(";")) {
        report_here("this ';' ends nothing, a message ends with its '}'; remove it");
        step();
    } else if (is_at_word("package")) {
        // Where it is missing at the top, that is reported.
        is_quiet_ = is_quiet_ || package_.name.empty();
        report_here("found 'package'; a description has one package, so write a file for each");
        std::string first = std::move(package_.name);
        const position first_at = package_.name_at;
        parse_package();
        if (!first.empty()) {
            package_.name = std::move(first);
            package_.name_at = first_at;
        }
    } else if (token_.kind == token_kind::word && is_type_word(token_.text)) {
        parse_slots_outside();
    } else {
        report_here(found() + "; after the package come messages: 'message <name> { ... }'");
        step();
        skip_to_message();
    }
}

// Most often a '}' stands before them that should not.
void parser::parse_slots_outside()
{
    report_here("a slot stands outside of every message; move it into one");
    if (last_brace_.line != 0) {
        note(last_brace_, "this '}' closed message " + quoted(package_.messages.back().name));
        package_.messages.back().is_faulty = true;
    }
    while (!is_at_end() && !is_at_message() && !at("}"))
        step();
    if (at("}"))
        step();
}

} // namespace idlc
