// What the lines mean that the library writes to the platform's log: for docs/log.md, which is made
// of this, and for whoever explains a line. Numbers and texts are the library's own (runtime/log.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorl::inspect {

/// A place of the library that logs a text.
struct log_place {
    std::uint32_t line;   ///< as it is logged
    bool plus_slot;       ///< the number of a slot is added to it
    const char *function; ///< what is added to the message's name: "_unpack"
    const char *what;     ///< what is checked there
};

/// A text, and all that is to be said of it.
struct log_entry {
    const char *text; ///< as the library passes it, to be filled by the log writer
    std::uint32_t kind;
    std::vector<log_place> places;
    const char *example;                 ///< a whole line
    std::vector<const char *> arguments; ///< what each stands for, those of the example included
    const char *checked;                 ///< what was found
    const char *then;                    ///< what the call does after it
    const char *cause;
    const char *next; ///< what to do
};

/// Every text that the library has. Some descriptions have a text of their own for what the last
/// one says.
const std::vector<log_entry> &log_entries();

/// docs/log.md.
std::string log_page();

} // namespace vorl::inspect
