// Any bytes, read as any message by the library and by the reference of tests/reference/: records,
// logs and memory must agree, releasing included; then what the record packs to and what the bus is
// handed for it.
#include "fuzz/finding.h"
#include "fuzz/message_input.h"
#include "tests/codec/support/library.h"

namespace vorl::fuzz {
namespace {

/// The reference grows its blocks one by one and compares them; past this it would do little else.
constexpr std::size_t longest_to_compare = longest_input;

void compare_writing(const message_input &input, std::span<const std::uint8_t> content)
{
    const message &m = *input.message;
    const test::unpacked u(m, content.data(), static_cast<std::int32_t>(content.size()), 0,
                           input.fail_at);
    const auto size = reference::measured_size(m, u.record());
    const bytes packed = test::library_pack(m, u.record());
    if (!size) {
        check(packed.empty(), "a count without a pointer is packed");
        return;
    }
    check(packed == reference::pack(m, u.record(), input.byte_order), "packed to other bytes");
    const std::vector<bytes> frames = test::sent_batch(m, u.record(), 1);
    const bytes expected =
        is_fixed_size(m) ? reference::frame(m, u.record(), input.byte_order) : packed;
    check(frames == std::vector<bytes>{expected}, "the bus is handed other bytes");
}

} // namespace

void examine(const message_input &input, std::span<const std::uint8_t> content)
{
    if (content.size() > longest_to_compare)
        return;
    const std::string difference = test::reading_difference(
        *input.message, content, input.byte_order, input.fill, input.fail_at);
    if (!difference.empty())
        finding(std::string(name_of(*input.message)) + '\n' + difference);
    if (input.packs)
        compare_writing(input, content);
}

} // namespace vorl::fuzz
