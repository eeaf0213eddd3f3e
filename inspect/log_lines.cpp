#include "inspect/log_lines.h"

#include <limits>

#include "runtime/log.h"
#include "serial/plain/listener.h"

namespace vorl::inspect {
namespace {

using derived = std::optional<std::uint64_t>;
constexpr std::uint64_t nothing_to_derive = 0;

derived when(bool holds) { return holds ? derived(nothing_to_derive) : std::nullopt; }

// Positions and lengths take 4 bytes; the first 4 of a message are the root offset.
constexpr std::int64_t word = 4;
constexpr std::int64_t longest = std::numeric_limits<std::int32_t>::max();

/// A table's position that the library refuses of a message of that length.
bool is_refused_position(const log_values &v)
{
    const std::int64_t at = v[0].number;
    const std::int64_t length = v[1].number;
    return length >= word && length <= longest && (at < word || at > length - word);
}

/// A table's position that it has not refused, of a message whose last position that is.
bool is_accepted_position(const log_values &v)
{
    return v[0].number >= word && v[0].number <= v[1].number && v[1].number <= longest - word;
}

bool is_refused_length(const log_values &v)
{
    constexpr std::int64_t longest_vtable = std::numeric_limits<std::uint16_t>::max();
    return v[1].number >= word && v[0].number > v[1].number && v[0].number <= longest_vtable;
}

bool is_first_call(const log_values &v) { return v[0].number == 0 && v[1].number == word; }

/// The position with its bytes reversed, where that would be in range.
derived reversed_position(const log_values &v)
{
    const auto at = __builtin_bswap32(static_cast<std::uint32_t>(v[0].number));
    return at >= word && at <= v[1].number - word ? derived(at) : std::nullopt;
}

/// How many bytes are missing for the last word of a table that begins in the message's last three
/// bytes, or where it ends.
derived missing_bytes(const log_values &v)
{
    const std::int64_t missing = v[0].number + word - v[1].number;
    return missing > 0 && missing <= word ? derived(missing) : std::nullopt;
}

/// The number of slots of which a vtable has that length.
derived slots_of_vtable(const log_values &v)
{
    constexpr std::int64_t most_slots = 256;
    const std::int64_t entries = v[0].number - word;
    return entries >= 2 && entries % 2 == 0 && entries / 2 <= most_slots ? derived(entries / 2)
                                                                         : std::nullopt;
}

constexpr const char *root = "the root table of a message with a table, a vector or an array of "
                             "tables";
constexpr const char *not_root = "any other table: the root table of every other message, a nested "
                                 "table, an element";
const std::string ends = "`__unpack` ends and returns the size of the record.";
const std::string members_before =
    "Members that were read before keep their values, all others are zero, and every vector is "
    "released: its pointer is null, its count may stay.";

std::vector<log_place> places_of(table_check check)
{
    const auto index = static_cast<std::uint32_t>(check);
    return {{log_line::root_table + index, false, "_unpack", root, "The record is untouched."},
            {log_line::table + index, false, "_unpack_non_root", not_root,
             members_before + " Where the table was the root, the record is all zero."}};
}

const char *text_of(table_check check)
{
    return log_text::table[static_cast<std::uint32_t>(check)];
}

log_entry unpack_arguments()
{
    return {
        .text = log_text::unpack_arguments,
        .kind = log_kind,
        .places = {{log_line::unpack_arguments, false, "_unpack", "the arguments", ""}},
        .example = "[ZELKO]:Param invalid(null, 68, nonNull)",
        .arguments = {{"`buf` is null", "`buf` is not null"},
                      {"`len`, in bytes, with its sign"},
                      {"`out` is null", "`out` is not null"}},
        .is_possible =
            [](const log_values &v) {
                return v[0].is_null() || v[2].is_null() || v[1].number < word;
            },
        .impossible = "neither `buf` nor `out` is null, and a `len` of {1} is taken",
        .checked = "Neither `buf` nor `out` may be null, and `len` has to be 4 or more.",
        .then = "`__unpack` returns the size of the record, which is untouched.",
        .facts = {{[](const log_values &v) {
                       constexpr std::int64_t past_32_bits = std::int64_t{1} << 32;
                       return v[1].number < 0 ? derived(past_32_bits + v[1].number) : std::nullopt;
                   },
                   "[ZELKO]:Param invalid(nonNull, -2147483648, nonNull)",
                   "A `len` of {1} is a length of {d} bytes, taken for a number with a sign: "
                   "`__unpack` takes 2147483647 bytes at the most."},
                  {[](const log_values &v) { return when(v[1].number >= 0 && v[1].number < word); },
                   "[ZELKO]:Param invalid(nonNull, 3, nonNull)",
                   "A `len` of {1} has no room for the root offset, 4 bytes, with which every "
                   "message begins."}},
        .cause = "The caller. The bytes were not looked at, so nothing is known about them.",
        .next = "Look at who called: your own code, or the bus, which calls the function that "
                "`_recv_init` registered.",
    };
}

log_entry pack_arguments()
{
    return {
        .text = log_text::pack_arguments,
        .kind = log_kind,
        .places = {{log_line::pack_arguments, false, "_pack", "whether there is a buffer", ""}},
        .example = "[ZELKO]:Param invalid(null, 4294967295, nonNull)",
        .arguments = {{"`buf` is null, as in every such line", ""},
                      {"the capacity that the caller stated, in bytes"},
                      {"", "`in` is not null, as in every such line"}},
        .is_possible =
            [](const log_values &v) {
                return v[0].is_null() && v[1].number > 0 && !v[2].is_null();
            },
        .impossible = "`__pack` logs a null `buf` alone, with a capacity that is enough",
        .checked =
            "`__pack` was called with a null `buf`, and the stated capacity, {1}, is enough.",
        .then = "This is no failure: `__pack` returns 0, with the size in `*inout_len`.",
        .facts = {},
        .cause = "A caller that measures a record. The process's first calls do so as well, where "
                 "it follows the header's advice on constructors and fork.",
        .next = "Nothing, unless the caller meant to pack: then its buffer is null.",
    };
}

log_entry table_position()
{
    return {
        .text = text_of(table_check::position),
        .kind = log_kind,
        .places = places_of(table_check::position),
        .example = "[ZELKO]:Table offset(65) is out of range(4 - 68)",
        .arguments = {{"the position of the table, in bytes from the first byte of the message; "
                       "this is what is out of range"},
                      {"the length of the message. A table begins 4 bytes before that at the "
                       "latest: at {1-4}"}},
        .is_possible = is_refused_position,
        .impossible = "a table at {0} is in range of {1} bytes",
        .checked = "A table begins at 4 at the earliest, and at {1-4} at the latest. This one "
                   "would begin at {0}.",
        .then = ends,
        .facts =
            {{[](const log_values &v) { return when(is_first_call(v)); },
              "[ZELKO]:Table offset(0) is out of range(4 - 4)",
              "This is the first call that the header advises before threads, plugins and fork: "
              "four bytes of zero.",
              "Nothing is wrong, unless no such call was made: then somebody sent four bytes of "
              "zero."},
             {reversed_position, "[ZELKO]:Table offset(67108864) is out of range(4 - 68)",
              "{0} is {d} with its four bytes reversed, and {d} is in range: the sender writes "
              "numbers in the other byte order.",
              "Find out who sent this: a process of a machine with the other byte order, or one "
              "whose library is set to reverse bytes. The library reads and writes the least "
              "significant byte first (docs/format.md)."},
             {[](const log_values &v) { return when(v[0].number < word && !is_first_call(v)); },
              "[ZELKO]:Table offset(1) is out of range(4 - 68)",
              "The message begins with the number {0}, which no message does: the first four bytes "
              "are no root offset."},
             {missing_bytes, "[ZELKO]:Table offset(65) is out of range(4 - 68)",
              "If the position is right, the message lacks at least {d} of its bytes at the end."}},
        .cause = "Bytes that are no such message: of another message, cut short, or behind a "
                 "header that was not taken off.",
        .next = "See that the first four bytes are `04 00 00 00` (a frame), or 4 plus the vtable "
                "length (packed bytes; docs/format.md). If they are, the word that leads to a "
                "nested table or to an element is wrong. `vorl explain` says which.",
    };
}

log_entry vtable_position()
{
    return {
        .text = text_of(table_check::vtable_position),
        .kind = log_kind,
        .places = places_of(table_check::vtable_position),
        .example = "[ZELKO]:Vtable offset(34) is out of range(4 - 64)",
        .arguments = {{"the position of the *table*, which is in range. The position of its "
                       "vtable, which is not, is not logged"},
                      {"the last position where a vtable can be: the length of the message less "
                       "4. So the message is {1+4} bytes long"}},
        .is_possible = is_accepted_position,
        .impossible = "this check is made of tables from 4 to {1}, and {0} is none of them",
        .checked = "The position of a table's vtable has to be from 4 to {1}. That of the table at "
                   "{0} is not.",
        .then = ends,
        .facts = {{[](const log_values &v) { return when(v[0].number == word); },
                   "[ZELKO]:Vtable offset(4) is out of range(4 - 36)",
                   "The table is at 4, as in a frame. There the vtable lies behind the table, so a "
                   "frame that was cut short gives this line."}},
        .cause = "The four bytes at the table's position are no soffset: the position leads to "
                 "something else, or the bytes were damaged or cut short.",
        .next = "`vorl explain --message NAME FRAME` shows the bytes and what they should be. By "
                "hand: read the four bytes at {0} as a number, least significant first, and "
                "subtract it "
                "from {0}, in 32 bits: that is where the vtable should be. {1+4} bytes were "
                "received; for a fixed-size message, compare that with the frame's length in "
                "srv6.h, srv6_cfg.h or srv6_sync.h. A root table is at 4 in a frame, and at 8 + 2n "
                "in packed bytes of n slots; any other number is no root that this library "
                "writes.",
    };
}

log_entry vtable_length()
{
    return {
        .text = text_of(table_check::vtable_length),
        .kind = log_kind,
        .places = places_of(table_check::vtable_length),
        .example = "[ZELKO]:Vtable Len(66) is out of range(0 - 64)",
        .arguments = {{"the length of the vtable in bytes, as the vtable itself says"},
                      {"how many bytes there are from the vtable to the end of the message"}},
        .is_possible = is_refused_length,
        .impossible = "this check is of a length from 5 to 65535 that is above the second number, "
                      "which is 4 or more",
        .checked = "A vtable may not pass the end of the message. This one needs {0} bytes, and "
                   "there are {1}.",
        .then = ends,
        .facts = {{slots_of_vtable, "[ZELKO]:Vtable Len(30) is out of range(0 - 20)",
                   "{0} bytes are the vtable of {d} slots: 4 + 2 * {d}."},
                  {[](const log_values &v) { return when(!slots_of_vtable(v)); },
                   "[ZELKO]:Vtable Len(4097) is out of range(0 - 64)",
                   "{0} is the vtable length of no message, which is 4 + 2n for n slots, 1 to 256: "
                   "what was read is no vtable."}},
        .cause = "A message that was cut short: the vtable of a frame is at its end. Or a table "
                 "position that leads to something else than a table.",
        .next =
            "The vtable of a message with n slots is 4 + 2n bytes long, longer where the sender "
            "is newer, shorter where it is older. If {0} is such a length, bytes are missing at "
            "the end. If not, the position is wrong.",
    };
}

log_entry no_memory()
{
    return {
        .text = log_text::no_memory,
        .kind = log_kind_no_memory,
        .places = {{log_line::root_allocation, true, "_unpack",
                    "the memory of a vector of the message itself", ""},
                   {log_line::allocation, true, "_unpack_non_root",
                    "the memory of a vector of a nested table", ""}},
        .example = "[ZELKO]:Malloc unpack data unsuccess, size(168)",
        .arguments = {{"the bytes that the elements need: their count times the size of their "
                       "record. Above 4294967295 these are the lower 32 bits of it"}},
        .is_possible = [](const log_values &) { return true; },
        .impossible = "",
        .checked = "The cache allocator returned null; or more than 4294967295 bytes were needed, "
                   "and it was not asked.",
        .then = ends + " " + members_before,
        .facts = {{[](const log_values &v) { return when(v[0].number == 0); },
                   "[ZELKO]:Malloc unpack data unsuccess, size(0)",
                   "A vector without elements asks for no memory, so 0 is the lower 32 bits of a "
                   "larger number."}},
        .cause =
            "The platform's cache allocator has no room, or refuses so large a block. Or the "
            "count in the bytes is absurd: the header states with each message how much memory "
            "4 bytes can cost.",
        .next =
            "Divide {0} by the size of the element's record (`vorl describe`): that is how many "
            "elements the bytes ask for. If it does not divide, {0} is the lower 32 bits of a "
            "larger number. If that is plausible, give the cache allocator more. If not, the "
            "sender is wrong or hostile.",
    };
}

} // namespace

const std::vector<log_entry> &log_entries()
{
    static const std::vector<log_entry> all = {unpack_arguments(), pack_arguments(),
                                               table_position(),   vtable_position(),
                                               vtable_length(),    no_memory()};
    return all;
}

} // namespace vorl::inspect
