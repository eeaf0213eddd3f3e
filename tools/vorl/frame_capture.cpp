#include "tools/vorl/frame_capture.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "runtime/bus.h"
#include "tools/vorl/library_log.h"

namespace {

thread_local vorl::bytes *capture = nullptr;

template <class Function>
Function next_definition(const char *name)
{
    const auto found = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (found == nullptr) {
        std::fprintf(stderr, "vorl: the bus library has no %s; install the platform's bus\n", name);
        std::exit(EXIT_FAILURE);
    }
    return found;
}

void keep(const vorl::frame_desc &desc)
{
    const auto *data = static_cast<const std::uint8_t *>(desc.data);
    capture->assign(data, data + desc.length);
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs,
                                                     uint32_t count)
{
    if (capture != nullptr) {
        keep(descs[0]);
        return 0;
    }
    static const auto next = next_definition<decltype(&VORL_SendMsg)>("VORL_SendMsg");
    return next(dest, descs, count);
}

[[gnu::visibility("default")]] uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *descs,
                                                       uint32_t count, uint64_t to)
{
    static const auto next = next_definition<decltype(&VORL_SendToMsg)>("VORL_SendToMsg");
    return next(dest, descs, count, to);
}

} // extern "C"

namespace vorl {

bytes capture_frame(const catalogue::message_info &type, const void *record)
{
    bytes frame;
    capture = &frame;
    type.functions.sendmsg(0, record, 1);
    capture = nullptr;
    return frame;
}

bytes pack_record(const catalogue::message_info &type, const void *record)
{
    std::uint32_t size = std::numeric_limits<std::uint32_t>::max();
    const std::uint32_t result = type.functions.pack(record, nullptr, &size);
    take_library_log(); // measuring logs a line though nothing is wrong
    if (result != 0)
        return {};
    bytes packed(size);
    if (type.functions.pack(record, packed.data(), &size) != 0)
        return {};
    return packed;
}

} // namespace vorl
