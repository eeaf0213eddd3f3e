// A file of frames, in any form that people have them in.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "serial/slot.h"
#include "tools/vorl/dumps/read_frames.h"

namespace vorl {

using identifier_or_none = std::optional<std::uint32_t>;

/// What the user says of the frames of a file.
struct frame_naming {
    /// Their message. A capture that says itself what its frames are (docs/capture.md) gives those of this
    /// identifier, and the others are left out.
    identifier_or_none given;
    /// False: the caller does without knowing the message.
    bool is_needed = true;
};

/// No message was named, and the file does not say what its frames are.
class message_not_named : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A frame, with the identifier that was given, or else that the file says it is of. False: it is
/// refused, which was said.
using take_file_frame = std::function<bool(const std::string &place, const bytes &frame,
                                           identifier_or_none identifier)>;

/// Calls `take` for each frame of the file, "-" for standard input. False: a frame was refused. Throws
/// std::runtime_error when the file cannot be read, or holds none; where there is none, and nobody said
/// what it would be, message_not_named.
bool each_frame(const std::string &file, const dump_options &form, const frame_naming &naming,
                const take_file_frame &take);

/// The identifier, where there is one. Throws message_not_named.
std::uint32_t named_or_throw(identifier_or_none identifier, const std::string &place);

/// The message of that identifier. Throws message_not_named, or std::runtime_error where there is none.
const message &message_of(identifier_or_none identifier, const std::string &place);

} // namespace vorl
