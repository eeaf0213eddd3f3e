// One input of the targets that read messages:
//
//   OFFSET   SIZE   CONTENT
//   0        1      message: its place in registration order, modulo their number
//   1        1      bit 0       most significant byte first
//                   bit 1       nothing is bound yet (least significant byte first only)
//                   bits 2, 3   the allocation that fails, from 1; 0: none
//                   bit 4       differential: packing and sending, too
//                   bits 5-7    misalignment of the bytes
//   2        1      what the record holds before (differential)
//   3               the bytes that are read
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "tests/codec/support/messages.h"

namespace vorl::fuzz {

using reference::bytes;
using reference::order;

inline constexpr std::size_t head_size = 3;
inline constexpr std::uint8_t big_bit = 1;
inline constexpr std::uint8_t pack_bit = 16;
/// Room for the longest frame, and then some.
inline constexpr std::size_t longest_input = 20000;

struct message_input {
    const vorl::message *message;
    order byte_order;
    bool is_first_call;
    std::uint32_t fail_at;
    bool packs;
    std::size_t misalignment;
    std::uint8_t fill;
    std::span<const std::uint8_t> content;
};

inline std::optional<message_input> message_input_of(const std::uint8_t *data, std::size_t size)
{
    if (size < head_size)
        return std::nullopt;
    const auto &all = test::all_messages();
    const std::uint8_t flags = data[1];
    return message_input{all[data[0] % all.size()],
                         (flags & big_bit) != 0 ? order::big : order::little,
                         (flags & 2) != 0,
                         (flags >> 2u) & 3u,
                         (flags & pack_bit) != 0,
                         static_cast<std::size_t>(flags >> 5u),
                         data[2],
                         {data + head_size, size - head_size}};
}

/// What a target does with an input. `content` is the input's, in a heap block that ends with it.
void examine(const message_input &input, std::span<const std::uint8_t> content);

/// The bytes in a heap block that ends with them, so that nothing behind them is readable.
class exact_copy {
  public:
    exact_copy(std::span<const std::uint8_t> content, std::size_t misalignment)
        : block_(new std::uint8_t[misalignment + content.size()]),
          content_(block_.get() + misalignment, content.size())
    {
        if (!content.empty())
            std::memcpy(block_.get() + misalignment, content.data(), content.size());
    }

    std::span<const std::uint8_t> content() const { return content_; }

  private:
    std::unique_ptr<std::uint8_t[]> block_;
    std::span<const std::uint8_t> content_;
};

} // namespace vorl::fuzz
