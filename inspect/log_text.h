// The texts of the table and their values: taken out of a line, and filled into the sentences.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "inspect/log_lines.h"

namespace vorl::inspect {

/// A text with its values, as the log writer filled it.
struct filled_text {
    log_values values;
    std::size_t length; ///< of the text in the line
};

/// The values, where `line` begins with a text that the library logs with `format`: each number as
/// printf writes it and in the range of its type, each word `null` or `nonNull`.
std::optional<filled_text> match(std::string_view format, std::string_view line);

/// What all texts begin with.
inline constexpr std::string_view log_tag = "[ZELKO]";

/// A sentence of the table with its places filled.
std::string fill(std::string_view sentence, const log_values &values, std::uint64_t derived = 0);

/// What value `index` stands for.
std::string meaning_of(const log_entry &entry, const log_values &values, std::size_t index);

} // namespace vorl::inspect
