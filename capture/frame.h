// A captured frame, and what is known of the process that it is from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vorl::capture {

using bytes = std::vector<std::uint8_t>;

enum class direction : std::uint8_t { sent = 1, received = 2 };

/// What is known of a frame. Bits of frame_facts::known; in rings and in captures alike.
enum known : std::uint8_t {
    destination_known = 1,
    handle_given = 2, ///< the sender called VORL_SendToMsg
    result_known = 4,
    identifier_known = 8,
    addresses_replaced = 16,
};

/// All but the bytes. docs/capture.md says what each member is; one that is not known is zero.
struct frame_facts {
    std::uint64_t time = 0; ///< nanoseconds since 1970
    direction way = direction::sent;
    std::uint8_t known = 0;
    std::uint32_t process = 0;
    std::uint32_t thread = 0;
    std::uint32_t destination = 0;
    std::uint64_t handle = 0;
    std::uint32_t identifier = 0;
    std::uint32_t result = 0;
    std::uint32_t length = 0;
    std::uint64_t number = 0;  ///< in its process
    std::uint32_t index = 0;   ///< in its send
    std::uint32_t of_send = 1; ///< frames of that send
    std::uint64_t lost = 0;    ///< frames of the process that were lost right before this one

    bool knows(capture::known what) const { return (known & what) != 0; }
};

struct frame {
    frame_facts facts;
    bytes kept;
};

struct process_facts {
    std::uint32_t process = 0;
    std::string command; ///< its command line; empty: not known
};

/// What became of a process's frames.
struct counters {
    std::uint64_t seen = 0;        ///< recorded, or should have been
    std::uint64_t overwritten = 0; ///< or their recording was not finished
    std::uint64_t dropped = 0;     ///< could not be recorded
    std::uint64_t given = 0;       ///< in this output
};

} // namespace vorl::capture
