#include "tools/vorl/replay/pace.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

namespace vorl::replay {
namespace {

constexpr std::chrono::duration<double> longest_sleep{0.1}; // how long a signal may go unnoticed
constexpr double longest_time = 1e9;                        // seconds; a clock has room for it

volatile std::sig_atomic_t stop_requested = 0;
termios before_steps; // as the terminal was

} // namespace

void stop_on_signals()
{
    struct sigaction action {};
    action.sa_handler = [](int) { stop_requested = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool is_stopped() { return stop_requested != 0; }

std::chrono::duration<double> recorded_pace::wait_for(std::uint64_t time)
{
    if (!first_) {
        first_ = time;
        start_ = clock::now();
    }
    if (speed_ == 0 || time <= *first_)
        return due_ = {};
    due_ = std::chrono::duration<double>(
        std::min(static_cast<double>(time - *first_) / 1e9 / speed_, longest_time));
    const std::chrono::duration<double> left = due_ - (clock::now() - start_);
    return std::max(left, std::chrono::duration<double>{});
}

bool recorded_pace::wait() const
{
    for (;;) {
        if (is_stopped())
            return false;
        const std::chrono::duration<double> left = due_ - (clock::now() - start_);
        if (left.count() <= 0)
            return true;
        std::this_thread::sleep_for(std::min(left, longest_sleep));
    }
}

steps::steps() : is_terminal_(tcgetattr(STDIN_FILENO, &before_steps) == 0)
{
    if (!is_terminal_)
        return;
    termios by_key = before_steps;
    by_key.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &by_key);
}

steps::~steps()
{
    if (is_terminal_)
        tcsetattr(STDIN_FILENO, TCSANOW, &before_steps);
}

bool steps::wait()
{
    for (;;) {
        char read_now = 0;
        const ssize_t count = is_stopped() ? 0 : read(STDIN_FILENO, &read_now, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0 || (is_terminal_ && read_now == 'q'))
            return false;
        if (is_terminal_ || read_now == '\n')
            return true;
    }
}

} // namespace vorl::replay
