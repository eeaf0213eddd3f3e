#include "tools/vorl/dumps/frame_start.h"

namespace vorl::dumps {
namespace {

std::uint32_t half_at(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return bytes[at] | static_cast<std::uint32_t>(bytes[at + 1]) << 8;
}

std::uint32_t word_at(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return half_at(bytes, at) | half_at(bytes, at + 2) << 16;
}

constexpr std::uint32_t root_of_frame = 4;
constexpr std::uint32_t longest_vtable = 0xFFFF;

} // namespace

bool begins_frame(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < 8)
        return false;
    const std::uint32_t root = word_at(bytes, 0);
    if (root == root_of_frame)
        return half_at(bytes, 6) == 0xFFFF;
    return root > root_of_frame + 4 && root <= root_of_frame + longest_vtable &&
           half_at(bytes, 4) == root - root_of_frame;
}

bool has_vtable_last(std::span<const std::uint8_t> bytes)
{
    return word_at(bytes, 0) == root_of_frame;
}

bool holds_root_table(std::span<const std::uint8_t> bytes)
{
    const std::uint64_t size = bytes.size();
    const std::uint64_t table = word_at(bytes, 0);
    if (table + 4 > size)
        return false;
    const std::uint32_t vtable =
        static_cast<std::uint32_t>(table) - word_at(bytes, static_cast<std::size_t>(table));
    if (std::uint64_t{vtable} + 4 > size)
        return false;
    return vtable + half_at(bytes, vtable) <= size && table + half_at(bytes, vtable + 2) <= size;
}

} // namespace vorl::dumps
