#include "tools/vorl/progress.h"

#include <cstdio>
#include <utility>

#include <unistd.h>

namespace vorl {
namespace {

constexpr auto quiet = std::chrono::seconds(1);
constexpr auto pause = std::chrono::milliseconds(100);

} // namespace

progress::progress(std::string done)
    : done_(std::move(done)), is_shown_(isatty(STDERR_FILENO) == 1 && isatty(STDOUT_FILENO) != 1),
      next_(clock::now() + quiet)
{}

progress::~progress()
{
    if (is_on_line_)
        std::fputs("\r\033[K", stderr);
}

void progress::look()
{
    const auto now = clock::now();
    if (now < next_)
        return;
    next_ = now + pause;
    is_on_line_ = true;
    std::fprintf(stderr, "\r%llu %s\033[K", static_cast<unsigned long long>(count_), done_.c_str());
}

} // namespace vorl
