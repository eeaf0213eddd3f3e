// The header that each packet of a capture begins with, behind the tags (docs/capture.md).
#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "capture/frame.h"

namespace vorl::capture {

/// Something wrong with a capture: "what; what to do". Whoever knows the place adds it.
class capture_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline constexpr std::uint16_t link_type = 252;          ///< WIRESHARK_UPPER_PDU
inline constexpr std::uint32_t longest_packet = 262'144; ///< that Wireshark takes
inline constexpr std::uint32_t frame_header = 72;        ///< bytes
inline constexpr std::uint32_t description_header = 16;

enum class packet_kind : std::uint8_t { frame = 1, description = 2 };

/// The tags; they are before every header.
std::span<const std::uint8_t> tags();

/// Of the bytes that are kept of a frame, what one packet has room for.
inline constexpr std::uint32_t longest_part = longest_packet - 12 - frame_header;

/// Tags and header of the packet with the kept bytes from `part_at` on.
bytes frame_head(const frame_facts &facts, std::uint32_t kept, std::uint32_t part_at);

/// Tags and header of a description.
bytes description_head(std::uint32_t identifier, std::uint32_t slots);

/// A packet, taken apart.
struct packet {
    packet_kind kind = packet_kind::frame; ///< or any other number
    frame_facts facts;                     ///< of a frame
    std::uint32_t kept = 0;
    std::uint32_t part_at = 0;
    std::uint32_t identifier = 0; ///< of a description
    std::uint32_t slots = 0;
    std::span<const std::uint8_t> rest; ///< behind the header
};

/// Nothing: it has no tag of ours. Throws capture_error.
std::optional<packet> parse_packet(std::span<const std::uint8_t> content);

} // namespace vorl::capture
