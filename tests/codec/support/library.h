// The library's functions, run and told in the words of the reference: see reference::outcome.
#pragma once

#include <memory>
#include <ostream>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "tests/codec/support/buffers.h"
#include "tests/codec/support/messages.h"
#include "tests/support/platform.h"

namespace vorl::test {

/// As __unpack takes it.
inline std::int32_t length_of(const bytes &b) { return static_cast<std::int32_t>(b.size()); }

/// What the library did beside what was expected, as `print` tells it; empty when they are the same.
template <class What>
std::string difference_by(void (&print)(std::ostream &, const What &), const What &library,
                          const What &expected)
{
    if (library == expected)
        return {};
    std::ostringstream text;
    text << "the library:\n";
    print(text, library);
    text << "expected:\n";
    print(text, expected);
    return text.str();
}
std::string difference(const reference::outcome &library, const reference::outcome &expected);

/// One __unpack by the library. The record is released when this goes.
class unpacked {
  public:
    /// The record holds `fill` before the call.
    unpacked(const message &m, const void *buf, std::int32_t len, std::uint8_t fill = 0xEE,
             std::uint32_t fail_allocation_at = 0);
    /// With a null record.
    static reference::outcome into_null(const message &m, const void *buf, std::int32_t len);
    ~unpacked();
    unpacked(const unpacked &) = delete;
    unpacked &operator=(const unpacked &) = delete;

    const reference::outcome &what() const { return outcome_; }
    const void *record() const { return record_.data(); }
    /// Passes the record to _free__unpacked; what() grows.
    void release();

  private:
    void take_calls();
    /// Once a block, as soon as it is there: memset_s of all of it, or memcpy_s from the bytes.
    void expect_bounded_calls() const;

    const message &message_;
    std::uintptr_t bytes_at_;
    std::uint32_t bytes_len_;
    std::uint8_t fill_;
    sample record_;
    std::vector<void *> blocks_;
    reference::outcome outcome_;
};

/// The call of `unpacked` by the reference.
reference::outcome expected_unpack(const message &m, std::span<const std::uint8_t> buffer,
                                   order byte_order, std::uint8_t fill = 0xEE,
                                   std::uint32_t fail_allocation_at = 0,
                                   std::set<std::uint64_t> *edges = nullptr);

/// Reads `buffer` with both, then releases twice with both. Empty when they did the same at every
/// step. A record that was left untouched is not released: what it holds is not a record.
std::string reading_difference(const message &m, std::span<const std::uint8_t> buffer,
                               order byte_order, std::uint8_t fill = 0xEE,
                               std::uint32_t fail_allocation_at = 0);
/// The same where what the reference makes of the buffer is known.
std::string reading_difference(const message &m, std::span<const std::uint8_t> buffer,
                               reference::outcome expected, std::uint8_t fill,
                               std::uint32_t fail_allocation_at);

/// A line each.
void print_calls(std::ostream &to, const std::vector<reference::log_event> &logs,
                 const std::vector<reference::memory_event> &memory);

enum class side { receive, send };

/// The log calls since the platform last forgot: all of the block that this side of the message's
/// package logs through, or the test fails.
std::vector<reference::log_event> take_logs(const message &m, side s);

/// __pack into memory of exactly the measured size; empty when it was refused.
bytes library_pack(const message &m, const void *record);
inline bytes library_pack(const sample &record)
{
    return library_pack(record.type(), record.data());
}

/// The frames that the bus was handed for these records, by __sendsingle or __sendbatch.
bytes sent_single(const message &m, const void *record);
std::vector<bytes> sent_batch(const message &m, const void *records, std::uint32_t count);

} // namespace vorl::test
