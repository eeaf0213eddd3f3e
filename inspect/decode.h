// Bytes -> record, by the plain codec alone, and why bytes are refused. A receiver is told of a
// table that is refused only by its log, and of a field not at all.
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

/// Reads the bytes, which may be any at all, into the m.record_size bytes at `record`. What its
/// vectors lead to is then the record's, until release. A record of bytes that are refused holds
/// what was read before, and owns nothing. Memory that cannot be had is a refusal, too.
std::optional<refusal> decode(const message &m, std::span<const std::uint8_t> bytes, void *record);

/// Gives back what decode let the record own.
void release(const message &m, void *record);

} // namespace vorl::inspect
