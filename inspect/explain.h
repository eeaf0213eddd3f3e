// What the bytes of a message say, one by one, and the first thing for which a reader refuses them.
#pragma once

#include <iosfwd>

#include "inspect/decode.h"

namespace vorl::inspect {

/// Reads the bytes, which may be any at all, as a message of that type, and forgets the record. With
/// `out`, writes a line for each step of the reader, then the bytes that nothing leads to, or why
/// the reader stopped. However many records the bytes speak of, few of them are in memory at a time.
std::optional<refusal> explain(const message &m, std::span<const std::uint8_t> bytes,
                               std::ostream *out);

} // namespace vorl::inspect
