// Memory at whose edges the process may not read, and bytes as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vorl::test {

/// A buffer at whose ends, before and behind, the process may not read.
class guarded_buffer {
  public:
    explicit guarded_buffer(std::size_t capacity);
    ~guarded_buffer();
    guarded_buffer(const guarded_buffer &) = delete;
    guarded_buffer &operator=(const guarded_buffer &) = delete;

    /// A copy of `content` whose last byte is the last one readable.
    const std::uint8_t *holding(std::span<const std::uint8_t> content);
    /// A copy of `content` whose first byte is the first one readable.
    const std::uint8_t *beginning_with(std::span<const std::uint8_t> content);
    /// `size` bytes of memory, all `fill`, that end there.
    std::uint8_t *space(std::size_t size, std::uint8_t fill);

  private:
    std::uint8_t *begin_;
    std::size_t size_; ///< of what is readable; as much before it is not
    std::size_t mapped_;
};

/// Zeroed memory that costs nothing until it is written to.
class sparse_memory {
  public:
    explicit sparse_memory(std::size_t size);
    ~sparse_memory();
    sparse_memory(const sparse_memory &) = delete;
    sparse_memory &operator=(const sparse_memory &) = delete;
    std::uint8_t *data() const { return data_; }

  private:
    std::uint8_t *data_;
    std::size_t size_;
};

/// "00 00 00 04 FF", 16 to a line.
std::string hex(std::span<const std::uint8_t> content);

} // namespace vorl::test
