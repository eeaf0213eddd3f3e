// Packet captures, pcap and pcapng, by libpcap: each packet is a frame, with the headers of its link
// layer before it (--skip). libpcap is loaded when a capture is read, so that nothing else needs it.
#pragma once

#include <istream>
#include <string_view>

#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

/// How many bytes is_capture looks at.
inline constexpr std::size_t capture_magic = 12;

bool is_capture(std::string_view first_bytes);

void read_capture(std::istream &in, reading &to);

} // namespace vorl::dumps
