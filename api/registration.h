// Registers a package with the bus.
#pragma once

#include <stddef.h>

#include "runtime/bus.h"

namespace vorl {

struct registration {
    uint32_t msg_id;
    unpack_hook unpack;
    free_hook release;
};

/// Registers the messages in order; stops at the first refusal and returns its code. Messages
/// registered before it stay registered.
template <size_t Count>
uint32_t register_receiver(const registration (&messages)[Count])
{
    for (const registration &m : messages) {
        if (const uint32_t refusal = VORL_RegIDLFuncHook(m.msg_id, m.unpack, m.release))
            return refusal;
    }
    return 0;
}

inline uint32_t register_sender(resource_clean_hook clean)
{
    return VORL_RegIDLResorceCleanFuncHook(clean);
}

} // namespace vorl
