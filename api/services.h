// What serial/ needs of runtime/: the log and the memory of one package's receive side.
#pragma once

#include "runtime/serial_ctx.h"
#include "serial/table_reader.h"

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

inline const char *null_or_not(const void *pointer)
{
    return pointer == nullptr ? "null" : "nonNull";
}

template <package Package>
struct receive_services {
    static serial_ctx &ctx() { return serial_ctxs[ctx_index(Package, direction::receive)]; }

    static void refuse(table_check check, bool is_root, const char *name, const char *format,
                       uint32_t a, uint32_t b)
    {
        const auto first = static_cast<uint32_t>(is_root ? log_line::root_table : log_line::table);
        log(ctx(), log_kind, first + static_cast<uint32_t>(check), name, format, a, b);
    }
    static void no_memory(uint32_t slot, bool is_root, const char *name, const char *format,
                          uint32_t size)
    {
        const auto first =
            static_cast<uint32_t>(is_root ? log_line::root_allocation : log_line::allocation);
        log(ctx(), log_kind_no_memory, first + slot, name, format, size);
    }
    static void *allocate(uint32_t size, const char *tag)
    {
        return ctx().cache_alloc(size, cache_id, tag);
    }
    static void release(void *block, const char *tag) { ctx().cache_free(block, cache_id, tag); }
    static void set_zero(void *block, size_t size) { vorl::set_zero(block, size); }
    static void copy_bytes(void *block, const void *from, size_t size)
    {
        vorl::copy_bytes(block, from, size);
    }
};

} // namespace vorl
