// vorl diff, with its options as parsed. As in tools/vorl/commands.h.
#pragma once

#include <string>
#include <vector>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::diff {

struct diff_options {
    std::string a;
    std::string b;
    std::vector<std::string> keys; ///< "MESSAGE=f0,f1"
    bool strict = false;           ///< absent is not zero
    bool any_sender = false;       ///< all frames are as of one sender
    bool as_json = false;
    std::string message; ///< of frames that do not say it: name or identifier
    dump_options form;   ///< of the inputs that are dumps
    std::string labels;
};
int diff(const diff_options &options);

} // namespace vorl::diff
