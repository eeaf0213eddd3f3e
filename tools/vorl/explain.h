// What the bytes of a message say, one by one, and the first thing for which a reader refuses them.
//
// The walk makes the checks of the library's reader, in its order, on any bytes at all; nothing
// outside them is read. Unlike the reader it reports fields that fail, which the library refuses
// without a word.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>

#include "catalogue/catalogue.h"

namespace vorl {

struct refusal {
    std::uint32_t at;   ///< offset of the bytes that are wrong
    std::string member; ///< path of the table or member, "f1[3].f6"; empty: the root table
    std::string what;
};

/// One line: "offset 0x0030, f1[3].f6: what is wrong".
std::string to_text(const refusal &why);

/// Walks the bytes as a message of that type. With `out`, writes a line for each thing found, then
/// the bytes that nothing leads to, or why the walk stopped.
std::optional<refusal> explain(const catalogue::message_info &type,
                               std::span<const std::uint8_t> bytes, std::ostream *out);

} // namespace vorl
