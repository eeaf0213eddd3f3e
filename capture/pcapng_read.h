// Reads pcapng 1.0, whoever wrote it, packet by packet, in either byte order.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "capture/frame.h"
#include "capture/packet.h"

namespace vorl::capture {

struct pcapng_interface {
    std::uint16_t link = 0;
    std::uint32_t longest = 0; ///< packet; 0: no limit
    std::string name;
    std::string text;
    std::optional<counters> counted; ///< once its statistics were read
    std::uint8_t resolution = 6;
    std::int64_t offset = 0; ///< seconds
};

struct pcapng_packet {
    std::uint64_t number = 0; ///< in the file, from 1
    std::size_t interface = 0;
    std::uint64_t time = 0;     ///< nanoseconds since 1970; 0 where the file does not say it
    std::uint64_t lost = 0;     ///< packets, right before this one
    std::uint64_t original = 0; ///< bytes that it had
    bytes content;
};

class pcapng_reader {
  public:
    /// Packets of more bytes are refused. The stream has to outlive this.
    pcapng_reader(std::istream &in, std::uint64_t largest_packet)
        : in_(in), largest_packet_(largest_packet)
    {}

    /// The next packet; nothing at the end. Throws capture_error, "packet N: what; what to do";
    /// there is nothing to read behind it.
    std::optional<pcapng_packet> next();

    /// Of all sections so far.
    const std::vector<pcapng_interface> &interfaces() const { return interfaces_; }

  private:
    struct block_head {
        std::uint32_t type;
        std::uint32_t length; ///< of its content
    };

    [[noreturn]] void refuse(const std::string &why) const;
    std::uint64_t number(std::uint64_t at, std::size_t width) const;
    std::optional<block_head> read_head();
    void read_content(std::uint32_t length);
    void skip(std::uint32_t length);
    void read_end(const block_head &head);
    void take(std::uint64_t length, char *to);
    void section(std::uint32_t length);
    void interface();
    void statistics();
    pcapng_packet packet(block_head head);
    std::uint64_t in_nanoseconds(std::uint64_t units, const pcapng_interface &of) const;
    template <class Take>
    void options(std::uint64_t at, Take take) const;

    std::istream &in_;
    std::uint64_t largest_packet_;
    bool has_section_ = false;
    bool is_swapped_ = false;
    std::size_t first_interface_ = 0; ///< of this section
    std::uint64_t packets_ = 0;
    std::vector<pcapng_interface> interfaces_;
    bytes block_; ///< the content of the present one
};

} // namespace vorl::capture
