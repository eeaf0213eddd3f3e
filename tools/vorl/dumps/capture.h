// Packet captures. Of pcap, by libpcap, each packet is a frame, with the headers of its link layer before
// it (--skip). libpcap is loaded when such a capture is read, so that nothing else needs it. pcapng is read
// by capture/: captures of this tool's, which say what each frame is, and any other.
#pragma once

#include <istream>
#include <string_view>

#include "tools/vorl/dumps/reading.h"

namespace vorl::dumps {

/// How many bytes these look at.
inline constexpr std::size_t capture_magic = 12;

bool is_pcap(std::string_view first_bytes);
bool is_pcapng(std::string_view first_bytes);

void read_pcap(std::istream &in, reading &to);
void read_pcapng(std::istream &in, reading &to);

} // namespace vorl::dumps
