#include "api/listener.h"

namespace vorl::unpacking {

void refused(const listener &, table_check check, table_role role, uint32_t a, uint32_t b,
             const message &m)
{
    const auto index = static_cast<uint32_t>(check);
    const uint32_t first = role == table_role::root ? log_line::root_table : log_line::table;
    log(ctx_of(m, direction::receive), log_kind, first + index, reader_name(role, m),
        log_text::table[index], a, b);
}

void no_memory(const listener &, uint32_t size, uint32_t slot, table_role role, const message &m)
{
    const uint32_t first =
        role == table_role::root ? log_line::root_allocation : log_line::allocation;
    const char *own_text = m.slots[slot].malloc_text;
    log(ctx_of(m, direction::receive), log_kind_no_memory, first + slot, reader_name(role, m),
        own_text != nullptr ? own_text : log_text::no_memory, size);
}

} // namespace vorl::unpacking
