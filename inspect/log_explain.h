// A line of a log, explained: which of the library's texts stand in it, whatever stands around them,
// and what each says (inspect/log_lines.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/log_lines.h"
#include "serial/slot.h"

namespace vorl::inspect {

struct log_number {
    std::string value; ///< as in the line
    std::string meaning;
};

/// A text of a line that is the library's, or has its tag.
struct log_finding {
    std::size_t at;         ///< where the tag begins in the line
    const log_entry *entry; ///< null: not a text that this version writes, and `note` is all
    std::string note;

    std::string text; ///< as the library passed it, its values filled in
    /// The text is that of two places, and this is one of them; the other is a finding of its own.
    bool is_one_of_two;
    std::string function;              ///< that the line names; empty: it names none
    const message *of;                 ///< whose function it is; null: not known
    const log_place *place;            ///< null: not known
    std::optional<std::uint32_t> slot; ///< of a vector that got no memory
    std::string where;
    std::vector<log_number> numbers;
    std::string checked;
    std::string then;
    std::vector<std::string> facts; ///< what these numbers tell
    std::string cause;
    std::string next;
};

/// All of a line, in its order. The line may hold any bytes.
std::vector<log_finding> explain_log_line(std::string_view line);

} // namespace vorl::inspect
