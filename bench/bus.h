// The bus of the benchmark: VORL_SendMsg returns at once, VORL_SendToMsg shows the frames to whoever
// prepares data. The executable's own symbols come before those of the bus library.
#pragma once

#include "runtime/bus.h"

namespace vorl::bench {

/// Called by VORL_SendToMsg.
extern void (*on_frames)(const frame_desc *descs, uint32_t count);

} // namespace vorl::bench
