#include "tools/vorl/bus_send.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "platform/bus/receiver.h"

namespace vorl {
namespace {

constexpr std::uint32_t not_encoded = 0xFFFFFFFF;
constexpr auto retry_interval = std::chrono::milliseconds(20);

std::string meaning(std::uint32_t code, std::uint32_t dest)
{
    switch (code) {
    case VORL_DEV_NO_PEER:
        return "nobody receives at destination " + std::to_string(dest) +
               "; start the receiver first, or give --wait";
    case VORL_DEV_QUEUE_FULL:
        return "the receiver's queue is full; let it catch up, or give --wait";
    case VORL_DEV_BAD_FRAME:
        return "the frame is longer than the receiver takes; give the receiver a larger queue";
    case VORL_DEV_IO:
        return "the socket failed, and whether the receiver has it is not known; look there before "
               "sending again";
    case VORL_DEV_SETTING:
        return "the bus's settings are of no use, as it says above; nothing was sent";
    case not_encoded:
        return "the library could not encode it; see that the object is not too large for memory";
    default: return "the bus gives no meaning; look it up in the bus's documents";
    }
}

} // namespace

raw_bus::raw_bus(const library &with, const std::string &user)
{
    with.find(send_msg_, "VORL_SendMsg");
    with.find(send_to_msg_, "VORL_SendToMsg");
    if (send_msg_ == nullptr || send_to_msg_ == nullptr)
        throw std::runtime_error(user + ": this bus library has no VORL_SendMsg or VORL_SendToMsg; "
                                        "see which libkavrovorl.so is loaded");
}

bool is_surely_unsent(std::uint32_t code)
{
    return code == VORL_DEV_NO_PEER || code == VORL_DEV_QUEUE_FULL || code == VORL_DEV_BAD_FRAME ||
           code == VORL_DEV_SETTING || code == not_encoded;
}

std::uint32_t patient_sender::send(const std::function<std::uint32_t()> &once)
{
    for (;;) {
        errno = 0;
        const std::uint32_t code = once();
        errno_ = errno;
        if (code == 0)
            waits_until_.reset();
        if (code != VORL_DEV_NO_PEER && code != VORL_DEV_QUEUE_FULL)
            return code;
        if (!waits_until_)
            waits_until_ = clock::now() + wait_;
        if (clock::now() >= *waits_until_)
            return code;
        std::this_thread::sleep_for(retry_interval);
    }
}

std::string patient_sender::refusal(std::uint32_t code) const
{
    std::string text = code == not_encoded ? "0xFFFFFFFF" : std::to_string(code);
    if (code == VORL_DEV_IO && errno_ != 0)
        text += std::string(" (") + std::strerror(errno_) + ")";
    return "refused with code " + text + ": " + meaning(code, dest_);
}

} // namespace vorl
