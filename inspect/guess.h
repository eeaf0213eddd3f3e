// Which messages some bytes can be. Bytes carry no name, so several may fit.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/damage.h"

namespace vorl::inspect {

struct candidate {
    const catalogue::message_info *info = nullptr;
    /// What a receiver of this message refuses; nothing: it accepts the bytes.
    std::optional<damage> why_not;
    /// They are, byte for byte, what this library writes for the record that they hold.
    bool is_as_written = false;
    /// The root's vtable has as many entries as the message has slots.
    bool has_its_slots = false;
    /// Bytes that are nothing of this message: nothing leads to them, and they are no padding; or they
    /// would be two things at once; or they belong to a body that is refused.
    std::uint64_t stray = 0;
};

/// All messages, the likeliest first.
std::vector<candidate> guess(std::span<const std::uint8_t> bytes);

} // namespace vorl::inspect
