// How far a long work has come, for whoever waits for it at a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace vorl {

/// Writes to standard error when that is a terminal and standard output is not, which would mix with
/// it; nothing in the first second, then a line that it overwrites ten times a second, and that it
/// takes away at the end.
class progress {
  public:
    /// `done` is what is counted: "frames read".
    explicit progress(std::string done);
    ~progress();
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    void step()
    {
        // The clock is looked at now and then: a step may take less than asking it.
        if (is_shown_ && ++count_ % steps_a_look == 0)
            look();
    }

  private:
    static constexpr std::uint64_t steps_a_look = 64;

    void look();

    using clock = std::chrono::steady_clock;
    std::string done_;
    bool is_shown_;
    bool is_on_line_ = false;
    std::uint64_t count_ = 0;
    clock::time_point next_;
};

} // namespace vorl
