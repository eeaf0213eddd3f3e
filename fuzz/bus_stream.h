// One input of the target of the bus's receiving side:
//
//   OFFSET   SIZE   CONTENT
//   0        1      bytes a write, 0: all at once
//   1               what a sender writes, and then goes away (platform/bus/protocol.h)
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "platform/bus/protocol.h"

namespace vorl::fuzz {

template <class T>
T load_head(std::span<const std::uint8_t> from)
{
    T value;
    std::memcpy(&value, from.data(), sizeof value);
    return value;
}

template <class T>
void append_head(std::vector<std::uint8_t> &to, const T &value)
{
    const auto *first = reinterpret_cast<const std::uint8_t *>(&value);
    to.insert(to.end(), first, first + sizeof value);
}

struct sent_frame {
    std::uint32_t msg_id;
    std::vector<std::uint8_t> content;
};

/// A send as a sender writes it.
inline void append_send(std::vector<std::uint8_t> &to, const std::vector<sent_frame> &frames)
{
    bus::send_head head{bus::magic, static_cast<std::uint32_t>(frames.size()), 0};
    for (const sent_frame &frame : frames)
        head.bytes += frame.content.size();
    append_head(to, head);
    for (const sent_frame &frame : frames)
        append_head(
            to, bus::frame_head{frame.msg_id, static_cast<std::uint32_t>(frame.content.size())});
    for (const sent_frame &frame : frames)
        to.insert(to.end(), frame.content.begin(), frame.content.end());
}

} // namespace vorl::fuzz
