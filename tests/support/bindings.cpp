#include "tests/support/bindings.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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
    std::fill(std::begin(side_states), std::end(side_states), side_state{});
}

void swap_bytes()
{
    for (std::size_t i = 0; i < serial_ctx_count; ++i) {
        bind_cache(serial_ctxs[i]);
        side_states[i].byte_swap_flag = 1;
    }
}

} // namespace vorl::test
