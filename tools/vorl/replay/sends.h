// Frames of a capture put together to the sends that they were of.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "capture/capture_read.h"

namespace vorl::replay {

/// Frames that one call handed to the bus.
struct send {
    std::vector<capture::captured> frames; ///< those that are wanted
    /// Its other frames are behind those: more than there is room for. They are the next send.
    bool is_part = false;
};

/// Frames of one send follow each other in a capture, but for those of other threads in between, which
/// wait for it. It is over with its last frame, with the next send of its thread, or when a frame began a
/// second later: then its last frames were lost.
class send_queue {
  public:
    /// Waiting frames take no more bytes than that, and one frame.
    explicit send_queue(std::uint64_t most_bytes = std::uint64_t{1} << 28) : most_bytes_(most_bytes)
    {}

    /// A frame that is not wanted is left out of its send.
    void add(capture::captured &&frame, bool is_wanted);

    /// No frame comes any more.
    void end();

    /// The send that comes first, once it is over. One of which no frame is wanted is not given.
    std::optional<send> next();

  private:
    using sender = std::pair<std::uint32_t, std::uint32_t>; ///< process and thread

    struct waiting {
        sender from;
        capture::frame_facts last; ///< frame, so far
        send content;
        std::uint64_t size = 0; ///< bytes that its frames take
        bool is_over = false;
    };

    static bool continues(const waiting &open, const capture::frame_facts &facts);
    waiting &send_of(const capture::frame_facts &facts);
    void close(waiting &w);

    std::uint64_t most_bytes_;
    std::uint64_t size_ = 0;
    std::deque<waiting> queue_; ///< in the order of their first frames
    std::map<sender, waiting *> open_;
};

} // namespace vorl::replay
