// Frames of all messages, whole and damaged, from a seed.
#pragma once

#include "capture/frame_filter.h"
#include "fuzz/mutator.h"
#include "tests/facts/counts.h"
#include "tests/wireshark/tshark.h"

namespace vorl::test {

/// One to four changes each; what a reader acts on is changed more often than other bytes.
inline captured_frames damaged_frames(std::size_t count, unsigned seed)
{
    fuzz::choice random(seed);
    captured_frames frames;
    while (frames.frames.size() < count) {
        const message &m = *all_messages()[frames.frames.size() % counts::messages];
        bytes content = fuzz::fresh_content(m, order::little, random);
        for (std::uint64_t left = random() % 4 + 1; left != 0 && content.size() >= 4; --left)
            fuzz::change(m, order::little, content, fuzz::longest_input, random);
        frames.add(m.msg_id, content);
    }
    return frames;
}

} // namespace vorl::test
