// vorl replay, with its options as parsed. As in tools/vorl/commands.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/vorl/tap/filter.h"

namespace vorl::replay {

struct replay_options {
    std::string file;
    tap::filter_options wanted; ///< without a direction: what was sent
    double speed = 1;
    bool fast = false; ///< none of these two: at recorded pace
    bool step = false;
    bool dry_run = false;
    bool force = false;
    std::optional<std::uint32_t> dest; ///< instead of the recorded ones
    double wait_seconds = 0;
    std::string edits; ///< a file; empty: none
    std::string labels;
};
int replay(const replay_options &options);

} // namespace vorl::replay
