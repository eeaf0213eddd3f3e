#include "capture/pcapng_write.h"

#include <algorithm>
#include <limits>

#include "capture/little_endian.h"
#include "capture/packet.h"
#include "capture/pcapng_format.h"

namespace vorl::capture {
namespace {

using namespace pcapng;

constexpr std::size_t longest_text = 0xFFFF; // of an option

void pad(bytes &to) { to.resize((to.size() + 3) / 4 * 4); }

void option(bytes &to, std::uint16_t code, std::string_view text)
{
    text = text.substr(0, longest_text);
    append(to, code, 2);
    append(to, text.size(), 2);
    append(to, text);
    pad(to);
}

void option(bytes &to, std::uint16_t code, std::uint64_t value, std::size_t width)
{
    append(to, code, 2);
    append(to, width, 2);
    append(to, value, width);
    pad(to);
}

void end_of_options(bytes &to) { append(to, 0, 4); }

/// The content of a block with what a block has around it.
bytes whole_block(block type, const bytes &content)
{
    const std::size_t length = content.size() + block_overhead;
    bytes all;
    all.reserve(length);
    append(all, type, 4);
    append(all, length, 4);
    all.insert(all.end(), content.begin(), content.end());
    append(all, length, 4);
    return all;
}

/// Times are two words, the upper one first.
void append_time(bytes &to, std::uint64_t time)
{
    append(to, time >> 32, 4);
    append(to, time, 4);
}

std::string in_words(const counters &of)
{
    const auto text = [](std::uint64_t number) { return std::to_string(number); };
    return text(of.seen) + " seen, " + text(of.overwritten) + " overwritten, " + text(of.dropped) +
           " dropped, " + text(of.given) + " here";
}

} // namespace

pcapng_writer::pcapng_writer(byte_sink to, const std::string &application) : to_(std::move(to))
{
    bytes content;
    append(content, byte_order_magic, 4);
    append(content, 1, 2); // version 1.0
    append(content, 0, 2);
    append(content, std::numeric_limits<std::uint64_t>::max(),
           8); // length of the section: not said
    option(content, section_application, application);
    end_of_options(content);
    to_(whole_block(section_header, content));
}

std::uint32_t pcapng_writer::add_interface(const process_facts &from)
{
    bytes content;
    append(content, link_type, 2);
    append(content, 0, 2);
    append(content, longest_packet, 4);
    option(content, interface_name, "process " + std::to_string(from.process));
    if (!from.command.empty())
        option(content, interface_text, from.command);
    option(content, time_resolution, nanoseconds, 1);
    end_of_options(content);
    to_(whole_block(interface_description, content));
    return interfaces_++;
}

void pcapng_writer::packet(std::uint32_t interface, std::uint64_t time, const bytes &head,
                           std::span<const std::uint8_t> rest, std::uint64_t original,
                           const bytes &options)
{
    constexpr std::uint64_t longest_original = std::numeric_limits<std::uint32_t>::max();
    bytes content;
    content.reserve(64 + head.size() + rest.size());
    append(content, interface, 4);
    append_time(content, time);
    append(content, head.size() + rest.size(), 4);
    append(content, std::min(head.size() + original, longest_original), 4);
    content.insert(content.end(), head.begin(), head.end());
    content.insert(content.end(), rest.begin(), rest.end());
    pad(content);
    content.insert(content.end(), options.begin(), options.end());
    option(content, packet_id, packet_id_, 8);
    end_of_options(content);
    to_(whole_block(enhanced_packet, content));
}

void pcapng_writer::add(std::uint32_t interface, const frame &f)
{
    const auto kept = static_cast<std::uint32_t>(f.kept.size());
    std::uint32_t at = 0;
    do {
        const std::uint32_t size = std::min(kept - at, longest_part);
        const bool is_last = at + size == kept;
        bytes options;
        option(options, packet_flags, f.facts.way == direction::received ? 1 : 2, 4);
        option(options, packet_drops, at == 0 ? f.facts.lost : 0, 8);
        packet(interface, f.facts.time, frame_head(f.facts, kept, at), {f.kept.data() + at, size},
               is_last ? f.facts.length - at : size, options);
        at += size;
    } while (at < kept);
    ++packet_id_;
}

void pcapng_writer::describe(std::uint32_t interface, std::uint64_t time, const bytes &description)
{
    packet(interface, time, description, {}, 0, {});
    ++packet_id_;
}

void pcapng_writer::count(std::uint32_t interface, std::uint64_t time, const counters &of)
{
    bytes content;
    append(content, interface, 4);
    append_time(content, time);
    option(content, comment, in_words(of));
    option(content, frames_seen, of.seen, 8);
    option(content, frames_dropped, of.dropped, 8);
    option(content, frames_overwritten, of.overwritten, 8);
    option(content, frames_given, of.given, 8);
    end_of_options(content);
    to_(whole_block(interface_statistics, content));
}

} // namespace vorl::capture
