// What is compared: a frame, or an object of JSON, as it was read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "capture/frame.h"

namespace vorl::diff {

struct item {
    std::string place;      ///< in its input: "packet 12", "line 3"; empty: all of it
    bool has_facts = false; ///< those of a capture; of others the next two are not known
    capture::direction way = capture::direction::sent;
    std::uint32_t process = 0;
    std::uint32_t identifier = 0;
    std::uint32_t length = 0; ///< of a frame, of which `content` may be the beginning
    bool is_text = false;     ///< `content` is a line of JSON, and not the bytes of a frame
    std::string content;

    /// About how much memory it takes.
    std::uint64_t size() const { return sizeof(item) + 48 + place.size() + content.size(); }
};

/// For a file that this process writes and reads.
void append(std::string &to, const item &i);
/// The item that `from` begins with, which is taken off it.
item take_item(std::string_view &from);

} // namespace vorl::diff
