// Frames that say whose they are, so that a reader can tell a whole one from any other bytes.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <vector>

namespace vorl::test {

/// Bytes of thread and number alone: 16 that name them, and up to 500 that follow from them.
inline std::vector<std::uint8_t> numbered_frame(std::uint64_t thread, std::uint64_t number)
{
    std::uint64_t state = (thread + 1) * 0x9E3779B97F4A7C15 + number * 0xBF58476D1CE4E5B9;
    std::vector<std::uint8_t> frame(16 + (state >> 32) % 500);
    std::memcpy(frame.data(), &thread, 8);
    std::memcpy(frame.data() + 8, &number, 8);
    for (std::size_t i = 16; i < frame.size(); ++i) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        frame[i] = static_cast<std::uint8_t>(state);
    }
    return frame;
}

} // namespace vorl::test
