// The message types that this process can receive.
#pragma once

#include <stdint.h>

#include "runtime/bus.h"

namespace vorl::bus {

struct message_type {
    unpack_hook unpack;
    free_hook release;
};

/// False when nobody registered the identifier.
bool find_type(uint32_t msg_id, message_type &type);

} // namespace vorl::bus
