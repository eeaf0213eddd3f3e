#include "bench/bus.h"

namespace vorl::bench {
void (*on_frames)(const frame_desc *descs, uint32_t count) = nullptr;
}

extern "C" {

[[gnu::visibility("default")]] uint32_t VORL_SendMsg(uint32_t, const vorl::frame_desc *, uint32_t)
{
    return 0;
}

[[gnu::visibility("default")]] uint32_t VORL_SendToMsg(uint32_t, const vorl::frame_desc *descs,
                                                       uint32_t count, uint64_t)
{
    vorl::bench::on_frames(descs, count);
    return 0;
}

// Where the library is a part of the program, nobody else has these.
[[gnu::visibility("default")]] uint32_t VORL_RegIDLFuncHook(uint32_t, vorl::unpack_hook,
                                                            vorl::free_hook)
{
    return 0;
}

[[gnu::visibility("default")]] uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook)
{
    return 0;
}

} // extern "C"
