#include "tests/support/bindings.h"

#include <cstring>

namespace vorl::test {
namespace {

// Taken before main, when nothing has been bound yet.
struct load_time_state {
    serial_ctx ctxs[serial_ctx_count];
    load_time_state() { std::memcpy(ctxs, serial_ctxs, sizeof ctxs); }
};
const load_time_state at_load;

} // namespace

void forget_bindings()
{
    std::memcpy(serial_ctxs, at_load.ctxs, sizeof serial_ctxs);
    std::memset(byte_swap_flag, 0, sizeof byte_swap_flag);
}

void swap_bytes()
{
    for (std::size_t i = 0; i < serial_ctx_count; ++i) {
        bind_cache(serial_ctxs[i]);
        byte_swap_flag[i] = 1;
    }
}

} // namespace vorl::test
