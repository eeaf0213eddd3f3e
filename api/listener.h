// What the library does when a reader asks for memory or refuses something: it calls the platform's
// allocator, fires a probe (api/probes.h), and writes one line to the platform's log. A field that
// fails its checks is not logged; its probe is all that tells.
#pragma once

#include "api/sides.h"
#include "runtime/bounded.h"
#include "serial/plain/listener.h"

namespace vorl {

/// The name under which the log and the allocator know the function that reads a table.
inline const char *reader_name(table_role role, const message &m)
{
    return name_of(
        role == table_role::root ? function_name::unpack : function_name::unpack_non_root, m);
}

// The members of the listener.
namespace unpacking {

void refused(const listener &, table_check check, table_role role, uint32_t at, uint32_t a,
             uint32_t b, const message &m);
void refused_field(const listener &, const reading_step &step);
void no_memory(const listener &, const reading_step &step, table_role role);

inline void *allocate(const listener &, uint32_t size, table_role role, const message &m)
{
    return ctx_of(m, direction::receive).cache_alloc(size, cache_id, reader_name(role, m));
}
inline void release(const listener &, void *block, const message &m)
{
    ctx_of(m, direction::receive)
        .cache_free(block, cache_id, name_of(function_name::free_unpacked, m));
}

} // namespace unpacking

/// The library's listener. The receive side's cache services have to be bound (bind_cache) before
/// it allocates or releases.
inline constexpr listener to_log = {
    .refused = unpacking::refused,
    .refused_field = unpacking::refused_field,
    .allocate = unpacking::allocate,
    .no_memory = unpacking::no_memory,
    .release = unpacking::release,
    .set_zero = set_zero,
    .copy_bytes = copy_bytes,
};

} // namespace vorl
