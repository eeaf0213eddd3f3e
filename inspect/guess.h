// Which messages some bytes can be. Bytes carry no name, so several may fit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/damage.h"

namespace vorl::inspect {

struct candidate {
    const catalogue::message_info *info;
    /// What a receiver of this message refuses; nothing: it accepts the bytes.
    std::optional<damage> why_not;
    /// They are, byte for byte, what this library writes for the record that they hold.
    bool is_as_written = false;
    /// The root's vtable has as many entries as the message has slots.
    bool has_its_slots = false;
    /// Bytes that nothing leads to, without padding.
    std::uint64_t stray = 0;
};

/// All messages that accept the bytes, the best first; where none does, all messages, first those
/// of which the bytes hold most before what is refused.
std::vector<candidate> guess(std::span<const std::uint8_t> bytes);

} // namespace vorl::inspect
