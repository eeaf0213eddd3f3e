#include "serial/plain/pack.h"

namespace vorl::plain {

template <byte_order Order>
uint8_t *pack_tables(uint8_t *words, uint8_t *at, uint32_t count, const uint8_t *records,
                     const message &m)
{
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * m.record_size;
        lead_to<Order>(words + size_t{i} * word_size, at, m);
        table_writer<Order> to(at, m);
        for (uint32_t s = 0; s < m.slots.size; ++s)
            to.put_field(s, m.slots[s], record);
        for (uint32_t s = 0; s < m.slots.size; ++s)
            to.put_body(to.field_of(s), m.slots[s], record);
        to.close();
        for (uint32_t s = 0; s < m.slots.size; ++s) {
            const auto nested = [&m, s](uint8_t *w, uint8_t *a, uint32_t n, const uint8_t *r) {
                return pack_tables<Order>(w, a, n, r, *m.slots[s].nested);
            };
            if (m.slots[s].nested != nullptr)
                to.put_tables(to.words_of(s, m.slots[s]), m.slots[s], record, nested);
        }
        at = to.at;
    }
    return at;
}

template <byte_order Order>
void pack(uint8_t *to, const uint8_t *record, const message &m)
{
    pack_tables<Order>(to, to + word_size, 1, record, m);
}

template void pack<native>(uint8_t *, const uint8_t *, const message &);
template void pack<swapped>(uint8_t *, const uint8_t *, const message &);
template uint8_t *pack_tables<native>(uint8_t *, uint8_t *, uint32_t, const uint8_t *,
                                      const message &);
template uint8_t *pack_tables<swapped>(uint8_t *, uint8_t *, uint32_t, const uint8_t *,
                                       const message &);

} // namespace vorl::plain
