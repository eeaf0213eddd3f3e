// docs/log.md, of the table.
#include <sstream>
#include <string_view>
#include <utility>

#include "catalogue/catalogue.h"
#include "inspect/log_text.h"
#include "inspect/wrap.h"
#include "runtime/log.h"

namespace vorl::inspect {
namespace {

constexpr std::size_t page_width = 130;

constexpr const char *capture =
    "Capture the frame and run `vorl explain --message NAME frame.hex`, where NAME is the "
    "message that the bus delivered. On lines 20 to 22 and from 2000 on, M may be a table in it: "
    "then NAME is M, or a message that holds M. It shows each byte up to the one that is wrong.";

/// The text without the mark that all have.
std::string_view short_text(std::string_view text)
{
    constexpr std::string_view mark = "[ZELKO]:";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

std::string line_of(const log_place &place)
{
    return std::to_string(place.line) + (place.plus_slot ? " + slot" : "");
}

std::string paragraph(std::string_view text) { return wrapped(text, "", page_width) + "\n"; }

std::string item(std::string_view text) { return "- " + wrapped(text, "  ", page_width) + "\n"; }

/// The values of an example of the entry.
log_values values_of(const log_entry &entry, const char *example)
{
    return match(entry.text, example).value().values;
}

std::string then_of(const log_entry &entry)
{
    std::string all = entry.then;
    for (const log_place &place : entry.places) {
        if (!place.then.empty())
            all += " Logged as `M" + std::string(place.function) + "`: " + place.then;
    }
    return all;
}

void write_fact(std::ostream &to, const log_entry &entry, const log_fact &fact)
{
    const log_values values = values_of(entry, fact.example);
    const std::uint64_t derived = fact.derive(values).value();
    std::string text =
        "`" + std::string(short_text(fact.example)) + "`: " + fill(fact.sentence, values, derived);
    if (fact.next != nullptr)
        text += " " + fill(fact.next, values, derived);
    to << item(text);
}

void write_entry(std::ostream &to, const log_entry &entry)
{
    to << "\n## `" << short_text(entry.text) << "`\n\n"
       << "| line | function | what is checked |\n| --- | --- | --- |\n";
    for (const log_place &place : entry.places)
        to << "| " << line_of(place) << " | `M" << place.function << "` | " << place.what << " |\n";
    to << "\nLevel " << log_level << ", kind " << entry.kind << ". For example `" << entry.example
       << "`:\n\n";
    const log_values values = values_of(entry, entry.example);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool is_word = entry.arguments[i].otherwise != nullptr;
        to << item((is_word ? "`" + values[i].text + "`" : values[i].text) + ": " +
                   meaning_of(entry, values, i));
    }
    const std::pair<const char *, std::string> parts[] = {{"Found", entry.checked},
                                                          {"Then", then_of(entry)},
                                                          {"Usual cause", entry.cause},
                                                          {"What to do", entry.next}};
    for (const auto &[what, text] : parts)
        to << '\n' << paragraph("**" + std::string(what) + ".** " + fill(text, values));
    if (!entry.facts.empty())
        to << "\n**Some numbers tell more.**\n\n";
    for (const log_fact &fact : entry.facts)
        write_fact(to, entry, fact);
}

/// The texts that descriptions give for a vector of a message.
void write_own_texts(std::ostream &to)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            for (std::size_t s = 0; s < info.data.slots.size; ++s) {
                if (const char *own = info.data.slots[s].malloc_text)
                    to << "\nFor f" << s << " of `" << name_of(function_name::none, info.data)
                       << "` the text is another, and all else the same: `" << own << "`.\n";
            }
        }
    }
}

} // namespace

std::string log_page()
{
    std::ostringstream to;
    to << "<!-- Written by ./dev regen from inspect/log_lines.cpp. -->\n"
          "# The lines that the library writes to the log\n\n"
       << paragraph(
              "For a line in hand, `vorl explain --log 'LINE'` says what this page says, with the "
              "line's own numbers. `vorl explain --log <FILE`, or behind `tail -f FILE |`, passes "
              "a "
              "log on unchanged and puts an explanation under each line that is the library's.")
       << '\n'
       << paragraph(
              "A call of the library writes one line at the most. It goes to the platform's "
              "`ZDT_OsalLogWrite`, if the process has it, with these arguments: the block of the "
              "package and side (its first two members are the texts `ZELKO` and "
              "`ZELKO_VANTREL_SERIAL`), the level, the kind, an empty text, the line, the "
              "function, the text, and the text's own arguments. What of this is in the log that "
              "people read is up to the platform.")
       << '\n'
       << paragraph(
              "`line` does not stand for a line of a source file. It tells the place, is the "
              "same for every message, and stays the same from release to release. `function` "
              "is the message's name, M below, with what is added to it. It has one "
              "underscore, `M_unpack`, where the exported function has two, `M__unpack`.")
       << "\n| line | function | text |\n| --- | --- | --- |\n";
    for (const log_entry &entry : log_entries()) {
        for (const log_place &place : entry.places)
            to << "| " << line_of(place) << " | `M" << place.function << "` | `" << entry.text
               << "` |\n";
    }
    to << '\n'
       << paragraph(
              "Lines 10 to 12 are about the root table of a message with a table, a vector or an "
              "array of tables: batches, changes and most queries. The root table of any other "
              "message is checked by the function that checks nested tables and elements, so it "
              "gives lines 20 to 22 and `M_unpack_non_root`. There M is the message whose table it "
              "is: of an element of `srv6_common_fwd_update` it is `srv6_common_fwd`.")
       << '\n'
       << paragraph(
              "Nothing else is logged: not why `__pack` or a send returns 0xFFFFFFFF, not what "
              "the bus returns, not that a service was not found, and not that `__unpack` "
              "refuses a field (docs/format.md has those checks). A field that is refused leaves "
              "that member and all that follow zero. "
              "For bytes in hand, `vorl explain` tells it.")
       << '\n'
       << paragraph(capture);
    for (const log_entry &entry : log_entries())
        write_entry(to, entry);
    write_own_texts(to);
    return to.str();
}

} // namespace vorl::inspect
