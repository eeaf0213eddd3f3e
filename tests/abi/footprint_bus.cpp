// A bus that takes everything and needs no stack to speak of.
#include <cstdint>

#include "runtime/bus.h"

extern "C" {
std::uint32_t VORL_SendMsg(std::uint32_t, const vorl::frame_desc *, std::uint32_t) { return 0; }
std::uint32_t VORL_SendToMsg(std::uint32_t, const vorl::frame_desc *, std::uint32_t, std::uint64_t)
{
    return 0;
}
std::uint32_t VORL_RegIDLFuncHook(std::uint32_t, vorl::unpack_hook, vorl::free_hook) { return 0; }
std::uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { return 0; }
}
