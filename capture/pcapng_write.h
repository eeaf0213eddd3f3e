// Writes a capture: pcapng blocks, by hand.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "capture/frame.h"

namespace vorl::capture {

/// Takes what is written, whole blocks at a time.
using byte_sink = std::function<void(std::span<const std::uint8_t>)>;

class pcapng_writer {
  public:
    /// Begins a section. `application` is who writes it.
    pcapng_writer(byte_sink to, const std::string &application);

    /// The number of a new interface, for the calls below.
    std::uint32_t add_interface(const process_facts &from);

    /// In as many packets as it takes.
    void add(std::uint32_t interface, const frame &f);

    /// A description (capture/description.h), before the first frame that it is of.
    void describe(std::uint32_t interface, std::uint64_t time, const bytes &description);

    /// Behind the interface's last frame.
    void count(std::uint32_t interface, std::uint64_t time, const counters &of);

  private:
    void packet(std::uint32_t interface, std::uint64_t time, const bytes &head,
                std::span<const std::uint8_t> rest, std::uint64_t original, const bytes &options);

    byte_sink to_;
    std::uint32_t interfaces_ = 0;
    std::uint64_t packet_id_ = 0;
};

} // namespace vorl::capture
