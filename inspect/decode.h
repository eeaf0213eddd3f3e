// Bytes -> record, by the plain codec alone, and why bytes are refused. The library itself reports
// a refused table only in the log, and does not report a refused field at all.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "inspect/damage.h"
#include "serial/slot.h"

namespace vorl::inspect {

/// Reads the bytes, whatever they are, into the m.record_size bytes at `record`. The record then
/// owns the elements of its vectors, until release. When the bytes are refused, the record holds
/// what was read before, and owns nothing. A failed allocation is a refusal, too.
std::optional<damage> decode(const message &m, std::span<const std::uint8_t> bytes, void *record);

/// Releases the memory that decode allocated for the record.
void release(const message &m, void *record);

} // namespace vorl::inspect
