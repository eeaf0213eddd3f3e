// What the lines mean that the library writes to the platform's log. Both docs/log.md and the
// explanation of a line (inspect/log_explain.h) are made of this table: the page fills the numbers of
// its examples into the sentences, the explanation those of the line. Numbers of places and texts are
// the library's own (runtime/log.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorl::inspect {

/// What a line has in place of a `%`: a number, or `null` or `nonNull`.
struct log_value {
    std::string text;    ///< as the line has it
    std::int64_t number; ///< 0 for a word

    bool is_null() const { return text == "null"; }
};
/// In the order of the text.
using log_values = std::vector<log_value>;

// Sentences have places to be filled: {0} is the first value of the line, {1} the second, and so on;
// {1-4} is the second less 4, {1+4} the second and 4 more. {d} is the number that a fact derives.

/// A place of the library that logs a text.
struct log_place {
    std::uint32_t line;   ///< as it is logged
    bool plus_slot;       ///< the number of a slot is added to it
    const char *function; ///< what is added to the message's name: "_unpack"
    const char *what;     ///< what is checked there
    std::string then;     ///< what became of the record, where the places differ in it
};

/// What a value stands for.
struct log_argument {
    const char *meaning;
    const char *otherwise =
        nullptr; ///< of a word: what `nonNull` means; `meaning` is that of `null`
};

/// What can be said of some values, and not of all.
struct log_fact {
    /// Something when the fact holds: the derived number, or 0 where none is.
    std::optional<std::uint64_t> (*derive)(const log_values &);
    const char *example; ///< a line for which it holds
    const char *sentence;
    /// What to do then; null: it says nothing of the cause. Else `sentence` is the cause, and the
    /// cause and the advice of the entry do not apply.
    const char *next = nullptr;
};

/// A text, and all that is to be said of it.
struct log_entry {
    const char *text; ///< as the library passes it, to be filled by the log writer
    std::uint32_t kind;
    std::vector<log_place> places;
    const char *example; ///< a whole line
    std::vector<log_argument> arguments;
    /// Whether the library logs the text with these values.
    bool (*is_possible)(const log_values &);
    const char *impossible; ///< what is to be said of values that are not
    const char *checked;    ///< what was found
    std::string then;       ///< what the call does after it
    std::vector<log_fact> facts;
    const char *cause;
    const char *next; ///< what to do
};

/// Every text that the library has. Some descriptions have a text of their own for what the last
/// one says.
const std::vector<log_entry> &log_entries();

/// docs/log.md.
std::string log_page();

} // namespace vorl::inspect
