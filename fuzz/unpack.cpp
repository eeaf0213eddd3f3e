// Any bytes, read as any message. What comes out is read to its last byte, packed, read again and
// packed again; both records and both packings must be the same. A record that could not be read
// to its end is a record all the same, as far as it came.
#include <cstdlib>

#include "fuzz/finding.h"
#include "fuzz/message_input.h"
#include "tests/codec/support/library.h"

namespace vorl::fuzz {
namespace {

/// More than this is read and released, but not packed: a few bytes may ask for a thousand times
/// their number (srv6_cfg_query_dfx_rec), which is for a test of its own.
constexpr std::size_t most_to_pack = 1 << 18;

/// A record in a heap block of its exact size.
class record {
  public:
    record(const message &m, std::span<const std::uint8_t> from, std::uint32_t fail_at = 0)
        : message_(m), data_(std::calloc(1, m.record_size))
    {
        test::the_platform().forget_calls();
        test::the_platform().fail_allocation_at = fail_at;
        const std::uint32_t size = test::functions_of(m).unpack(
            from.data(), static_cast<std::int32_t>(from.size()), data_);
        test::the_platform().fail_allocation_at = 0;
        check(size == m.record_size, "__unpack returns another size than its record's");
        for (const test::memory_call &call : test::the_platform().memory)
            allocated_ += call.size;
        is_complete_ = test::the_platform().logs.empty();
    }
    ~record()
    {
        test::functions_of(message_).free_unpacked(data_);
        test::functions_of(message_).free_unpacked(data_);
        std::free(data_);
    }
    record(const record &) = delete;
    record &operator=(const record &) = delete;

    const void *data() const { return data_; }
    std::size_t allocated() const { return allocated_; }
    bool is_complete() const { return is_complete_; } ///< as far as the log tells

  private:
    const message &message_;
    void *data_;
    std::size_t allocated_ = 0;
    bool is_complete_ = false;
};

void same_again(const message &m, const record &first, std::span<const std::uint8_t> from)
{
    const record second(m, from);
    check(second.is_complete(), "the library refuses what it wrote");
    check(test::meaning(m, second.data()) == test::meaning(m, first.data()),
          "another record comes back");
    if (is_fixed_size(m))
        check(std::memcmp(first.data(), second.data(), m.record_size) == 0,
              "records differ in their padding");
}

void round_trip(const message &m, const record &first)
{
    const auto size = reference::measured_size(m, first.data());
    const bytes packed = test::library_pack(m, first.data());
    if (packed.size() != size.value_or(0))
        finding(std::string(name_of(m)) + " is packed to " + std::to_string(packed.size()) +
                " bytes where " + std::to_string(size.value_or(0)) + " are due");
    if (!size)
        return;
    same_again(m, first, packed);
    check(test::library_pack(m, record(m, packed).data()) == packed, "packed again to other bytes");
    const std::vector<bytes> frames = test::sent_batch(m, first.data(), 1);
    check(frames.size() == 1, "not one frame for one record");
    if (is_fixed_size(m)) {
        check(frames[0].size() == catalogue::frame_length(m), "a frame of another length");
        same_again(m, first, exact_copy(frames[0], 0).content());
    } else {
        check(frames[0] == packed, "sent other bytes than packed");
    }
}

} // namespace

void examine(const message_input &input, std::span<const std::uint8_t> content)
{
    const record first(*input.message, content, input.fail_at);
    test::meaning(*input.message, first.data());
    if (first.allocated() <= most_to_pack)
        round_trip(*input.message, first);
}

} // namespace vorl::fuzz
