#include "tools/vorl/library_log.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

// Whoever feeds us damaged frames by the million does not get our memory.
constexpr std::size_t lines_limit = 1000;

std::mutex lock;
std::vector<std::string> lines;

} // namespace

extern "C" {
// Called by the library with the arguments of runtime/serial_ctx.h, log_write_fn.
[[gnu::visibility("default"), gnu::format(printf, 7, 8)]] void
ZDT_OsalLogWrite(const void *ctx, std::uint32_t level, std::uint32_t kind, const char *empty,
                 std::uint32_t line, const char *function, const char *format, ...);
}

void ZDT_OsalLogWrite(const void *, std::uint32_t, std::uint32_t, const char *, std::uint32_t,
                      const char *function, const char *format, ...)
{
    std::array<char, 512> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    const std::lock_guard guard(lock);
    if (lines.size() < lines_limit)
        lines.push_back(std::string(function) + ": " + text.data());
}

std::vector<std::string> vorl::take_library_log()
{
    const std::lock_guard guard(lock);
    return std::exchange(lines, {});
}
