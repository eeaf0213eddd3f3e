#include "tools/vorl/dumps/reading.h"

#include <ostream>

namespace vorl::dumps {

void reading::note(const std::string &what) { notes_ << "vorl: " << place() << what << std::endl; }

void reading::append(bytes &frame, std::span<const std::uint8_t> more,
                     const std::string &place) const
{
    if (more.size() > options_.largest_frame - frame.size())
        throw dump_error(place + "the frame has more than " +
                         std::to_string(options_.largest_frame) +
                         " bytes, which no message has; give one frame");
    frame.insert(frame.end(), more.begin(), more.end());
}

void reading::deliver(const std::string &place, bytes frame, const capture::frame_facts *facts)
{
    if (frame.size() < options_.skip) {
        leave_out(place + "the frame has " + std::to_string(frame.size()) +
                  " bytes, and --skip takes " + std::to_string(options_.skip) +
                  " off; give a smaller --skip");
        return;
    }
    ++count_.taken;
    frame.erase(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(options_.skip));
    if (facts != nullptr && options_.about)
        options_.about(*facts);
    take_(place, frame);
}

void reading::leave_out(const std::string &place_and_why)
{
    ++count_.refused;
    notes_ << place_and_why << std::endl;
}

void reading::note_cut(std::uint64_t packet, std::uint64_t held, std::uint64_t had)
{
    note("packet " + std::to_string(packet) + ": the capture has " + std::to_string(held) +
         " of its " + std::to_string(had) + " bytes");
}

} // namespace vorl::dumps
