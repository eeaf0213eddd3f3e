// Characters that a description may not hold: how many bytes one has, and what to write instead.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace idlc {

/// Bytes of the character that the text begins with: of a valid one of UTF-8 all of it, otherwise 1.
/// The text is not empty.
std::size_t character_length(std::string_view text);

/// The same character as people call it: "'$'", "U+00E9", "byte 255".
std::string character_name(std::string_view text);

/// What to do about it: "remove it", "it is a curly quote, write '\"'".
std::string instead_of(std::string_view text);

} // namespace idlc
