// All messages, in registration order, and records of any message by its slots.
#pragma once

#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/reference/reference.h"
#include "tests/support/functions.h"

namespace vorl::test {

using reference::bytes;
using reference::order;

inline constexpr order both_orders[] = {order::little, order::big};
using vorl::name_of;
inline const char *name_of(order o) { return o == order::little ? "little" : "big"; }

/// All that have facts; that all of them have is a test of its own (facts_test.cpp).
const std::vector<const message *> &all_messages();
/// Those of fixed size.
const std::vector<const message *> &fixed_messages();

const message &message_named(const std::string &name);

/// Seeded alike everywhere: a failure repeats.
using random_source = std::mt19937_64;

/// A record of any message on the heap, with the memory of its vectors.
class sample {
  public:
    /// `fill` in every byte of the record, and in `behind` bytes behind it.
    explicit sample(const message &m, std::uint8_t fill = 0, std::size_t behind = 0);
    sample(sample &&) = default;

    /// Every scalar and every element 0, or all ones; vectors empty, or of `elements` elements.
    static sample zeros(const message &m, std::uint32_t elements = 0);
    static sample ones(const message &m, std::uint32_t elements = 2);
    /// A quarter of the scalars 0; vectors of up to `most_elements` elements; padding as given.
    static sample random(const message &m, random_source &random, std::uint32_t most_elements = 3,
                         std::uint8_t padding = 0);

    const message &type() const { return *message_; }
    void *data() { return words_.data(); }
    const void *data() const { return words_.data(); }
    std::uint8_t *at(std::size_t offset) { return static_cast<std::uint8_t *>(data()) + offset; }

    /// Gives a vector slot so many elements, zeroed; returns the first.
    std::uint8_t *set_vector(const vorl::slot &slot, std::uint8_t *record, std::uint32_t count);

  private:
    template <class Value>
    void fill(const message &m, std::uint8_t *record, Value &&value, std::uint32_t elements,
              bool elements_are_most);

    const message *message_;
    std::vector<std::uint64_t> words_;
    std::deque<std::vector<std::uint64_t>> blocks_;
};

/// What a record says, without addresses and padding: two records are alike when this is.
bytes meaning(const message &m, const void *record);

} // namespace vorl::test
