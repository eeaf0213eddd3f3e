// A bus without anything behind it, for programs that are tapped.
#pragma once

#include "runtime/bus.h"

extern "C" {

/// Hands a frame to the function that is registered for it; 0xFFFFFFFF: none is.
uint32_t fast_bus_deliver(uint32_t msg_id, const void *buf, int32_t len, void *out);

} // extern "C"
