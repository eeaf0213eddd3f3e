// One send over the bus as a person meets it: tried again while it may still be accepted, and what
// its code means.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "runtime/bus.h"
#include "tools/vorl/library.h"

namespace vorl {

/// The bus's two sends, for frames as they are: any bytes, under any identifier.
class raw_bus {
  public:
    /// Throws std::runtime_error, "USER: what; what to do".
    raw_bus(const library &with, const std::string &user);

    /// With a handle by VORL_SendToMsg.
    std::uint32_t send(std::uint32_t dest, const frame_desc *frames, std::uint32_t count,
                       std::optional<std::uint64_t> handle) const
    {
        return handle ? send_to_msg_(dest, frames, count, *handle) : send_msg_(dest, frames, count);
    }

  private:
    decltype(&VORL_SendMsg) send_msg_ = nullptr;
    decltype(&VORL_SendToMsg) send_to_msg_ = nullptr;
};

/// Nothing of the send was accepted, so it may be sent again.
bool is_surely_unsent(std::uint32_t code);

class patient_sender {
  public:
    /// Sends that are refused for now are tried again for so many seconds, counted from the first
    /// of them until one is accepted.
    patient_sender(std::uint32_t dest, double wait_seconds)
        : dest_(dest), wait_(std::chrono::duration_cast<clock::duration>(
                           std::chrono::duration<double>(wait_seconds)))
    {}

    /// Calls `once` until it is accepted, refused for good, or time is up. Returns its last code.
    std::uint32_t send(const std::function<std::uint32_t()> &once);

    /// "refused with code 1: what it means; what to do", of the last send.
    std::string refusal(std::uint32_t code) const;

  private:
    using clock = std::chrono::steady_clock;

    std::uint32_t dest_;
    clock::duration wait_;
    int errno_ = 0; ///< of the last send
    /// Set from the first send that is refused for now, until one is accepted.
    std::optional<clock::time_point> waits_until_;
};

} // namespace vorl
