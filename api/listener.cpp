#include "api/listener.h"

#include "api/probes.h"

namespace vorl::unpacking {

void refused(const listener &, table_check check, table_role role, uint32_t at, uint32_t a,
             uint32_t b, const message &m)
{
    const auto index = static_cast<uint32_t>(check);
    const uint32_t first = role == table_role::root ? log_line::root_table : log_line::table;
    probe::table_refused(m, first + index, at, a, b);
    log(ctx_of(m, direction::receive), log_kind, first + index, reader_name(role, m),
        log_text::table[index], a, b);
}

void refused_field(const listener &, const reading_step &step)
{
    probe::field_refused(*step.of, step.check, step.at, step.slot, step.to);
}

void no_memory(const listener &, const reading_step &step, table_role role)
{
    const message &m = *step.of;
    const uint32_t first =
        role == table_role::root ? log_line::root_allocation : log_line::allocation;
    const char *own_text = m.slots[step.slot].malloc_text;
    probe::no_memory(m, first + step.slot, step.at, step.to);
    log(ctx_of(m, direction::receive), log_kind_no_memory, first + step.slot, reader_name(role, m),
        own_text != nullptr ? own_text : log_text::no_memory, static_cast<uint32_t>(step.to));
}

} // namespace vorl::unpacking
