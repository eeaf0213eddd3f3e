// Bytes -> record, by the plain codec alone, and why bytes are refused. The library itself reports
// a refused table only in the log, and does not report a refused field at all.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "serial/slot.h"

namespace vorl::inspect {

struct refusal {
    std::uint32_t at;   ///< offset of the bytes that are wrong
    std::string member; ///< path of the table or member, "f1[3].f6"; empty: the root table
    std::string what;
};

/// One line: "offset 0x0030, f1[3].f6: what is wrong".
std::string to_text(const refusal &why);

/// Reads the bytes, whatever they are, into the m.record_size bytes at `record`. The record then
/// owns the elements of its vectors, until release. When the bytes are refused, the record holds
/// what was read before, and owns nothing. A failed allocation is a refusal, too.
std::optional<refusal> decode(const message &m, std::span<const std::uint8_t> bytes, void *record);

/// Releases the memory that decode allocated for the record.
void release(const message &m, void *record);

} // namespace vorl::inspect
