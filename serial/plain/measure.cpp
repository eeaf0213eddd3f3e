#include "serial/plain/measure.h"

namespace vorl::plain {

bool add_tables_size(uint32_t count, const uint8_t *records, uint64_t &size, const message &m)
{
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * m.record_size;
        size += vtable_length(m) + word_size;
        for (const slot &s : m.slots) {
            const auto tables = [&s](uint32_t n, const uint8_t *nested, uint64_t &sum) {
                return add_tables_size(n, nested, sum, *s.nested);
            };
            if (!add_slot_size(s, record, size, tables))
                return false;
        }
    }
    return true;
}

uint32_t packed_size(const uint8_t *record, const message &m)
{
    uint64_t size = word_size;
    if (record == nullptr || !add_tables_size(1, record, size, m) || size > UINT32_MAX)
        return 0;
    return static_cast<uint32_t>(size);
}

} // namespace vorl::plain
