#include "inspect/encode.h"

#include "serial/plain/frame.h"
#include "serial/plain/measure.h"
#include "serial/plain/pack.h"

namespace vorl::inspect {

std::vector<std::uint8_t> encode(const message &m, const void *record, encoding as)
{
    const auto *from = static_cast<const std::uint8_t *>(record);
    if (as == encoding::frame && is_fixed_size(m)) {
        std::vector<std::uint8_t> frame(frame_layout_of(m).length);
        plain::write_frames<byte_order::native>(frame.data(), 1, from, m);
        return frame;
    }
    std::vector<std::uint8_t> packed(plain::packed_size(from, m));
    if (!packed.empty())
        plain::pack<byte_order::native>(packed.data(), from, m);
    return packed;
}

} // namespace vorl::inspect
