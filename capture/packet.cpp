#include "capture/packet.h"

#include <algorithm>
#include <array>

#include "capture/little_endian.h"

namespace vorl::capture {
namespace {

constexpr std::uint8_t version = 1;
constexpr std::uint32_t common_header = 8;

constexpr std::array<std::uint8_t, 12> all_tags = {0,   12,  0,   4,   //
                                                   'v', 'o', 'r', 'l', //
                                                   0,   0,   0,   0};
constexpr std::array<std::uint8_t, 4> magic = {'V', 'O', 'R', 'L'};

/// Where the members of a header are.
enum member : std::uint8_t {
    version_at = 4,
    kind_at = 5,
    header_length_at = 6,
    direction_at = 8,
    known_at = 9,
    process_at = 12,
    thread_at = 16,
    destination_at = 20,
    handle_at = 24,
    identifier_at = 32,
    result_at = 36,
    length_at = 40,
    kept_at = 44,
    number_at = 48,
    part_at = 56,
    index_at = 60,
    of_send_at = 64,
    described_at = 8,
    slots_at = 12,
};

bytes head(packet_kind kind, std::uint32_t length)
{
    bytes all(all_tags.size() + length);
    std::copy(all_tags.begin(), all_tags.end(), all.begin());
    std::uint8_t *const header = all.data() + all_tags.size();
    std::copy(magic.begin(), magic.end(), header);
    header[version_at] = version;
    header[kind_at] = static_cast<std::uint8_t>(kind);
    store_integer(header + header_length_at, length, 2);
    return all;
}

void parse_frame(std::span<const std::uint8_t> header, packet &to)
{
    const auto at = [header](member where, std::size_t width) {
        return load_integer(header.data() + where, width);
    };
    const auto word = [&at](member where) { return static_cast<std::uint32_t>(at(where, 4)); };
    if (header[direction_at] != 1 && header[direction_at] != 2)
        throw capture_error("its direction is " + std::to_string(header[direction_at]) +
                            ", and there are 1, sent, and 2, received; it is damaged, so capture "
                            "again");
    to.facts.way = static_cast<direction>(header[direction_at]);
    to.facts.known = header[known_at];
    to.facts.process = word(process_at);
    to.facts.thread = word(thread_at);
    to.facts.destination = word(destination_at);
    to.facts.handle = at(handle_at, 8);
    to.facts.identifier = word(identifier_at);
    to.facts.result = word(result_at);
    to.facts.length = word(length_at);
    to.facts.number = at(number_at, 8);
    to.facts.index = word(index_at);
    to.facts.of_send = word(of_send_at);
    to.kept = word(kept_at);
    to.part_at = word(part_at);
    if (to.kept > to.facts.length)
        throw capture_error("it keeps " + std::to_string(to.kept) + " bytes of a frame of " +
                            std::to_string(to.facts.length) + "; it is damaged, so capture again");
}

} // namespace

std::span<const std::uint8_t> tags() { return all_tags; }

bytes frame_head(const frame_facts &facts, std::uint32_t kept, std::uint32_t part)
{
    bytes all = head(packet_kind::frame, frame_header);
    std::uint8_t *const header = all.data() + all_tags.size();
    header[direction_at] = static_cast<std::uint8_t>(facts.way);
    header[known_at] = facts.known;
    store_integer(header + process_at, facts.process, 4);
    store_integer(header + thread_at, facts.thread, 4);
    store_integer(header + destination_at, facts.destination, 4);
    store_integer(header + handle_at, facts.handle, 8);
    store_integer(header + identifier_at, facts.identifier, 4);
    store_integer(header + result_at, facts.result, 4);
    store_integer(header + length_at, facts.length, 4);
    store_integer(header + kept_at, kept, 4);
    store_integer(header + number_at, facts.number, 8);
    store_integer(header + part_at, part, 4);
    store_integer(header + index_at, facts.index, 4);
    store_integer(header + of_send_at, facts.of_send, 4);
    return all;
}

bytes description_head(std::uint32_t identifier, std::uint32_t slots)
{
    bytes all = head(packet_kind::description, description_header);
    store_integer(all.data() + all_tags.size() + described_at, identifier, 4);
    store_integer(all.data() + all_tags.size() + slots_at, slots, 4);
    return all;
}

std::optional<packet> parse_packet(std::span<const std::uint8_t> content)
{
    if (content.size() < all_tags.size() ||
        !std::equal(all_tags.begin(), all_tags.end(), content.begin()))
        return std::nullopt;
    const auto header = content.subspan(all_tags.size());
    if (header.size() < common_header || !std::equal(magic.begin(), magic.end(), header.begin()))
        throw capture_error("it has the tag of a captured frame, and no header behind it; it is "
                            "damaged, so capture again");
    if (header[version_at] != version)
        throw capture_error("its header is of version " + std::to_string(header[version_at]) +
                            ", and this vorl reads version 1; use a newer vorl");
    packet found;
    found.kind = static_cast<packet_kind>(header[kind_at]);
    const auto length = static_cast<std::uint32_t>(load_integer(&header[header_length_at], 2));
    const std::uint32_t least = found.kind == packet_kind::frame         ? frame_header
                                : found.kind == packet_kind::description ? description_header
                                                                         : common_header;
    if (length < least || length > header.size())
        throw capture_error("its header has " + std::to_string(length) +
                            " bytes, and what is "
                            "possible is " +
                            std::to_string(least) + " to " + std::to_string(header.size()) +
                            "; it is damaged, so capture again");
    found.rest = header.subspan(length);
    if (found.kind == packet_kind::frame) {
        parse_frame(header, found);
        if (found.part_at > found.kept || found.rest.size() > found.kept - found.part_at)
            throw capture_error("its bytes go past the " + std::to_string(found.kept) +
                                " that are kept; it is damaged, so capture again");
    } else if (found.kind == packet_kind::description) {
        found.identifier = static_cast<std::uint32_t>(load_integer(&header[described_at], 4));
        found.slots = static_cast<std::uint32_t>(load_integer(&header[slots_at], 4));
    }
    return found;
}

} // namespace vorl::capture
