#include "tools/vorl/frame_file.h"

#include <iostream>

#include "tools/vorl/json_lines.h"
#include "tools/vorl/progress.h"

namespace vorl {

bool each_frame(const std::string &file, const dump_options &form,
                const std::function<bool(const std::string &place, const bytes &frame)> &take)
{
    json::input_file input(file);
    bool all_accepted = true;
    progress shown("frames read");
    const frames_read count = read_frames(
        input.stream(), input.name(), form,
        [&](const std::string &place, const bytes &frame) {
            all_accepted = take(place, frame) && all_accepted;
            shown.step();
        },
        std::cerr);
    if (count.taken + count.refused == 0)
        throw std::runtime_error(input.name() + ": holds no bytes; give those of a frame");
    return all_accepted && count.refused == 0;
}

} // namespace vorl
