// Passes a log through as it is, and puts explanations under the lines that are the library's.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/log_explain.h"

namespace vorl {

/// Takes a log in pieces of any size. Its memory is bounded, whatever the lines are:
///
///     a line     |............................................................|
///     looked at  |<----------- window ----------->|
///                                       |<----------- window ----------->|
///                                         ...                      |<-------->|
///                                       overlap
///
/// A text is found in the window in which it begins before the middle of the overlap, or else in the
/// next; what stands around it is known for half an overlap at least.
class log_filter {
  public:
    static constexpr std::size_t window = 1 << 16;
    static constexpr std::size_t overlap = 1 << 13;
    /// In one line; a remark says that there are more.
    static constexpr std::size_t most_explanations = 20;

    struct style {
        bool as_json = false; ///< explanations alone, an object a line
        bool in_colour = false;
    };
    using sink = std::function<void(std::string_view)>;
    /// Takes what the JSON form has no place for: the number of a line, and what is to be said of it.
    using remark = std::function<void(std::size_t, const std::string &)>;

    log_filter(style as, sink out, remark remarks)
        : style_(as), out_(std::move(out)), remark_(std::move(remarks))
    {}

    void feed(std::string_view bytes);
    /// The log ends here, perhaps without a newline.
    void finish();

    /// How many texts were explained.
    std::size_t explained() const { return explained_; }

  private:
    void hold(std::string_view part);
    void look(std::string_view line, std::size_t from, std::size_t to);
    void end_line(bool has_newline);
    void write_below(const std::string &lines, bool has_newline);

    style style_;
    sink out_;
    remark remark_;
    std::string held_;     ///< of a line of which the end is not there
    std::size_t from_ = 0; ///< what begins before it in `held_` has been found
    std::vector<inspect::log_finding> found_;
    bool has_more_ = false; ///< than most_explanations
    std::size_t line_ = 1;
    std::size_t explained_ = 0;
};

} // namespace vorl
