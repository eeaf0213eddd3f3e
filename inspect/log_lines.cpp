#include "inspect/log_lines.h"

#include <sstream>
#include <string_view>

#include "catalogue/catalogue.h"
#include "runtime/log.h"
#include "serial/plain/listener.h"

namespace vorl::inspect {
namespace {

constexpr const char *root = "the root table of a message with a table, a vector or an array of "
                             "tables";
constexpr const char *not_root = "any other table: the root table of every other message, a nested "
                                 "table, an element";

std::vector<log_place> places_of(table_check check)
{
    const auto index = static_cast<std::uint32_t>(check);
    return {{log_line::root_table + index, false, "_unpack", root},
            {log_line::table + index, false, "_unpack_non_root", not_root}};
}

const char *text_of(table_check check)
{
    return log_text::table[static_cast<std::uint32_t>(check)];
}

constexpr const char *record_after_a_table =
    "`__unpack` ends and returns the size of the record. Logged as `M_unpack`, the record is "
    "untouched. As `M_unpack_non_root`, members that were read before keep their values, all "
    "others are zero, and every vector is released: its pointer is null, its count may stay. Where "
    "the table was the root, the record is all zero.";

constexpr const char *capture =
    "Capture the frame and run `vorl decode --explain --message NAME frame.hex`, where NAME is the "
    "message that the bus delivered. On lines 20 to 22 and from 2000 on, M may be a table in it: "
    "then NAME is M, or a message that holds M. It shows each byte up to the one that is wrong.";

} // namespace

const std::vector<log_entry> &log_entries()
{
    static const std::vector<log_entry> all = {
        {
            .text = log_text::unpack_arguments,
            .kind = log_kind,
            .places = {{log_line::unpack_arguments, false, "_unpack", "the arguments"}},
            .example = "[ZELKO]:Param invalid(null, 68, nonNull)",
            .arguments = {"`null`: `buf` is null", "68: `len`, in bytes, with its sign",
                          "`nonNull`: `out` is not null"},
            .checked = "`buf` is null, `out` is null, or `len` is below 4.",
            .then = "`__unpack` returns the size of the record, which is untouched.",
            .cause = "The caller. The bytes were not looked at, so nothing is known about them. A "
                     "`len` below 0 is a length of 2^31 bytes or more.",
            .next = "Look at who called: your own code, or the bus, which calls the function that "
                    "`_recv_init` registered.",
        },
        {
            .text = log_text::pack_arguments,
            .kind = log_kind,
            .places = {{log_line::pack_arguments, false, "_pack", "whether there is a buffer"}},
            .example = "[ZELKO]:Param invalid(null, 4294967295, nonNull)",
            .arguments = {"`null`: `buf` is null, as in every such line",
                          "4294967295: the capacity that the caller stated, in bytes",
                          "`nonNull`: `in` is not null, as in every such line"},
            .checked = "`__pack` was called with a null `buf`, and the stated capacity is enough.",
            .then = "This is no failure: `__pack` returns 0, with the size in `*inout_len`.",
            .cause = "A caller that measures a record. The process's first calls do so as well, "
                     "where it follows the header's advice on constructors and fork.",
            .next = "Nothing, unless the caller meant to pack: then its buffer is null.",
        },
        {
            .text = text_of(table_check::position),
            .kind = log_kind,
            .places = places_of(table_check::position),
            .example = "[ZELKO]:Table offset(65) is out of range(4 - 68)",
            .arguments = {"65: the position of the table, in bytes from the first byte of the "
                          "message; this is what is out of range",
                          "68: the length of the message. The last position where a table can be "
                          "is 4 bytes before that: 64"},
            .checked = "The position of a table is below 4, or above the length less 4.",
            .then = record_after_a_table,
            .cause = "Bytes that are no such message: of another message, cut short, or behind a "
                     "header that was not taken off. A huge number, 67108864 for example, is a "
                     "small one with its bytes reversed: the sender has another byte order. `Table "
                     "offset(0) is out of range(4 - 4)` is the first call that the header advises "
                     "before threads, plugins and fork: nothing is wrong.",
            .next =
                "See that the first four bytes are `04 00 00 00` (a frame), or 4 plus the vtable "
                "length (packed bytes; docs/format.md). If they are, the word that leads to a "
                "nested table or to an element is wrong. `vorl decode --explain` says which.",
        },
        {
            .text = text_of(table_check::vtable_position),
            .kind = log_kind,
            .places = places_of(table_check::vtable_position),
            .example = "[ZELKO]:Vtable offset(34) is out of range(4 - 64)",
            .arguments = {"34: the position of the *table*, which is in range. The position of its "
                          "vtable, which is not, is not logged",
                          "64: the last position where a vtable can be: the length of the message "
                          "less 4"},
            .checked = "The position of a table's vtable is below 4, or above the length less 4.",
            .then = record_after_a_table,
            .cause = "The four bytes at the table's position are no soffset: the position leads to "
                     "something else, or the bytes were damaged. In a frame the vtable lies behind "
                     "the table, so a frame that was cut short gives this line, too, with 4 as the "
                     "first number.",
            .next =
                "Read the four bytes at the table's position (34) as a number, least significant "
                "first, and subtract it from the position, in 32 bits: that is where the vtable "
                "should be. What was received is 4 bytes longer than the second number; for a "
                "fixed-size message, compare that with the frame's length in srv6.h, srv6_cfg.h or "
                "srv6_sync.h. A root table is at 4 in a frame, and at 8 + 2n in packed bytes of n "
                "slots; any other number is no root that this library writes.",
        },
        {
            .text = text_of(table_check::vtable_length),
            .kind = log_kind,
            .places = places_of(table_check::vtable_length),
            .example = "[ZELKO]:Vtable Len(66) is out of range(0 - 64)",
            .arguments = {"66: the length of the vtable in bytes, as the vtable itself says",
                          "64: how many bytes there are from the vtable to the end of the message"},
            .checked = "A vtable passes the end of the message.",
            .then = record_after_a_table,
            .cause =
                "A message that was cut short: the vtable of a frame is at its end. Or a table "
                "position that leads to something else than a table.",
            .next = "The vtable of a message with n slots is 4 + 2n bytes long, longer where the "
                    "sender is newer, shorter where it is older. If the number is such a length, "
                    "bytes are missing at the end. If not, the position is wrong.",
        },
        {
            .text = log_text::no_memory,
            .kind = log_kind_no_memory,
            .places = {{log_line::root_allocation, true, "_unpack",
                        "the memory of a vector of the message itself"},
                       {log_line::allocation, true, "_unpack_non_root",
                        "the memory of a vector of a nested table"}},
            .example = "[ZELKO]:Malloc unpack data unsuccess, size(168)",
            .arguments = {"168: the bytes that the elements need: their count times the size of "
                          "their record. Above 4294967295 these are the lower 32 bits of it"},
            .checked =
                "The cache allocator returned null; or more than 4294967295 bytes were needed, "
                "and it was not asked.",
            .then = "`__unpack` ends and returns the size of the record. Members that were read "
                    "before keep their values, all others are zero, and every vector is released: "
                    "its pointer is null, its count may stay.",
            .cause =
                "The platform's cache allocator has no room, or refuses so large a block. Or the "
                "count in the bytes is absurd: the header states with each message how much "
                "memory 4 bytes can cost.",
            .next = "Divide the number by the size of the element's record (`vorl describe`): that "
                    "is how many elements the bytes ask for. If it does not divide, the number is "
                    "the lower 32 bits of a larger one. If that is plausible, give the cache "
                    "allocator more. If not, the sender is wrong or hostile.",
        },
    };
    return all;
}

namespace {

/// The text without the mark that all have.
std::string_view short_text(const char *text)
{
    std::string_view all = text;
    constexpr std::string_view mark = "[ZELKO]:";
    return all.starts_with(mark) ? all.substr(mark.size()) : all;
}

std::string line_of(const log_place &place)
{
    return std::to_string(place.line) + (place.plus_slot ? " + slot" : "");
}

/// Lines of at most 130 characters, each behind `indent` but the first.
std::string wrapped(std::string_view text, std::string_view indent)
{
    constexpr std::size_t width = 130;
    std::string out;
    std::size_t used = indent.size();
    while (!text.empty()) {
        const std::size_t space = text.find(' ');
        const std::string_view word = text.substr(0, space);
        if (!out.empty()) {
            const bool fits = used + 1 + word.size() <= width;
            out += fits ? " " : "\n" + std::string(indent);
            used = fits ? used + 1 : indent.size();
        }
        out += word;
        used += word.size();
        text.remove_prefix(space == std::string_view::npos ? text.size() : space + 1);
    }
    return out;
}

void write_entry(std::ostream &to, const log_entry &entry)
{
    to << "\n## `" << short_text(entry.text) << "`\n\n"
       << "| line | function | what is checked |\n| --- | --- | --- |\n";
    for (const log_place &place : entry.places)
        to << "| " << line_of(place) << " | `M" << place.function << "` | " << place.what << " |\n";
    to << "\nLevel " << log_level << ", kind " << entry.kind << ". For example `" << entry.example
       << "`:\n\n";
    for (const char *argument : entry.arguments)
        to << "- " << wrapped(argument, "  ") << '\n';
    const std::pair<const char *, const char *> parts[] = {{"Found", entry.checked},
                                                           {"Then", entry.then},
                                                           {"Usual cause", entry.cause},
                                                           {"What to do", entry.next}};
    for (const auto &[what, text] : parts)
        to << '\n' << wrapped("**" + std::string(what) + ".** " + text, "") << '\n';
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
       << wrapped(
              "A call of the library writes one line at the most. It goes to the platform's "
              "`ZDT_OsalLogWrite`, if the process has it, with these arguments: the block of the "
              "package and side (its first two members are the texts `ZELKO` and "
              "`ZELKO_VANTREL_SERIAL`), the level, the kind, an empty text, the line, the "
              "function, the text, and the text's own arguments. What of this is in the log that "
              "people read is up to the platform.",
              "")
       << "\n\n"
       << wrapped("`line` does not stand for a line of a source file. It tells the place, is the "
                  "same for every message, and stays the same from release to release. `function` "
                  "is the message's name, M below, with what is added to it. It has one "
                  "underscore, `M_unpack`, where the exported function has two, `M__unpack`.",
                  "")
       << "\n\n| line | function | text |\n| --- | --- | --- |\n";
    for (const log_entry &entry : log_entries()) {
        for (const log_place &place : entry.places)
            to << "| " << line_of(place) << " | `M" << place.function << "` | `" << entry.text
               << "` |\n";
    }
    to << '\n'
       << wrapped(
              "Lines 10 to 12 are about the root table of a message with a table, a vector or an "
              "array of tables: batches, changes and most queries. The root table of any other "
              "message is checked by the function that checks nested tables and elements, so it "
              "gives lines 20 to 22 and `M_unpack_non_root`. There M is the message whose table it "
              "is: of an element of `srv6_common_fwd_update` it is `srv6_common_fwd`.",
              "")
       << "\n\n"
       << wrapped(
              "Nothing else is logged: not why `__pack` or a send returns 0xFFFFFFFF, not what "
              "the bus returns, not that a service was not found, and not that `__unpack` "
              "refuses a field (docs/format.md has those checks). A field that is refused leaves "
              "that member and all that follow zero. "
              "For bytes in hand, `vorl decode --explain` tells it.",
              "")
       << "\n\n"
       << wrapped(capture, "") << '\n';
    for (const log_entry &entry : log_entries())
        write_entry(to, entry);
    write_own_texts(to);
    return to.str();
}

} // namespace vorl::inspect
