// A send's result is its destination's number, and errno is the number of its frames; a handle's lower
// half is added to the result.
#include "tests/capture/fast_bus.h"

#include <cerrno>
#include <map>

namespace {

std::map<uint32_t, vorl::unpack_hook> &hooks()
{
    static std::map<uint32_t, vorl::unpack_hook> all;
    return all;
}

} // namespace

uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *, uint32_t count)
{
    errno = static_cast<int>(count);
    return dest;
}

uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *, uint32_t count, uint64_t to)
{
    errno = static_cast<int>(count);
    return dest + static_cast<uint32_t>(to);
}

uint32_t VORL_RegIDLFuncHook(uint32_t msg_id, vorl::unpack_hook unpack, vorl::free_hook)
{
    const auto [at, is_new] = hooks().try_emplace(msg_id, unpack);
    errno = 77;
    return is_new || at->second == unpack ? 0 : 5;
}

uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { return 0; }

uint32_t fast_bus_deliver(uint32_t msg_id, const void *buf, int32_t len, void *out)
{
    const auto found = hooks().find(msg_id);
    return found == hooks().end() ? 0xFFFFFFFF : found->second(buf, len, out);
}
