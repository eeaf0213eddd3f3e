// Records of any message with a different value in every member.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/support/functions.h"

namespace vorl::test {

/// `count` records of one message, one behind the other. Vectors of tables have 2 elements, of
/// large ones 1, vectors of bytes 5. Equal seeds give equal records.
class sample {
  public:
    sample(const vorl::message &message, std::uint32_t seed, std::uint32_t count);

    const void *records() const { return blocks_.front().data(); }

  private:
    std::uint8_t *block(std::size_t size);
    void fill(const vorl::message &message, std::uint8_t *record);
    void fill_bytes(std::uint8_t *to, std::size_t size);

    std::uint32_t next_;
    std::deque<std::vector<std::uint64_t>> blocks_; ///< the records first; of words, for alignment
};

/// Compares two records member by member, what their vectors point to included.
bool same_record(const vorl::message &message, const void *one, const void *other);

/// All messages of all packages, in registration order.
std::vector<const message *> all_messages();

} // namespace vorl::test
