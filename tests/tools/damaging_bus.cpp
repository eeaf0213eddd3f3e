// Preloaded, it stands before the bus and does to each send of one message what
// VORL_TEST_DAMAGE says: "change" f0 or "break" the root offset of the first frame, "drop" all,
// send all "twice".
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/bus.h"

namespace {

// srv6_class_item: its frames have the root offset at 0 and f0 at 8.
constexpr uint32_t damaged_message = 0x178C617C;

/// Calls send(descs) with what becomes of the frames.
template <class Send>
uint32_t damage(const vorl::frame_desc *descs, uint32_t count, Send &&send)
{
    std::vector<vorl::frame_desc> frames(count);
    std::memcpy(frames.data(), descs, count * sizeof(vorl::frame_desc));
    if (frames[0].msg_id != damaged_message)
        return send(descs);
    const std::string how = std::getenv("VORL_TEST_DAMAGE");
    if (how == "drop")
        return 0;
    if (how == "twice")
        return send(descs) + send(descs);
    const auto *data = static_cast<const unsigned char *>(frames[0].data);
    std::vector<unsigned char> changed(data, data + frames[0].length);
    if (how == "break")
        changed[0] ^= 0xFF;
    else
        changed[8] ^= 1;
    frames[0].data = changed.data();
    return send(frames.data());
}

} // namespace

uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count)
{
    static const auto bus =
        reinterpret_cast<decltype(&VORL_SendMsg)>(dlsym(RTLD_NEXT, "VORL_SendMsg"));
    return damage(descs, count,
                  [&](const vorl::frame_desc *frames) { return bus(dest, frames, count); });
}

uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count, uint64_t to)
{
    static const auto bus =
        reinterpret_cast<decltype(&VORL_SendToMsg)>(dlsym(RTLD_NEXT, "VORL_SendToMsg"));
    return damage(descs, count,
                  [&](const vorl::frame_desc *frames) { return bus(dest, frames, count, to); });
}
