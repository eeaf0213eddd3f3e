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

void reading::deliver(const std::string &place, bytes frame)
{
    if (frame.size() < options_.skip) {
        ++count_.refused;
        notes_ << place << "the frame has " << frame.size() << " bytes, and --skip takes "
               << options_.skip << " off; give a smaller --skip" << std::endl;
        return;
    }
    ++count_.taken;
    frame.erase(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(options_.skip));
    take_(place, frame);
}

} // namespace vorl::dumps
