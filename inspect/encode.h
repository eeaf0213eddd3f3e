// Record -> bytes, by the plain codec alone.
#pragma once

#include <cstdint>
#include <vector>

#include "serial/slot.h"

namespace vorl::inspect {

enum class encoding : std::uint8_t {
    packed, ///< what __pack writes
    frame,  ///< what the send functions hand to the bus; of a message that holds vectors, the same
};

/// Empty: the record cannot be encoded. It has a vector with a count but no pointer, or takes more
/// bytes than 32 bits can say.
std::vector<std::uint8_t> encode(const message &m, const void *record, encoding as);

} // namespace vorl::inspect
