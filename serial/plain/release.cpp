#include "serial/plain/release.h"

namespace vorl::plain {

void release(uint8_t *record, const listener &to, const message &m)
{
    for (const slot &s : m.slots)
        release_slot(record, s, to, m);
    for (const slot &s : m.slots) {
        if (s.shape == slot_shape::table)
            release(record + s.record_at, to, *s.nested);
    }
}

} // namespace vorl::plain
