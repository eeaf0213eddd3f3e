// What each byte of a message means, and the first reason for which a reader refuses the message.
#pragma once

#include <iosfwd>

#include "inspect/decode.h"

namespace vorl::inspect {

/// Reads the bytes, whatever they are, as a message `m`, and forgets the record. With `out`, writes
/// a line for each step of the reader, then the bytes that nothing leads to, or why the reader
/// stopped. However many records the bytes lead to, few of them are in memory at a time.
std::optional<refusal> explain(const message &m, std::span<const std::uint8_t> bytes,
                               std::ostream *out);

} // namespace vorl::inspect
