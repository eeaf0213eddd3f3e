// What is wrong with descriptions: collected while they are read and checked, then shown in the order
// of the files, each with its line and a caret below the place.
//
//   srv6.idl:4:5: error: unknown type 'uint23'; did you mean uint32?
//       4 |     uint23 f0;
//         |     ^~~~~~
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "model.h"

namespace idlc {

/// A description as it was read.
struct source {
    std::string file; ///< as people named it
    std::string text;
};

struct fault {
    struct note {
        position at;
        std::string text;
    };
    std::string file;
    position at;
    std::size_t length; ///< characters from there on that are marked, on one line
    std::string text;   ///< "what is wrong; what to do"
    std::vector<note> notes;
};

class faults {
  public:
    static constexpr std::size_t usually_shown = 20;
    explicit faults(std::size_t most_shown = usually_shown) : most_shown_(most_shown) {}

    void add(const std::string &file, position at, std::size_t length, std::string text)
    {
        if (++count_ <= most_shown_)
            kept_.push_back({file, at, length, std::move(text), {}});
    }
    /// Another place that has to do with the fault that was added last.
    void note(position at, std::string text)
    {
        if (!is_full() || count_ == most_shown_)
            kept_.back().notes.push_back({at, std::move(text)});
    }
    /// Whether a further one would only be counted.
    bool is_full() const { return count_ >= most_shown_; }
    bool none() const { return count_ == 0; }
    std::size_t count() const { return count_; }

    /// All that are kept, in the order of `sources` and of their lines, and how many are not. Ends
    /// with a line feed, unless there are none.
    std::string shown(std::span<const source> sources, bool in_colour) const;

  private:
    std::size_t most_shown_;
    std::size_t count_ = 0;
    std::vector<fault> kept_;
};

} // namespace idlc
