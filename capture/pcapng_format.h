// Numbers of pcapng 1.0, as far as captures have to do with them.
#pragma once

#include <cstdint>

namespace vorl::capture::pcapng {

enum block : std::uint32_t {
    section_header = 0x0A0D0D0A,
    interface_description = 1,
    old_packet = 2,
    simple_packet = 3,
    interface_statistics = 5,
    enhanced_packet = 6,
};

inline constexpr std::uint32_t byte_order_magic = 0x1A2B3C4D;

/// Type and length before the content of a block, and the length once more behind it.
inline constexpr std::uint32_t block_overhead = 12;

enum section_option : std::uint16_t { section_application = 4 };
enum interface_option : std::uint16_t {
    interface_name = 2,
    interface_text = 3,
    time_resolution = 9,
    time_offset = 14,
};
enum packet_option : std::uint16_t { packet_flags = 2, packet_drops = 4, packet_id = 5 };
enum statistics_option : std::uint16_t {
    comment = 1,
    frames_seen = 4,
    frames_dropped = 5,
    frames_overwritten = 7,
    frames_given = 8,
};

/// if_tsresol: the power of ten that one unit of time is of a second.
inline constexpr std::uint8_t nanoseconds = 9;

} // namespace vorl::capture::pcapng
