// Records to measure with: any message, any number, the same in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>
#include <random>
#include <vector>

#include "serial/slot.h"

namespace vorl::bench {

enum class pattern : uint8_t {
    dense,    ///< D: no member is zero
    one_zero, ///< O: the first member is zero, no other
    patterns, ///< T: one of eight patterns of zero members, at random
    sparse,   ///< Z: each member is zero with probability one half
};

// What is measured sees data through copies of these: plain values, which stay in registers across a
// call, as the buffers of a program's own loop would.

/// Records that lie behind one another.
struct record_view {
    const uint8_t *base;
    size_t size;

    const uint8_t *at(uint64_t i) const { return base + i * size; }
};

struct encoding_view {
    struct place {
        const uint8_t *at;
        uint64_t length;
    };
    const place *places;

    const uint8_t *at(uint64_t i) const { return places[i].at; }
    uint32_t length(uint64_t i) const { return static_cast<uint32_t>(places[i].length); }
};

struct ring_view {
    uint8_t *base;
    size_t stride;
    uint64_t mask;

    uint8_t *at(uint64_t i) const { return base + (i & mask) * stride; }
};

/// Zeroed memory from the start of a page on, `offset` bytes into it. What is read starts at 0 and
/// what is written at `away_from_sources`: a load whose address ends like that of a store in flight
/// waits for it.
class pages {
  public:
    static constexpr size_t away_from_sources = 2048;

    explicit pages(size_t bytes, size_t offset = 0);

    uint8_t *begin() const { return block_.get() + offset_; }

  private:
    struct release {
        void operator()(uint8_t *block) const { free(block); }
    };
    std::unique_ptr<uint8_t, release> block_;
    size_t offset_;
};

class record_set {
  public:
    /// Vectors have `elements` elements.
    record_set(const vorl::message &message, pattern zeros, uint32_t count, uint32_t elements = 4);
    record_set(const record_set &) = delete;
    record_set &operator=(const record_set &) = delete;

    const message &type() const { return message_; }
    uint32_t count() const { return count_; }
    uint8_t *at(uint64_t i) { return base_ + i * message_.record_size; }
    const uint8_t *at(uint64_t i) const { return base_ + i * message_.record_size; }
    record_view view() const { return {base_, message_.record_size}; }

  private:
    void fill(const vorl::message &message, uint8_t *record, uint32_t elements);
    uint8_t *block(size_t size);
    bool is_zero();
    uint64_t value(size_t width);

    const message &message_;
    pattern zeros_;
    uint32_t count_;
    std::deque<pages> blocks_;
    uint8_t *base_;
    std::mt19937_64 random_;
    uint64_t masks_[8];
    uint64_t mask_ = 0; ///< of the record being filled
    uint32_t member_ = 0;
};

/// Encoded records, each from a multiple of 16 on.
class encodings {
  public:
    void add(const uint8_t *bytes, size_t size);

    uint64_t count() const { return places_.size(); }
    const uint8_t *at(uint64_t i) const { return view().at(i); }
    uint32_t length(uint64_t i) const { return view().length(i); }
    uint32_t longest() const { return longest_; }
    bool equally_long() const { return longest_ == shortest_; }
    double mean_length() const
    {
        return static_cast<double>(bytes_) / static_cast<double>(places_.size());
    }
    /// Until the next add.
    encoding_view view() const { return {places_.data()}; }

  private:
    static constexpr size_t block_size = 1 << 20;

    std::deque<pages> blocks_;
    size_t left_ = 0; ///< of the last block
    uint8_t *next_ = nullptr;
    std::vector<encoding_view::place> places_;
    uint64_t bytes_ = 0;
    uint32_t longest_ = 0;
    uint32_t shortest_ = UINT32_MAX;
};

/// How many records, encodings or buffers of `bytes` bytes to go round: none is read or written again
/// soon, and all of them stay in the nearest caches.
inline uint32_t round_of(size_t bytes) { return bytes <= 4096 ? 32 : 8; }

/// Buffers to write to in turn.
class ring {
  public:
    explicit ring(size_t bytes) : ring(bytes, round_of(bytes)) {}
    /// `count` is a power of two.
    ring(size_t bytes, uint32_t count)
        : stride_((bytes + 63) / 64 * 64), mask_(count - 1),
          buffers_(count * stride_, pages::away_from_sources)
    {}
    uint8_t *at(uint64_t i) const { return view().at(i); }
    ring_view view() const { return {buffers_.begin(), stride_, mask_}; }

  private:
    size_t stride_;
    uint64_t mask_;
    pages buffers_;
};

} // namespace vorl::bench
