// The platform that the exhaustive comparison runs on: what the library asks of it goes into fixed
// arrays, and memory comes from an arena, so that a call costs little more than the library's own
// work. tests/support/platform.h is the one with every fault; this one has two properties:
//
// - A block of more than block_limit bytes cannot be had. Counts are among what is tried, and the
//   library asks for what a count says before it looks at an element.
// - Behind every block lie bytes that nobody may write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/serial_ctx.h"

namespace vorl::test::exhaustive {

inline constexpr std::uint32_t block_limit = 1U << 20;

struct log_call {
    const serial_ctx *ctx;
    std::uint32_t level;
    std::uint32_t kind;
    std::uint32_t line;
    const char *empty;
    const char *function;
    const char *format;
    char text[160];
};

struct memory_call {
    enum kind_type { cache_allocate, release } kind;
    std::uint32_t size; ///< asked for; 0 in a release
    std::uint32_t id;
    const char *tag;
    std::size_t block; ///< its number, from 1; 0: it could not be had, or is none that was given
};

struct block {
    std::uint8_t *begin;
    std::uint32_t size;
    bool is_released;
};

/// What the library asked for since clear(). One unpack and its releases ask for less than the
/// arrays hold; what is past them ends the program.
class platform_calls {
  public:
    platform_calls();

    /// Forgets everything, and takes all blocks back.
    void clear();
    /// Whether every byte behind a block is as it was.
    bool margins_are_intact() const;
    /// Of the allocations, the number of the one that could not be had, from 1; 0: there was none.
    std::uint32_t failed_allocation() const;

    log_call &add_log();
    void *allocate(std::uint32_t size, std::uint32_t id, const char *tag);
    void release(const void *at, std::uint32_t id, const char *tag);

    static constexpr std::size_t capacity = 16;
    log_call logs[capacity];
    std::size_t log_count = 0;
    memory_call memory[capacity];
    std::size_t memory_count = 0;
    block blocks[capacity];
    std::size_t block_count = 0;

  private:
    static constexpr std::size_t margin = 16;
    static constexpr std::uint8_t fresh = 0xA5;

    std::vector<std::uint8_t> arena_;
    std::size_t used_ = 0;
};

/// Where the library's calls go; set before each.
extern platform_calls *the_calls;

} // namespace vorl::test::exhaustive
