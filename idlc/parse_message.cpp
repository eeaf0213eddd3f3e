// A message: its opening, its slots, and what stands for the brace that closes it.
#include <string>
#include <utility>

#include "inspect/did_you_mean.h"
#include "parser.h"
#include "words.h"

namespace idlc {
namespace {

/// Another language's word for it, or a misspelled one.
bool is_meant_for_message(std::string_view word)
{
    static constexpr std::string_view words[] = {"message", "struct", "record", "msg", "type"};
    return !vorl::did_you_mean(lower(word), words).empty();
}

} // namespace

/// From a word to the end of the braces behind it.
void parser::pass_block()
{
    while (!is_at_end() && !at("{"))
        step();
    std::size_t depth = 0;
    do {
        depth += at("{") ? 1 : 0;
        depth -= at("}") ? 1 : 0;
        step();
    } while (!is_at_end() && depth > 0);
    if (at(";"))
        step();
}

void parser::parse_message()
{
    message m;
    m.doc = take_doc();
    const std::uint32_t column = token_.at.column;
    if (is_at_word("message")) {
        step();
    } else if (ahead(1).is(token_kind::punctuation, "{")) {
        report_here("'message' is missing before " + quoted(token_.text) + "; add it");
    } else if (!is_meant_for_message(token_.text)) {
        report_here("unknown word " + quoted(token_.text) +
                    "; a description has one 'package', and messages: 'message <name> { ... }'");
        return pass_block();
    } else {
        report_here("unknown word " + quoted(token_.text) + "; did you mean 'message'?");
        step();
    }
    m.at = token_.at;
    m.name = take_name("the message");
    m.is_faulty = is_quiet_;
    pass_to_brace();
    if (at(";")) {
        report_here("found ';'; '{' is wanted after the name of the message, and slots behind it");
        step();
        m.is_faulty = true;
    } else {
        closes_with_other_ = !at("{");
        const position brace = at("{") ? token_.at : end_of_last_;
        expect('{', "after the name of the message");
        parse_body(m, brace, column);
    }
    package_.messages.push_back(std::move(m));
}

/// What stands in the line between the name and the brace.
void parser::pass_to_brace()
{
    if (at("{") || at(";") || at("}") || is_at_end() || token_.is_first_on_line)
        return;
    const token behind = ahead(1);
    const bool is_type = token_.kind == token_kind::word && is_type_word(token_.text);
    const bool stands_for_brace =
        is_at_mark() &&
        (behind.is_first_on_line || behind.kind != token_kind::word || is_type_word(behind.text));
    if (is_type || stands_for_brace)
        return;
    report_here(found() + "; '{' is wanted after the name of the message");
    while (!is_at_end() && !at("{") && !at(";") && !token_.is_first_on_line)
        step();
}

/// A ')' or the like that stands for the '}' of a message.
bool parser::take_other_brace()
{
    const bool is_other = token_.is(token_kind::stray, ")") || at("]") || at(">");
    if (!is_other || !token_.is_first_on_line)
        return false;
    const token behind = ahead(1);
    if (behind.kind != token_kind::end && !behind.is(token_kind::word, "message"))
        return false;
    is_quiet_ = is_quiet_ || closes_with_other_;
    report_here(found() + "; '}' is wanted after the last slot");
    step();
    return true;
}

void parser::pass_nested_message(const std::string &around)
{
    report_here("a message stands inside " + around +
                "; describe it by itself, and hold it as 'table <message>'");
    message inner; // its name is known to those who hold it
    const token name = ahead(1);
    inner.at = name.at;
    inner.is_faulty = true;
    if (name.kind == token_kind::word)
        inner.name = name.text;
    package_.messages.push_back(std::move(inner));
    pass_block();
}

void parser::parse_body(message &m, position brace, std::uint32_t column)
{
    const std::string name = m.name.empty() ? "the message" : "message " + quoted(m.name);
    for (;;) {
        m.is_faulty = m.is_faulty || is_quiet_;
        begin_item();
        if (take_other_brace())
            break;
        pass_strays();
        if (at("}")) {
            if (m.slots.empty() && !m.is_faulty)
                report_here(name + " has no slots; give it at least one");
            last_brace_ = token_.at;
            m.is_faulty = m.is_faulty || is_quiet_;
            step();
            break;
        }
        // Further in than the message around it, so that no '}' is missing before it.
        if (is_at_word("message") && token_.is_first_on_line && token_.at.column > column &&
            is_at_message()) {
            pass_nested_message(name);
            continue;
        }
        if (is_at_end() || is_at_message()) {
            report(end_of_last_, 1,
                   name + " is not closed, its '}' is missing before " +
                       (is_at_end() ? "the end of the file" : quoted(token_.text)) +
                       "; add '}' after its last slot");
            note(brace, "the '{' that it closes");
            m.is_faulty = true;
            break;
        }
        if (at(";")) {
            report_here("this ';' ends nothing; remove it, or write the slot before it");
            step();
            continue;
        }
        m.slots.push_back(parse_slot());
        if (at(";")) {
            completed_doc_ = &m.slots.back().doc;
            step();
        }
    }
}

} // namespace idlc
