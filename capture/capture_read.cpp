#include "capture/capture_read.h"

#include <utility>

#include "capture/adopt.h"

namespace vorl::capture {
namespace {

/// Many times the messages that there are, so that a damaged or hostile file does not fill the memory.
constexpr std::size_t most_descriptions = 4096;

} // namespace

void capture_reader::refuse(std::uint64_t packet, const std::string &why)
{
    ++refused_;
    note_("packet " + std::to_string(packet) + ": " + why);
}

void capture_reader::drop_parts(const std::string &why)
{
    if (!parts_)
        return;
    refuse(parts_->packet, "it begins a frame of which " + std::to_string(wanted_) +
                               " bytes are kept, and only " +
                               std::to_string(parts_->found.kept.size()) + " are here: " + why);
    parts_.reset();
}

std::optional<captured> capture_reader::take_part(const pcapng_packet &p, const packet &part)
{
    if (part.part_at == 0) {
        drop_parts("the packets behind it are of another frame; save all of its packets");
        parts_ = captured{p.number, p.interface, true, {part.facts, {}}};
        parts_->found.facts.time = p.time;
        parts_->found.facts.lost = p.lost;
        wanted_ = part.kept;
    }
    const bool continues = parts_ && parts_->found.facts.process == part.facts.process &&
                           parts_->found.facts.number == part.facts.number &&
                           parts_->found.kept.size() == part.part_at && wanted_ == part.kept;
    if (!continues) {
        refuse(p.number, "it goes on with a frame at byte " + std::to_string(part.part_at) +
                             ", and the packet before it does not; save all packets of a frame");
        return std::nullopt;
    }
    bytes &kept = parts_->found.kept;
    kept.insert(kept.end(), part.rest.begin(), part.rest.end());
    if (kept.size() < wanted_ && !part.rest.empty())
        return std::nullopt;
    if (kept.size() < wanted_) {
        drop_parts("a packet of it has no bytes; it is damaged, so capture again");
        return std::nullopt;
    }
    std::optional<captured> whole = std::move(parts_);
    parts_.reset();
    return whole;
}

std::optional<captured> capture_reader::take(pcapng_packet &&p)
{
    const std::optional<packet> found =
        interfaces()[p.interface].link == link_type ? parse_packet(p.content) : std::nullopt;
    if (!found) {
        captured foreign{p.number, p.interface, false, {}};
        foreign.found.facts.time = p.time;
        foreign.found.facts.length = static_cast<std::uint32_t>(p.original);
        foreign.found.kept = std::move(p.content);
        return foreign;
    }
    switch (found->kind) {
    case packet_kind::frame:
        if (found->kept > largest_frame_)
            throw capture_error("the frame has more than " + std::to_string(largest_frame_) +
                                " bytes, which no message has; give one frame");
        return take_part(p, *found);
    case packet_kind::description:
        if (descriptions_.size() == most_descriptions && !descriptions_.contains(found->identifier))
            throw capture_error("there are more descriptions than messages can be; the file is "
                                "damaged, so capture again");
        ++described_;
        adopt(descriptions_.insert_or_assign(found->identifier, to_description(*found))
                  .first->second);
        break;
    default: ++unknown_;
    }
    return std::nullopt;
}

std::optional<pcapng_packet> capture_reader::next_packet()
{
    constexpr const char *file_ends = "the file ends there; capture again";
    try {
        std::optional<pcapng_packet> p = packets_.next();
        if (!p)
            drop_parts(file_ends);
        return p;
    } catch (const capture_error &) {
        drop_parts(file_ends);
        throw;
    }
}

std::optional<captured> capture_reader::next()
{
    while (std::optional<pcapng_packet> p = next_packet()) {
        const std::uint64_t number = p->number;
        try {
            if (std::optional<captured> found = take(std::move(*p)))
                return found;
        } catch (const capture_error &error) {
            refuse(number, error.what());
        }
    }
    if (unknown_ != 0 && !std::exchange(unknown_told_, true))
        note_(std::to_string(unknown_) + " packets are of kinds that this vorl does not know; a "
                                         "newer vorl reads them");
    return std::nullopt;
}

} // namespace vorl::capture
