// The two sends, as the library calls them: the bus's own are behind these.
#include <errno.h>

#include "capture/frame.h"
#include "runtime/bus.h"
#include "tap/bus_behind.h"
#include "tap/process_ring.h"
#include "tap/record.h"

namespace vorl::tap {
namespace {

/// What the library itself returns where the bus was not asked.
constexpr uint32_t no_bus = 0xFFFFFFFF;

/// Calls the bus, and records what was sent with what it answered. Neither errno nor the result is
/// another than without the tap.
template <class Send>
uint32_t send_and_record(const frame_desc *descs, uint32_t count, seen_frame f, Send send)
{
    ring::header *const to = recording_ring();
    if (to == nullptr)
        return send();
    const ring::filter &wanted = filter_of(*to);
    if (!has(wanted.destinations, wanted.destination, f.destination))
        return send();
    f.time = now();
    f.result = send();
    const int error = errno;
    for (uint32_t i = 0; descs != nullptr && i < count; ++i) {
        frame_desc desc; // descriptors need not be aligned
        memcpy(&desc, reinterpret_cast<const char *>(descs) + i * sizeof desc, sizeof desc);
        if (!has(wanted.messages, wanted.message, desc.msg_id))
            continue;
        f.data = desc.data;
        f.length = desc.length;
        f.identifier = desc.msg_id;
        f.index = i;
        record(*to, f);
    }
    errno = error;
    return f.result;
}

constexpr uint32_t known =
    capture::destination_known | capture::result_known | capture::identifier_known;

} // namespace
} // namespace vorl::tap

using namespace vorl::tap;

#pragma GCC visibility push(default)

uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count)
{
    static std::atomic<decltype(&VORL_SendMsg)> behind{nullptr};
    const auto bus = bus_behind(behind, "VORL_SendMsg");
    if (bus == nullptr)
        return no_bus;
    const seen_frame f = {.time = 0,
                          .data = nullptr,
                          .length = 0,
                          .flags = known << vorl::ring::known_shift,
                          .destination = dest,
                          .identifier = 0,
                          .of_send = count};
    return send_and_record(descs, count, f, [&] { return bus(dest, descs, count); });
}

uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count, uint64_t to)
{
    static std::atomic<decltype(&VORL_SendToMsg)> behind{nullptr};
    const auto bus = bus_behind(behind, "VORL_SendToMsg");
    if (bus == nullptr)
        return no_bus;
    const seen_frame f = {.time = 0,
                          .handle = to,
                          .data = nullptr,
                          .length = 0,
                          .flags = (known | vorl::capture::handle_given) << vorl::ring::known_shift,
                          .destination = dest,
                          .identifier = 0,
                          .of_send = count};
    return send_and_record(descs, count, f, [&] { return bus(dest, descs, count, to); });
}

#pragma GCC visibility pop
