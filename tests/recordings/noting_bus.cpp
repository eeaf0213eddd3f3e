// A bus to be preloaded, with nobody to receive: each send is a line of the file that VORL_TEST_SENDS names.
// Time in milliseconds, destination, handle or -, and each frame as its identifier and bytes. Destination 99
// refuses everything with code 77.
#include "runtime/bus.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "inspect/hex.h"

namespace {

uint32_t note(uint32_t dest, const vorl::frame_desc *descs, uint32_t count, const char *handle)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    std::FILE *const to = std::fopen(std::getenv("VORL_TEST_SENDS"), "a");
    std::fprintf(
        to, "%lld %u %s",
        static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()),
        dest, handle);
    for (uint32_t i = 0; i < count; ++i)
        std::fprintf(
            to, " %s:%s", vorl::identifier_text(descs[i].msg_id).c_str(),
            vorl::to_hex(static_cast<const uint8_t *>(descs[i].data), descs[i].length).c_str());
    std::fputc('\n', to);
    std::fclose(to);
    return dest == 99 ? 77 : 0;
}

} // namespace

uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count)
{
    return note(dest, descs, count, "-");
}

uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count, uint64_t to)
{
    return note(dest, descs, count, std::to_string(to).c_str());
}

uint32_t VORL_RegIDLFuncHook(uint32_t, vorl::unpack_hook, vorl::free_hook) { return 0; }
uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { return 0; }
