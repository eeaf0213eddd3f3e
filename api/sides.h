// A message's two sides: its package's receive block and its send block, and the byte order of each.
#pragma once

#include "runtime/serial_ctx.h"
#include "serial/slot.h"
#include "serial/wire.h"

namespace vorl {

/// What __pack and the sends return when nothing was encoded or sent.
inline constexpr uint32_t failure = 0xFFFFFFFF;

inline serial_ctx &ctx_of(const message &m, direction d)
{
    return serial_ctxs[ctx_index(m.owner, d)];
}

/// Calls work.operator()<Order>() in the byte order that the side has now.
template <class Work>
auto in_order_of(direction d, const message &m, Work &&work)
{
    return swaps_bytes(m.owner, d) ? work.template operator()<swapped>()
                                   : work.template operator()<native>();
}

inline const char *null_or_not(const void *pointer)
{
    return pointer == nullptr ? "null" : "nonNull";
}

} // namespace vorl
