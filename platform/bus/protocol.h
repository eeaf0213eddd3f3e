// What travels on the bus's sockets. The sender writes a send, the receiver answers it, and so on;
// at most one send is under way on a connection. Both ends are one machine, so the words are in its
// own byte order.
//
//   OFFSET        SIZE   CONTENT
//   0             4      magic, "VORL"
//   4             4      count of frames, at least 1
//   8             8      bytes of all frames together, at most max_send_bytes
//   16 + 8i       4      msg_id of frame i
//   20 + 8i       4      length of frame i, at least 1
//   16 + 8count          the frames, one behind the other
//
// The answer is 4 bytes: VORL_DEV_OK when the receiver has all frames in its memory,
// VORL_DEV_QUEUE_FULL or VORL_DEV_BAD_FRAME when it took none of them. A receiver that stops just
// closes. The sender can tell then: with bytes of its send not written, or not read by the other
// end (ECONNRESET), the send was not accepted.
#pragma once

#include <stdint.h>

namespace vorl::bus {

struct send_head {
    uint32_t magic;
    uint32_t count;
    uint64_t bytes;
};
static_assert(sizeof(send_head) == 16);

struct frame_head {
    uint32_t msg_id;
    uint32_t length;
};
static_assert(sizeof(frame_head) == 8);

inline constexpr uint32_t magic = 0x4C524F56;
/// Keeps every frame's length within the int32_t that an __unpack takes.
inline constexpr uint64_t max_send_bytes = uint64_t{1} << 30;

} // namespace vorl::bus
