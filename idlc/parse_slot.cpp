// A slot: type, name, attribute, semicolon.
#include <string>

#include "inspect/did_you_mean.h"
#include "parser.h"
#include "words.h"

namespace idlc {
namespace {

constexpr std::uint64_t count_limit = std::uint64_t{1} << 30;
/// It goes through the platform's log, in one line.
constexpr std::size_t longest_malloc_text = 200;

} // namespace

bool parser::may_begin_slot() const
{
    return token_.kind == token_kind::word &&
           (is_type_word(token_.text) || token_.is_first_on_line);
}

slot parser::parse_slot()
{
    slot s;
    s.doc = take_doc();
    s.at = token_.at;
    std::size_t number = 0;
    if (token_.kind != token_kind::word) {
        report_here(found() + "; a wire type is wanted, or '}'");
        step();
        pass_over(s);
    } else if (is_slot_name(token_.text, number) && !ahead(1).is(token_kind::punctuation, "<")) {
        const token behind = ahead(1);
        report_here(behind.kind == token_kind::word && is_type_word(behind.text)
                        ? quoted(token_.text) + " stands before its type; write '" +
                              std::string(behind.text) + " " + std::string(token_.text) + "'"
                        : quoted(token_.text) +
                              " has no type; write one before it, as in 'uint32 " +
                              std::string(token_.text) + "'");
        s.name = token_.text;
        step();
        pass_over(s);
    } else {
        parse_type(s);
        is_in_slot_ = true;
        parse_slot_name(s);
        if (at("["))
            parse_attribute(s);
        is_in_slot_ = false;
        end_slot(s);
    }
    s.is_faulty = s.is_faulty || is_quiet_;
    return s;
}

/// The rest of the slot, up to its ';' or to what cannot belong to it. The name is kept, so that the
/// slots behind have their numbers.
void parser::pass_over(slot &s)
{
    std::size_t depth = 0; // of braces that the slot opened itself
    std::size_t number = 0;
    while (!is_at_end() && !(depth == 0 && (at(";") || at("}") || is_at_message() ||
                                            (token_.is_first_on_line && may_begin_slot())))) {
        if (at("{"))
            ++depth;
        else if (at("}"))
            --depth;
        else if (depth == 0 && token_.kind == token_kind::word && is_slot_name(token_.text, number))
            s.name = token_.text;
        step();
    }
}

/// The rest of what the mark closes, with it.
void parser::pass_through(char mark)
{
    const std::string_view close(&mark, 1);
    while (!is_at_end() && !at(close) && !at(";") && !at("}") && !token_.is_first_on_line)
        step();
    if (at(close))
        step();
}

void parser::refuse_type(slot &s)
{
    report_here("unknown type " + quoted(token_.text) + "; " +
                (faults_.is_full() ? "" : instead_of_type(token_.text, messages_)));
    s.is_faulty = true;
    step();
    if (at("<"))
        pass_through('>');
}

void parser::parse_type(slot &s)
{
    const std::string_view type = token_.text;
    if (type == "array" || type == "vector") {
        step();
        if (at("[") || (at("{") && ahead(1).kind == token_kind::number) ||
            token_.kind == token_kind::number)
            return parse_array_of_c(s);
        parse_elements(s, type == "array");
    } else if (type == "table") {
        s.type = wire_type::table;
        parse_table(s);
    } else if (is_type_word(type)) {
        s.type = type == "uint8"    ? wire_type::uint8
                 : type == "uint16" ? wire_type::uint16
                 : type == "uint32" ? wire_type::uint32
                                    : wire_type::uint64;
        step();
        if (at("["))
            parse_array_of_c(s);
        else if (at("<")) {
            report_here("'" + std::string(type) + "' has no '<...>'; remove it, or write 'array<" +
                        std::string(type) + ", N>'");
            pass_through('>');
        }
    } else {
        refuse_type(s);
    }
}

/// "uint32[4] f0", "uint32 f0[4]"
void parser::parse_array_of_c(slot &s)
{
    report_here(found() + "; an array is written 'array<uint32, 4> f0', a vector "
                          "'vector<uint8> f0'");
    s.is_faulty = true;
    pass_through(']');
}

void parser::parse_table(slot &s)
{
    step();
    std::size_t number = 0;
    if (at("<")) { // "table<srv6_a> f0"
        report_here("found '<'; a table is written 'table <message>', without '<' and '>'");
        step();
    }
    s.message_at = token_.at;
    if (token_.kind == token_kind::word && is_slot_name(token_.text, number) &&
        ahead(1).is(token_kind::punctuation, ";")) {
        report_here("found " + quoted(token_.text) +
                    "; the name of the message that the table holds is wanted before it");
        return;
    }
    s.message_name = take_name("the message that the table holds");
    s.message_length = token_.kind == token_kind::end ? 1 : s.message_name.size();
    if (is_quiet_ && at(">"))
        step();
}

void parser::parse_elements(slot &s, bool is_array)
{
    const std::string word = is_array ? "array" : "vector";
    const std::string holds = is_array ? "an array holds uint8, uint32 or table <message>"
                                       : "a vector holds uint8 or table <message>";
    expect('<', "behind '" + word + "'");
    if (is_at_word("uint8")) {
        s.type = is_array ? wire_type::array_uint8 : wire_type::vector_uint8;
        step();
    } else if (is_array && is_at_word("uint32")) {
        s.type = wire_type::array_uint32;
        step();
    } else if (is_at_word("table")) {
        s.type = is_array ? wire_type::array_table : wire_type::vector_table;
        parse_table(s);
    } else {
        const bool is_type = token_.kind == token_kind::word && is_type_word(token_.text);
        report_here(found() + "; " + holds +
                    (token_.kind == token_kind::word && !is_type && !faults_.is_full()
                         ? ": " + instead_of_type(token_.text, messages_)
                         : ""));
        s.is_faulty = true;
        return pass_over(s);
    }
    if (is_array)
        parse_count(s);
    else if (at(",") && ahead(1).kind == token_kind::number) {
        report_here("a vector has no number of elements; remove it, or write 'array'");
        step();
        step();
    }
    expect('>', is_array ? "behind the number of elements" : "behind what the vector holds");
}

void parser::parse_count(slot &s)
{
    if (at(">")) {
        report_here("the array has no number of elements; write it behind a ',' before the '>'");
        return;
    }
    expect(',', "before the number of elements");
    s.count_at = token_.at;
    if (token_.kind != token_kind::number) {
        report_here(found() + "; the number of elements is wanted");
        if (token_.kind == token_kind::word)
            step();
        return;
    }
    for (const char c : token_.text) {
        if (c < '0' || c > '9') {
            report_here(quoted(token_.text) + " is not a decimal number; write digits only");
            break;
        }
        s.count = s.count * 10 + static_cast<std::uint64_t>(c - '0');
        if (s.count >= count_limit) {
            report_here(quoted(token_.text) +
                        " elements are too many, counts on the wire stay below 2^30; make the "
                        "array smaller");
            break;
        }
    }
    s.count_length = token_.length;
    step();
}

void parser::parse_slot_name(slot &s)
{
    pass_strays();
    s.name_at = token_.at;
    if (token_.kind == token_kind::word && is_type_word(token_.text)) {
        report(end_of_last_, 1,
               "the name of the slot is missing before " + quoted(token_.text) +
                   "; write one, as in 'f0'");
        return;
    }
    if (token_.kind == token_kind::punctuation) {
        report_here(found() + "; the name of the slot is wanted");
        if (!at(";") && !at("["))
            pass_over(s);
        return;
    }
    s.name = take_name("the slot");
    s.name_length = s.name.empty() ? 1 : s.name.size();
}

void parser::parse_attribute(slot &s)
{
    const token behind = ahead(1);
    if (behind.kind == token_kind::number || behind.is(token_kind::punctuation, "]")) {
        if (behind.kind == token_kind::number)
            return parse_array_of_c(s);
        step();
        report_here(found() + "; the only attribute of a slot is malloc_text = \"...\"");
        return step();
    }
    step();
    pass_doubled('[');
    if (!is_at_word("malloc_text")) {
        static constexpr std::string_view attribute[] = {"malloc_text"};
        report_here(found() + "; the only attribute of a slot is malloc_text = \"...\"" +
                    (vorl::did_you_mean(token_.text, attribute).empty()
                         ? ""
                         : ", did you mean 'malloc_text'?"));
        pass_through(']');
        return;
    }
    if (s.type != wire_type::vector_table && !s.is_faulty)
        report_here("only a vector of tables has a malloc_text; remove it from this slot");
    step();
    expect('=', "behind 'malloc_text'");
    parse_malloc_text(s);
    expect(']', "behind the attribute");
}

void parser::parse_malloc_text(slot &s)
{
    if (token_.kind != token_kind::string) {
        report_here(found() + "; malloc_text takes a text in double quotes");
        if (token_.kind == token_kind::word || token_.kind == token_kind::number)
            step();
        return;
    }
    s.malloc_text = token_.text;
    // The text is a printf format whose one argument is the size.
    const auto percent = token_.text.find('%');
    if (percent == std::string_view::npos || token_.text.substr(percent, 2) != "%u" ||
        token_.text.find('%', percent + 1) != std::string_view::npos)
        report_here("malloc_text is the format of a size; write %u in it once, and no other '%'");
    else if (token_.text.size() > longest_malloc_text)
        report_here("malloc_text has " + std::to_string(token_.text.size()) +
                    " characters, and a line of the log is short; shorten it to " +
                    std::to_string(longest_malloc_text));
    step();
}

void parser::end_slot(slot &s)
{
    if (token_.kind == token_kind::stray && ahead(1).is(token_kind::punctuation, ";"))
        pass_strays();
    if (at(";"))
        return;
    const token behind = ahead(1);
    // "uint32 f0};", where what follows is a slot.
    if (at("}") && !token_.is_first_on_line && behind.is(token_kind::punctuation, ";")) {
        const token third = ahead(2);
        if (third.is(token_kind::punctuation, "}") ||
            (third.kind == token_kind::word && is_type_word(third.text))) {
            report_here("found '}'; remove it");
            return step();
        }
    }
    if (at("}") || is_at_end() || is_at_message() || may_begin_slot())
        return refuse_missing(';', "after the slot");
    if (behind.is_first_on_line || behind.kind == token_kind::end ||
        behind.is(token_kind::punctuation, "}")) {
        if (take_substitute(';', "after the slot"))
            return;
    }
    if (at("[") && behind.kind == token_kind::number)
        parse_array_of_c(s);
    else
        report_here(found() + "; ';' is wanted after the slot" +
                    (at(",")   ? ", and a type before each name"
                     : at("=") ? ", for slots have no values and no numbers"
                     : at("[") ? ", which has one attribute at most"
                               : ""));
    pass_over(s);
}

} // namespace idlc
