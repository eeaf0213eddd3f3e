// The words of the language, and what to say of a word that is none of them.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace idlc {

inline constexpr std::array<std::string_view, 7> type_words = {
    "uint8", "uint16", "uint32", "uint64", "array", "vector", "table"};
bool is_type_word(std::string_view word);

/// In lower case.
std::string lower(std::string_view word);

/// Longest name of a package or a message.
inline constexpr std::size_t longest_name = 100;

/// "'srv6_a'", cut where it is very long.
std::string quoted(std::string_view word);

/// "f" and a number without leading zeros, up to nine digits.
bool is_slot_name(std::string_view word, std::size_t &number);

/// What to do about a word where a type of a slot is wanted: what another language's type is called
/// here, or what is near, or all types. `messages` are names that the description has.
std::string instead_of_type(std::string_view word, const std::vector<std::string_view> &messages);

/// "; did you mean 'srv6_a'?", or `otherwise`.
std::string meant(std::string_view word, const std::vector<std::string_view> &candidates,
                  const std::string &otherwise);

/// Whether C or C++ keeps the word, or a header of theirs gives it a meaning of its own.
bool is_reserved(std::string_view word);

} // namespace idlc
