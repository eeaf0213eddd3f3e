// The platform's bus as far as a sender sees it, with nobody to receive: every send has code 77.
#include "runtime/bus.h"

uint32_t VORL_SendMsg(uint32_t, const vorl::frame_desc *, uint32_t) { return 77; }
uint32_t VORL_SendToMsg(uint32_t, const vorl::frame_desc *, uint32_t, uint64_t) { return 77; }
uint32_t VORL_RegIDLFuncHook(uint32_t, vorl::unpack_hook, vorl::free_hook) { return 0; }
uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { return 0; }
