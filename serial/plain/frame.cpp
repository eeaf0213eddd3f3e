#include "serial/plain/frame.h"

namespace vorl::plain {

template <byte_order Order>
void write_frames(uint8_t *to, uint32_t count, const uint8_t *records, const message &m)
{
    const frame_layout layout = frame_layout_of(m);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * m.record_size;
        frame_writer<Order> frame(to + size_t{i} * layout.length, layout, m);
        for (uint32_t s = 0; s < m.slots.size; ++s) {
            frame.put_field(
                s, m.slots[s], record,
                [&nested = m.slots[s].nested](uint8_t *at, uint32_t n, const uint8_t *r) {
                    write_frames<Order>(at, n, r, *nested);
                });
        }
    }
}

template void write_frames<native>(uint8_t *, uint32_t, const uint8_t *, const message &);
template void write_frames<swapped>(uint8_t *, uint32_t, const uint8_t *, const message &);

} // namespace vorl::plain
