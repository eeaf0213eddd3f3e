#include "capture/pcapng_read.h"

#include <algorithm>
#include <array>
#include <limits>

#include "capture/pcapng_format.h"
#include "inspect/integers.h"

namespace vorl::capture {
namespace {

using namespace pcapng;

constexpr std::uint32_t section_content = 16; ///< least bytes of it, and so below
constexpr std::uint32_t interface_content = 8;
constexpr std::uint32_t packet_content = 20;
/// Of blocks other than packets, which hold texts.
constexpr std::uint32_t largest_other = 1 << 20;
constexpr std::size_t most_interfaces = 65'536;
constexpr std::uint16_t longest_text = 512; // that is kept of an interface

std::uint64_t padded(std::uint64_t size) { return (size + 3) / 4 * 4; }

} // namespace

void pcapng_reader::refuse(const std::string &why) const
{
    throw capture_error("packet " + std::to_string(packets_ + 1) + ": " + why);
}

std::uint64_t pcapng_reader::number(std::uint64_t at, std::size_t width) const
{
    std::array<std::uint8_t, 8> word{};
    std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(at), width, word.begin());
    if (is_swapped_)
        std::reverse(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(width));
    return load_integer(word.data(), width);
}

void pcapng_reader::take(std::uint64_t length, char *to)
{
    in_.read(to, static_cast<std::streamsize>(length));
    const auto got = static_cast<std::uint64_t>(in_.gcount());
    if (got < length)
        refuse("the file breaks off in its block, " + std::to_string(length - got) +
               " bytes before an end; what is before it was read, so capture again for the rest");
}

std::optional<pcapng_reader::block_head> pcapng_reader::read_head()
{
    if (in_.peek() == std::istream::traits_type::eof())
        return std::nullopt;
    block_.resize(8);
    take(8, reinterpret_cast<char *>(block_.data()));
    block_head head{static_cast<std::uint32_t>(number(0, 4)), 0};
    if (head.type == section_header) {
        // Its own byte order is in it, behind the length.
        block_.resize(12);
        take(4, reinterpret_cast<char *>(block_.data() + 8));
        is_swapped_ = false;
        if (number(8, 4) != byte_order_magic) {
            is_swapped_ = true;
            if (number(8, 4) != byte_order_magic)
                refuse("a section begins without its byte order; it is no pcapng file, or damaged");
        }
    } else if (!has_section_) {
        refuse("the file begins with no section; it is no pcapng file, or damaged");
    }
    const auto whole = static_cast<std::uint32_t>(number(4, 4));
    const std::uint32_t least =
        block_overhead + (head.type == section_header ? section_content : 0);
    if (whole < least || whole % 4 != 0)
        refuse("a block says that it has " + std::to_string(whole) +
               " bytes, which no block has; the file is damaged there, so capture again");
    head.length = whole - block_overhead;
    return head;
}

void pcapng_reader::read_content(std::uint32_t length)
{
    // A piece at a time: memory only for bytes that there are.
    constexpr std::uint32_t piece = 1 << 18;
    block_.clear();
    for (std::uint32_t at = 0; at < length;) {
        const std::uint32_t size = std::min(length - at, piece);
        block_.resize(at + size);
        take(size, reinterpret_cast<char *>(block_.data() + at));
        at += size;
    }
}

void pcapng_reader::skip(std::uint32_t length)
{
    std::array<char, 65536> piece{};
    for (std::uint32_t at = 0; at < length;) {
        const auto size = std::min<std::uint32_t>(length - at, piece.size());
        take(size, piece.data());
        at += size;
    }
}

void pcapng_reader::read_end(const block_head &head)
{
    block_.resize(4);
    take(4, reinterpret_cast<char *>(block_.data()));
    if (number(0, 4) != std::uint64_t{head.length} + block_overhead)
        refuse("a block of " + std::to_string(head.length + block_overhead) +
               " bytes ends as one of " + std::to_string(number(0, 4)) +
               "; the file is damaged there, so capture again");
}

template <class Take>
void pcapng_reader::options(std::uint64_t at, Take take_one) const
{
    while (at + 4 <= block_.size()) {
        const auto code = static_cast<std::uint16_t>(number(at, 2));
        const auto size = static_cast<std::uint16_t>(number(at + 2, 2));
        at += 4;
        if (code == 0 || size > block_.size() - at)
            return; // what is behind a damaged option is not worth the packet
        take_one(code, at, size);
        at += padded(size);
    }
}

void pcapng_reader::section(std::uint32_t length)
{
    constexpr std::uint32_t magic = 4; // which was read with the head
    constexpr std::uint32_t major = 2;
    has_section_ = true;
    first_interface_ = interfaces_.size();
    read_content(major);
    if (number(0, major) != 1)
        refuse("it is pcapng of version " + std::to_string(number(0, major)) +
               ", and this vorl reads version 1; save it as that");
    skip(length - magic - major);
}

void pcapng_reader::interface()
{
    if (block_.size() < interface_content || interfaces_.size() == most_interfaces)
        refuse("the description of an interface is too short, or of one too many; the file is "
               "damaged there, so capture again");
    pcapng_interface found;
    found.link = static_cast<std::uint16_t>(number(0, 2));
    found.longest = static_cast<std::uint32_t>(number(4, 4));
    options(interface_content, [&](std::uint16_t code, std::uint64_t at, std::uint16_t size) {
        const auto begin = block_.begin() + static_cast<std::ptrdiff_t>(at);
        const std::string text(begin, begin + std::min(size, longest_text));
        if (code == interface_name)
            found.name = text;
        else if (code == interface_text)
            found.text = text;
        else if (code == time_resolution && size == 1)
            found.resolution = block_[at];
        else if (code == time_offset && size == 8)
            found.offset = static_cast<std::int64_t>(number(at, 8));
    });
    interfaces_.push_back(std::move(found));
}

void pcapng_reader::statistics()
{
    const std::size_t index =
        block_.size() < 12 ? interfaces_.size() : first_interface_ + number(0, 4);
    if (index >= interfaces_.size())
        refuse("statistics of an interface that is not described; the file is damaged there, so "
               "capture again");
    counters found;
    options(12, [&](std::uint16_t code, std::uint64_t at, std::uint16_t size) {
        if (size != 8)
            return;
        const std::uint64_t value = number(at, 8);
        if (code == frames_seen)
            found.seen = value;
        else if (code == frames_dropped)
            found.dropped = value;
        else if (code == frames_overwritten)
            found.overwritten = value;
        else if (code == frames_given)
            found.given = value;
    });
    interfaces_[index].counted = found;
}

std::uint64_t pcapng_reader::in_nanoseconds(std::uint64_t units, const pcapng_interface &of) const
{
    constexpr unsigned binary = 0x80;
    constexpr std::uint64_t a_second = 1'000'000'000;
    __extension__ using wide = unsigned __int128;
    wide time = units;
    if ((of.resolution & binary) != 0) {
        time = time * a_second >> (of.resolution & 0x7FU);
    } else {
        for (unsigned i = of.resolution; i < nanoseconds; ++i)
            time *= 10;
        for (unsigned i = nanoseconds; i < of.resolution && time != 0; ++i)
            time /= 10;
    }
    return static_cast<std::uint64_t>(time) + static_cast<std::uint64_t>(of.offset) * a_second;
}

pcapng_packet pcapng_reader::packet(block_head head)
{
    const bool is_simple = head.type == simple_packet;
    const std::uint32_t before = is_simple ? 4 : packet_content;
    if (head.length < before)
        refuse("its block has no room for what a packet begins with; the file is damaged there, so "
               "capture again");
    if (head.length - before > largest_packet_ + largest_other)
        refuse("the frame has more than " + std::to_string(largest_packet_) +
               " bytes, which no message has; give one frame");
    read_content(head.length);
    pcapng_packet found;
    found.number = packets_ + 1;
    std::uint64_t index = is_simple ? 0 : number(0, 4);
    if (head.type == old_packet) {
        index = number(0, 2);
        found.lost = number(2, 2) == 0xFFFF ? 0 : number(2, 2);
    }
    if (index >= interfaces_.size() - first_interface_)
        refuse("it is of interface " + std::to_string(index) +
               ", which is not described before it; the file is damaged there, so capture again");
    found.interface = first_interface_ + index;
    const pcapng_interface &of = interfaces_[found.interface];
    std::uint64_t size = 0;
    if (is_simple) {
        found.original = number(0, 4);
        size = std::min<std::uint64_t>(found.original, head.length - before);
        if (of.longest != 0)
            size = std::min<std::uint64_t>(size, of.longest);
    } else {
        found.time = in_nanoseconds(number(4, 4) << 32 | number(8, 4), of);
        size = number(12, 4);
        found.original = number(16, 4);
    }
    if (size > head.length - before)
        refuse("it has " + std::to_string(size) + " bytes in a block with room for " +
               std::to_string(head.length - before) +
               "; the file is damaged there, so capture again");
    if (size > largest_packet_)
        refuse("the frame has more than " + std::to_string(largest_packet_) +
               " bytes, which no message has; give one frame");
    if (!is_simple) {
        options(before + padded(size), [&](std::uint16_t code, std::uint64_t at, std::uint16_t n) {
            if (code == packet_drops && n == 8)
                found.lost = number(at, 8);
        });
    }
    const auto content = block_.begin() + before;
    found.content.assign(content, content + static_cast<std::ptrdiff_t>(size));
    return found;
}

std::optional<pcapng_packet> pcapng_reader::next()
{
    while (const std::optional<block_head> head = read_head()) {
        std::optional<pcapng_packet> found;
        switch (head->type) {
        case section_header: section(head->length); break;
        case enhanced_packet:
        case old_packet:
        case simple_packet: found = packet(*head); break;
        case interface_description:
        case interface_statistics:
            if (head->length > largest_other)
                refuse("a description of " + std::to_string(head->length) +
                       " bytes; the file is damaged there, so capture again");
            read_content(head->length);
            if (head->type == interface_description)
                interface();
            else
                statistics();
            break;
        default: skip(head->length);
        }
        read_end(*head);
        if (found) {
            ++packets_;
            return found;
        }
    }
    return std::nullopt;
}

} // namespace vorl::capture
