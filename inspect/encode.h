// Record -> bytes, by the plain codec alone.
#pragma once

#include <cstdint>
#include <vector>

#include "serial/slot.h"

namespace vorl::inspect {

enum class encoding : std::uint8_t {
    packed, ///< what __pack writes
    frame,  ///< what the sends hand to the bus; for a message that holds vectors, as `packed`
};

/// Empty: the record cannot be encoded, because a vector has a count but no pointer, or because the
/// size does not fit in 32 bits.
std::vector<std::uint8_t> encode(const message &m, const void *record, encoding as);

} // namespace vorl::inspect
