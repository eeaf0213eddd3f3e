// Members that are to be others in the frames that are replayed, as a file of JSON lines says it:
//
//   {"message":"srv6_localsid_fwd","set":{"f6":64}}
//   {"number":17,"process":4711,"set":{"f5":"2001:db8::1"}}
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "capture/frame.h"
#include "inspect/labels.h"
#include "tools/vorl/json_node.h"

namespace vorl::replay {

class edits {
  public:
    /// None.
    edits() = default;
    /// All of the file. Throws unreadable, or wrong_usage, "FILE:LINE: MEMBER: what is wrong; what to do".
    /// The labels (null: none) have to outlive this.
    edits(const std::string &file, const inspect::labels *names);

    /// The bytes of the frame as it is to be; nothing: none of these is about it. Throws
    /// json::input_error where that cannot be.
    std::optional<capture::bytes> apply(const capture::frame &to);

    /// "FILE:LINE: no frame was that; what to do", of each edit that was about no frame so far.
    std::vector<std::string> unused() const;

  private:
    struct edit {
        std::size_t line = 0;
        std::optional<std::uint32_t> message; ///< identifier
        std::optional<std::uint64_t> number;
        std::optional<std::uint64_t> process;
        json::node set; ///< an object
        bool is_used = false;
    };

    void add(const std::string &text, std::size_t line);
    void take(edit &to, const json::node &member) const;
    std::string place(const edit &of) const;
    std::vector<edit *> about(const capture::frame_facts &facts);

    std::string file_;
    const inspect::labels *names_ = nullptr;
    std::vector<edit> all_;
    /// Places in all_, in its order: of edits with a number by that, of others by their message.
    std::unordered_map<std::uint64_t, std::vector<std::size_t>> by_number_;
    std::unordered_map<std::uint32_t, std::vector<std::size_t>> by_message_;
};

} // namespace vorl::replay
