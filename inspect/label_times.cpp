#include "inspect/label_times.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdio>

#include "inspect/label_forms.h"
#include "inspect/printable.h"

namespace vorl::inspect {
namespace {

constexpr std::uint64_t seconds_a_day = 86400;
constexpr std::uint64_t end_of_9999 = 253402300800; ///< seconds from 1970

std::uint64_t parts_a_second(unsigned digits)
{
    std::uint64_t parts = 1;
    for (unsigned i = 0; i < digits; ++i)
        parts *= 10;
    return parts;
}

/// "20:44:40.125"
std::string clock_text(std::uint64_t second_of_day, std::uint64_t part, unsigned digits)
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%02" PRIu64 ":%02" PRIu64 ":%02" PRIu64,
                  second_of_day / 3600, second_of_day / 60 % 60, second_of_day % 60);
    std::string result = text.data();
    if (digits != 0) {
        const std::string decimals = std::to_string(part);
        result += '.' + std::string(digits - decimals.size(), '0') + decimals;
    }
    return result;
}

/// What is left of a text to be read. A step that does not fit makes it bad, and later steps with it.
class rest_of_text {
  public:
    explicit rest_of_text(std::string_view text) : text_(text) {}

    /// A number of that many digits; 0: of any number of them from one on.
    std::uint64_t number(std::size_t digits)
    {
        const std::size_t end = text_.find_first_not_of("0123456789");
        const std::size_t size = end == std::string_view::npos ? text_.size() : end;
        std::uint64_t value = 0;
        if (size == 0 || (digits != 0 && size != digits) ||
            std::from_chars(text_.data(), text_.data() + size, value).ec != std::errc())
            is_bad_ = true;
        text_.remove_prefix(size);
        return value;
    }
    void expect(std::string_view part)
    {
        if (text_.starts_with(part))
            text_.remove_prefix(part.size());
        else
            is_bad_ = true;
    }
    /// The clock, in parts of a second.
    std::uint64_t clock(unsigned digits)
    {
        const std::uint64_t hour = number(2);
        expect(":");
        const std::uint64_t minute = number(2);
        expect(":");
        const std::uint64_t second = number(2);
        is_bad_ = is_bad_ || hour > 23 || minute > 59 || second > 59;
        std::uint64_t part = 0;
        if (digits != 0) {
            expect(".");
            part = number(digits);
        }
        return ((hour * 60 + minute) * 60 + second) * parts_a_second(digits) + part;
    }
    bool holds(std::string_view part) const { return text_.find(part) != std::string_view::npos; }
    bool is_read() const { return !is_bad_ && text_.empty(); }

  private:
    std::string_view text_;
    bool is_bad_ = false;
};

[[noreturn]] void refuse(std::string_view text, const std::string &wanted)
{
    throw form_error('"' + printable(text) + "\" is not " + wanted);
}

/// Days and a part of one. False: they do not fit 64 bits.
bool add_days(std::uint64_t days, unsigned digits, std::uint64_t &value)
{
    std::uint64_t parts = 0;
    return !__builtin_mul_overflow(days, seconds_a_day * parts_a_second(digits), &parts) &&
           !__builtin_add_overflow(parts, value, &value);
}

} // namespace

std::optional<unsigned> digits_of_unit(std::string_view unit)
{
    constexpr std::array<std::string_view, 4> units = {"s", "ms", "us", "ns"};
    for (unsigned i = 0; i < units.size(); ++i) {
        if (unit == units[i])
            return 3 * i;
    }
    return std::nullopt;
}

std::optional<std::string> date_text(std::uint64_t value, unsigned digits)
{
    const std::uint64_t seconds = value / parts_a_second(digits);
    if (seconds >= end_of_9999)
        return std::nullopt;
    const std::chrono::sys_days day{
        std::chrono::days(static_cast<std::int32_t>(seconds / seconds_a_day))};
    const std::chrono::year_month_day date{day};
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data() +
           clock_text(seconds % seconds_a_day, value % parts_a_second(digits), digits) + 'Z';
}

std::uint64_t read_date(std::string_view text, unsigned digits)
{
    rest_of_text rest(text);
    const std::uint64_t year = rest.number(4);
    rest.expect("-");
    const std::uint64_t month = rest.number(2);
    rest.expect("-");
    const std::uint64_t day = rest.number(2);
    rest.expect("T");
    std::uint64_t value = rest.clock(digits);
    rest.expect("Z");
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year)),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!rest.is_read() || !date.ok() || year < 1970)
        refuse(text, "a time in UTC from 1970 on; give one such as " + *date_text(0, digits) +
                         ", or the number");
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    if (!add_days(static_cast<std::uint64_t>(days), digits, value))
        refuse(text, "within 64 bits; give an earlier time");
    return value;
}

std::string duration_text(std::uint64_t value, unsigned digits)
{
    const std::uint64_t seconds = value / parts_a_second(digits);
    const std::uint64_t days = seconds / seconds_a_day;
    return (days == 0 ? "" : std::to_string(days) + "d ") +
           clock_text(seconds % seconds_a_day, value % parts_a_second(digits), digits);
}

std::uint64_t read_duration(std::string_view text, unsigned digits)
{
    rest_of_text rest(text);
    std::uint64_t days = 0;
    if (rest.holds("d ")) {
        days = rest.number(0);
        rest.expect("d ");
    }
    std::uint64_t value = rest.clock(digits);
    if (!rest.is_read())
        refuse(text, "a duration; give one such as " + duration_text(0, digits) + " or 3d " +
                         duration_text(0, digits) + ", or the number");
    if (!add_days(days, digits, value))
        refuse(text, "within 64 bits; give a shorter time");
    return value;
}

} // namespace vorl::inspect
