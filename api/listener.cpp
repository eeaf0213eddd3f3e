#include "api/listener.h"

namespace vorl::unpacking {
namespace {

constexpr const char *table_texts[] = {
    "[ZELKO]:Table offset(%u) is out of range(4 - %u)",
    "[ZELKO]:Vtable offset(%u) is out of range(4 - %u)",
    "[ZELKO]:Vtable Len(%u) is out of range(0 - %u)",
};

} // namespace

void refused(const listener &, table_check check, table_role role, uint32_t a, uint32_t b,
             const message &m)
{
    const auto first = role == table_role::root ? log_line::root_table : log_line::table;
    log(ctx_of(m, direction::receive), log_kind,
        static_cast<uint32_t>(first) + static_cast<uint32_t>(check), reader_name(role, m),
        table_texts[static_cast<uint32_t>(check)], a, b);
}

void no_memory(const listener &, uint32_t size, uint32_t slot, table_role role, const message &m)
{
    const auto first = role == table_role::root ? log_line::root_allocation : log_line::allocation;
    const char *own_text = m.slots[slot].malloc_text;
    log(ctx_of(m, direction::receive), log_kind_no_memory, static_cast<uint32_t>(first) + slot,
        reader_name(role, m), own_text != nullptr ? own_text : usual_malloc_text, size);
}

} // namespace vorl::unpacking
