// A library that sends as it is loaded, before main.
#include "tests/capture/fast_bus.h"

namespace {

[[gnu::constructor]] void send()
{
    const uint8_t frame[] = {1, 2, 3};
    const vorl::frame_desc desc = {frame, 0x1000, sizeof frame};
    VORL_SendMsg(7, &desc, 1);
}

} // namespace

/// So that a program needs the library.
[[gnu::visibility("default")]] int early_sender_is_there() { return 0; }
