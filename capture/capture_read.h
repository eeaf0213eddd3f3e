// Reads captures: frames, put together where they were split, and what the file says of their messages.
// A packet that is no capture's is given as it is.
#pragma once

#include <functional>
#include <map>
#include <optional>

#include "capture/description.h"
#include "capture/pcapng_read.h"

namespace vorl::capture {

struct captured {
    std::uint64_t packet = 0; ///< its number in the file, from 1; of a split frame its first
    std::size_t interface = 0;
    bool is_ours = false; ///< false: of facts, time and length alone are set
    frame found;
};

/// What a reader tells about what it leaves out: "packet N: what; what to do".
using take_note = std::function<void(const std::string &)>;

class capture_reader {
  public:
    /// Frames of more bytes than that are refused.
    capture_reader(std::istream &in, std::uint64_t largest_frame, take_note note)
        : packets_(in, largest_frame + largest_head), largest_frame_(largest_frame),
          note_(std::move(note))
    {}

    /// Nothing at the end. Throws capture_error, behind which there is nothing to read.
    std::optional<captured> next();

    /// Those that were read so far, by identifier.
    const std::map<std::uint32_t, description> &descriptions() const { return descriptions_; }
    const std::vector<pcapng_interface> &interfaces() const { return packets_.interfaces(); }
    /// How many descriptions were read so far: where that is another, descriptions() may be, too.
    std::uint64_t described() const { return described_; }
    /// Packets that were left out.
    std::uint64_t refused() const { return refused_; }
    /// Packets of kinds that are not known, which were left out.
    std::uint64_t unknown() const { return unknown_; }

  private:
    static constexpr std::uint64_t largest_head = 0x10000 + 12;

    void refuse(std::uint64_t packet, const std::string &why);
    void drop_parts(const std::string &why);
    std::optional<pcapng_packet> next_packet();
    std::optional<captured> take(pcapng_packet &&p);
    std::optional<captured> take_part(const pcapng_packet &p, const packet &part);

    pcapng_reader packets_;
    std::uint64_t largest_frame_;
    take_note note_;
    std::map<std::uint32_t, description> descriptions_;
    std::optional<captured> parts_; ///< of a frame that was split, so far
    std::uint32_t wanted_ = 0;      ///< bytes of it that are kept
    std::uint64_t refused_ = 0;
    std::uint64_t unknown_ = 0;
    std::uint64_t described_ = 0;
    bool unknown_told_ = false;
};

} // namespace vorl::capture
