// What the library does when a reader asks for memory or refuses something: the platform's
// allocator, and one line to its log. Fields that fail are refused without a word.
#pragma once

#include "api/sides.h"
#include "runtime/bounded.h"
#include "serial/plain/listener.h"

namespace vorl {

/// Where in a message's functions a line is logged: the `line` argument of the log call. Values are
/// kept from release to release, so that a line number in an old log still tells the place.
enum class log_line : uint32_t {
    pack_arguments = 1,
    unpack_arguments = 2,
    root_table = 10,        // plus the table_check
    table = 20,             // plus the table_check
    root_allocation = 1000, // plus the slot
    allocation = 2000,      // plus the slot
};

inline constexpr const char *usual_malloc_text = "[ZELKO]:Malloc unpack data unsuccess, size(%u)";

/// The function that reads a table, as the log and the allocator know it.
inline const char *reader_name(table_role role, const message &m)
{
    return name_of(
        role == table_role::root ? function_name::unpack : function_name::unpack_non_root, m);
}

// The members of the listener.
namespace unpacking {

void refused(const listener &, table_check check, table_role role, uint32_t a, uint32_t b,
             const message &m);
void no_memory(const listener &, uint32_t size, uint32_t slot, table_role role, const message &m);

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

/// The library's listener. The receive side's cache services are bound (bind_cache) before a reader
/// has it.
inline constexpr listener to_log = {
    .refused = unpacking::refused,
    .allocate = unpacking::allocate,
    .no_memory = unpacking::no_memory,
    .release = unpacking::release,
    .set_zero = set_zero,
    .copy_bytes = copy_bytes,
};

} // namespace vorl
