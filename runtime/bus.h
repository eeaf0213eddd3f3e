// The platform's message bus, as the library calls it. The functions are undefined in the library;
// libkavrovorl.so has them.
#pragma once

#include <stdint.h>

namespace vorl {

/// One frame handed to the bus. The bytes are the sender's and stay valid for the call only.
struct frame_desc {
    const void *data;
    uint32_t msg_id;
    uint32_t length; ///< bytes
};
static_assert(sizeof(frame_desc) == 16, "the bus steps through descriptors by 16 bytes");

using unpack_hook = uint32_t (*)(const void *buf, int32_t len, void *out);
using free_hook = void (*)(void *rec);
using resource_clean_hook = void (*)();

} // namespace vorl

extern "C" {

/// Sends `count` frames to destination `dest`. 0: accepted; anything else is the bus's own code.
uint32_t VORL_SendMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count);

/// The same, to the explicit destination handle `to`.
uint32_t VORL_SendToMsg(uint32_t dest, const vorl::frame_desc *descs, uint32_t count, uint64_t to);

/// Registers the functions that turn frames of `msg_id` into records and that release these. 0:
/// registered.
uint32_t VORL_RegIDLFuncHook(uint32_t msg_id, vorl::unpack_hook unpack, vorl::free_hook release);

/// Registers the function that releases what a sending package keeps between sends. 0: registered.
uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook clean);

} // extern "C"
