// The ways in which the library reads a buffer.
#pragma once

#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {

/// What reads: the kernels and the unrolled steps, or the plain codec, which has the other byte order
/// and the first call of a side.
struct way_to_read {
    const char *name;
    order byte_order;
    bool is_first_call;

    void prepare() const
    {
        use_order(byte_order);
        if (is_first_call)
            return;
        for (serial_ctx &ctx : serial_ctxs)
            bind_cache(ctx);
    }
};
inline constexpr way_to_read ways_to_read[] = {{"kernels", order::little, false},
                                               {"other byte order", order::big, false},
                                               {"first call", order::little, true}};

} // namespace vorl::test
