// Other addresses instead of those in frames, the same for the same, so that a capture may leave the site.
#pragma once

#include <array>

#include "capture/frame.h"
#include "inspect/labels.h"
#include "serial/slot.h"

namespace vorl::capture {

/// Two addresses that have their first n bits in common have them in common afterwards. An address keeps
/// the zeros at its end, with the one before them: a prefix is as long as it was, and :: is ::.
class redactor {
  public:
    using key = std::array<std::uint64_t, 2>;

    /// Of this key the same addresses become the same.
    explicit redactor(const key &by) : key_(by) {}
    /// Of a key that nobody knows.
    redactor();

    /// Replaces the addresses of a frame that a receiver of `m` accepts: values of array<uint32, 4>,
    /// array<uint8, 16> and array<uint8, 6>, unless a label says that they are something else, and
    /// what a label says is an address. Bytes that nothing of `m` leads to become zero. Of a frame whose
    /// message is not known (null) or that is refused, no byte is kept.
    void redact(frame &f, const message *m, const inspect::labels *names) const;

    /// Replaces the first `count` bits, the most significant bit of each byte first.
    void replace(std::uint8_t *address, std::size_t count) const;

  private:
    key key_;
};

} // namespace vorl::capture
