// Texts and files as the tool reads frames from them.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "inspect/hex.h"
#include "tools/vorl/dumps/read_frames.h"

namespace vorl::test {

/// Each frame as its place and its bytes in hex.
using frames = std::vector<std::pair<std::string, std::string>>;

struct reading_outcome {
    frames found;
    frames_read count;
    std::string notes;
    std::string error; ///< empty: none
};

inline reading_outcome read_dump(const std::string &text, const dump_options &options = {})
{
    std::istringstream in(text);
    std::ostringstream notes;
    reading_outcome outcome;
    try {
        outcome.count = read_frames(
            in, "F", options,
            [&outcome](const std::string &place, const bytes &frame) {
                outcome.found.emplace_back(place, to_hex(frame.data(), frame.size()));
            },
            notes);
    } catch (const dump_error &error) {
        outcome.error = error.what();
    }
    outcome.notes = notes.str();
    return outcome;
}

inline std::string hex_of(const bytes &content) { return to_hex(content.data(), content.size()); }

} // namespace vorl::test
