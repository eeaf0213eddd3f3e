// When the next send is to be made.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace vorl::replay {

/// SIGINT and SIGTERM end the program's waiting, and what it has done is told.
void stop_on_signals();
bool is_stopped();

/// Waits as long as lay between the sends that were recorded, divided by a speed.
class recorded_pace {
  public:
    /// 0: it does not wait.
    explicit recorded_pace(double speed) : speed_(speed) {}

    /// How long the wait for a send of that time, in nanoseconds since 1970, will be: none for the first, nor
    /// for one that is late.
    std::chrono::duration<double> wait_for(std::uint64_t time);

    /// False: a signal came.
    bool wait() const;

  private:
    using clock = std::chrono::steady_clock;

    double speed_;
    std::optional<std::uint64_t> first_; ///< time that was recorded
    clock::time_point start_;
    std::chrono::duration<double> due_{}; ///< since the start
};

/// Waits for a line of standard input, or at a terminal for a key. False: there is none any more, a key was
/// q, or a signal came.
class steps {
  public:
    steps();
    ~steps();
    steps(const steps &) = delete;
    steps &operator=(const steps &) = delete;

    bool wait();

  private:
    bool is_terminal_ = false;
};

} // namespace vorl::replay
