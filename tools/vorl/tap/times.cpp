#include "tools/vorl/tap/times.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>

#include "inspect/printable.h"

namespace vorl::tap {
namespace {

constexpr std::uint64_t a_second = 1'000'000'000;
constexpr std::uint64_t last_second =
    18'000'000'000; // the year 2540, within 64 bits of nanoseconds
constexpr std::uint64_t most_seconds = 10'000'000'000; // the year 2286: nanoseconds fit 64 bits

/// "12.5" as nanoseconds; false: it is no such number.
bool parse_seconds(std::string_view text, std::uint64_t &to)
{
    std::uint64_t seconds = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc() || seconds > most_seconds)
        return false;
    to = seconds * a_second;
    if (stop == end)
        return true;
    std::uint64_t place = a_second;
    if (*stop != '.')
        return false;
    for (const char *at = stop + 1; at != end; ++at) {
        if (*at < '0' || *at > '9')
            return false;
        place /= 10;
        to += static_cast<std::uint64_t>(*at - '0') * place;
    }
    return true;
}

} // namespace

std::string time_text(std::uint64_t nanoseconds)
{
    const auto seconds = static_cast<std::time_t>(nanoseconds / a_second);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%09uZ",
                  parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                  parts.tm_min, parts.tm_sec, static_cast<unsigned>(nanoseconds % a_second));
    return text.data();
}

std::uint64_t parse_time(const std::string &text)
{
    std::uint64_t time = 0;
    if (parse_seconds(text, time))
        return time;
    std::tm parts{};
    const char *const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:", &parts);
    std::string_view seconds = rest == nullptr ? "" : rest;
    if (seconds.ends_with('Z'))
        seconds.remove_suffix(1);
    const int day = parts.tm_mday;
    const std::time_t minutes = rest == nullptr ? -1 : timegm(&parts);
    // timegm takes November 31 for December 1.
    if (minutes < 0 || minutes > static_cast<std::time_t>(last_second) || parts.tm_mday != day ||
        !parse_seconds(seconds, time) || time >= 61 * a_second)
        throw std::runtime_error(
            "vorl: \"" + printable(text) +
            "\" is no time; give one such as 2026-11-21T23:59:52.5Z, or seconds "
            "since 1970");
    return static_cast<std::uint64_t>(minutes) * a_second + time;
}

std::uint64_t parse_duration(const std::string &text)
{
    struct unit {
        std::string_view name;
        std::uint64_t times;
        std::uint64_t parts;
    };
    static constexpr unit units[] = {{"ms", 1, 1000}, {"us", 1, 1'000'000}, {"s", 1, 1},
                                     {"m", 60, 1},    {"h", 3600, 1},       {"", 1, 1}};
    for (const unit &u : units) {
        if (!text.ends_with(u.name))
            continue;
        std::uint64_t time = 0;
        if (!parse_seconds(std::string_view(text).substr(0, text.size() - u.name.size()), time) ||
            time > most_seconds * a_second / 3600)
            break;
        return time * u.times / u.parts;
    }
    throw std::runtime_error("vorl: \"" + printable(text) +
                             "\" is no duration; give one such as 10s, 250ms, 2m or 1h");
}

std::uint64_t present_time()
{
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

} // namespace vorl::tap
