// What stands around a text in a line: the function and the line number that the library passed to
// the log writer, as far as they can be recognised. How it writes them is up to the platform.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "serial/slot.h"

namespace vorl::inspect {

/// A function that the library names in its log lines.
struct named_function {
    std::string name;
    std::string_view suffix;           ///< "_unpack"
    const message *of;                 ///< null: a message that this version does not have
    std::optional<std::uint32_t> line; ///< the number behind it
};

/// All that a text before and a text behind a line's own text name, the nearest first: those before
/// it backwards, then those behind it.
std::vector<named_function> functions_around(std::string_view before, std::string_view behind);

/// The number behind the word "line", in either of them.
std::optional<std::uint32_t> line_number_around(std::string_view before, std::string_view behind);

} // namespace vorl::inspect
