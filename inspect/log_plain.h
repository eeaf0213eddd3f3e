// A line of a log, freed of what writers of logs and terminals put into a text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorl::inspect {

/// The line without terminal codes (colours, links), and with the characters for which escapes
/// stand: those of JSON strings, and an escape character that is written as #033, \033 or \x1b.
///
///     "MESSAGE":"\u001b[31m[ZELKO]:Table ..."      ->      "MESSAGE":"[ZELKO]:Table ..."
///     "MESSAGE":[91,90,69,76,75,79,93,58, ...]      ->      "MESSAGE":[ZELKO]: ...
///
/// The second is how journalctl writes a text with colours in JSON: its bytes, as numbers.
struct plain_line {
    std::string text;
    std::vector<std::uint32_t> at; ///< where each character of `text` is in the line
};
plain_line plain(std::string_view line);

/// Whether the line may be other than its plain form.
bool has_codes(std::string_view line);

} // namespace vorl::inspect
