// Why a reader refuses bytes, in words and in numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vorl::inspect {

/// A line that the library writes to the platform's log.
struct log_line_written {
    std::uint32_t line;   ///< the argument of that name
    const char *function; ///< the name that is passed with it
    std::string text;
};

struct damage {
    std::uint32_t at;       ///< offset of the faulty bytes
    std::uint32_t size;     ///< how many they are
    std::uint64_t leads_to; ///< offset of what they lead to; `at` where they lead nowhere
    std::string member;     ///< path of the table or member, "f1[3].f6"; empty: the root table
    std::string label;      ///< the same path by labels; empty: there are none for it
    const char *rule;       ///< which check: "field", "count"; docs/format.md has them all
    std::uint64_t actual;   ///< what is from `least` to `most` in bytes that are accepted
    std::uint64_t least;
    std::uint64_t most;
    std::string what; ///< the same in words
    /// What `actual` is, in words: "end of the field".
    const char *measured;
    std::string hint; ///< what may have caused it; empty: nothing is known
    /// The receiver's record stays as it was. Otherwise what was read before stays, all else is zero,
    /// and vectors are released.
    bool leaves_the_record = false;
    std::optional<log_line_written> log; ///< nothing: the library refuses it silently
};

/// "f1[3].f6 (records[3].prefix_length)"
std::string path_text(const std::string &member, const std::string &label);

/// One line: "offset 0x0030, f1[3].f6: what is wrong".
std::string to_text(const damage &d);

/// "0x0030"
std::string offset_text(std::uint64_t offset);

} // namespace vorl::inspect
