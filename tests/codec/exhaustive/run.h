// One __unpack and the releases after it, by either codec of the library, held against what the
// reference says of the same bytes: record, blocks, log and allocator calls, argument by argument.
// What reference::outcome holds as strings and vectors stays here where the library left it; a case
// is compared in place.
#pragma once

#include <string>
#include <vector>

#include "serial/slot.h"
#include "tests/codec/exhaustive/platform.h"
#include "tests/codec/support/buffers.h"
#include "tests/codec/support/messages.h"

namespace vorl::test::exhaustive {

/// A message as the codecs and whoever links the library know it.
struct subject {
    const message *data;
    std::uint32_t (*unpack)(const void *, std::int32_t, void *);
    void (*free_unpacked)(void *);
    /// Where the record has pointers: of its own vectors, and of those of nested records.
    std::vector<std::uint32_t> pointers;
};

/// All of them, in registration order.
const std::vector<subject> &subjects();

enum class codec {
    exported, ///< __unpack and _free__unpacked: kernels in native byte order, when settled
    plain,    ///< the plain codec, which is told the byte order by the same flags
};
inline const char *name_of(codec c) { return c == codec::exported ? "exported" : "plain"; }

/// What every byte of a record holds before a call.
inline constexpr std::uint8_t dirt = 0xEE;

class run {
  public:
    explicit run(codec which);

    void unpack(const subject &s, const std::uint8_t *buf, std::int32_t len);
    /// Passes the record of the last unpack to the release.
    void release();

    /// Since the last unpack: what the library did is what was expected.
    bool agrees_with(const reference::outcome &expected);
    /// What the library did, to be read beside `text_of` of what was expected.
    std::string text() const;
    /// As reference::unpack_call has it.
    std::uint32_t failed_allocation() const { return calls_.failed_allocation(); }
    const platform_calls &calls() const { return calls_; }
    /// The record, with numbers of blocks in place of addresses.
    bytes record() const;

  private:
    bool agree_in_logs(const reference::outcome &expected) const;
    bool agree_in_memory(const reference::outcome &expected) const;
    void number_blocks(std::uint8_t *record) const;

    codec which_;
    const subject *subject_ = nullptr;
    guarded_buffer memory_;
    std::uint8_t *record_ = nullptr;
    mutable bytes numbered_;
    platform_calls calls_;
};

std::string text_of(const reference::outcome &o);

/// Compares both codecs of the library with the reference, over any number of buffers.
class comparison {
  public:
    /// Reads `len` bytes at `buf`, and releases twice what was read. The side that receives has
    /// this byte order, and is bound. Empty when all agree, else what each did.
    std::string difference(const subject &s, const std::uint8_t *buf, std::uint32_t len, order o);

  private:
    std::string what_differs(const char *step, const run &library,
                             const reference::outcome &expected) const;

    run plain_{codec::plain};
    run exported_{codec::exported};
    reference::unpack_call call_;
};

/// Binds all sides, with this byte order.
void settle(order o);

} // namespace vorl::test::exhaustive
