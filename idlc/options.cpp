#include "options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "words.h"

namespace idlc {
namespace {

bool is_for_terminal(const std::string &colour)
{
    if (colour != "auto")
        return colour == "always";
    const auto given = [](const char *name) {
        const char *const value = std::getenv(name);
        return value == nullptr ? std::string() : std::string(value);
    };
    return isatty(STDERR_FILENO) == 1 && given("NO_COLOR").empty() && given("TERM") != "dumb";
}

} // namespace

bool arguments::next()
{
    if (at_ == given_.size())
        return false;
    text_ = given_[at_++];
    if (!are_names_only_ && text_ == "--") {
        are_names_only_ = true;
        return next();
    }
    is_option_ = !are_names_only_ && text_.size() > 1 && text_[0] == '-';
    has_value_ = false;
    if (const std::size_t equals = text_.find('='); is_option_ && equals != std::string::npos) {
        value_ = text_.substr(equals + 1);
        has_value_ = true;
        text_.resize(equals);
    }
    return true;
}

std::string arguments::value()
{
    if (has_value_)
        return value_;
    if (at_ == given_.size())
        throw usage_error(text_ + " needs a value; write it behind");
    return given_[at_++];
}

std::size_t arguments::number(std::size_t least, std::size_t most)
{
    const std::string option = text_;
    const std::string text = value();
    std::size_t result = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, result);
    if (text.empty() || error != std::errc() || stop != end || result < least || result > most)
        throw usage_error(option + " takes no " + quoted(text) + "; give a number from " +
                          std::to_string(least) + " to " + std::to_string(most));
    return result;
}

std::string arguments::choice(std::span<const std::string_view> choices)
{
    const std::string option = text_;
    const std::string text = value();
    if (std::find(choices.begin(), choices.end(), text) != choices.end())
        return text;
    std::string all;
    for (const std::string_view c : choices)
        all += (all.empty() ? "" : ", ") + std::string(c);
    throw usage_error(option + " takes no " + quoted(text) + "; give one of " + all);
}

void arguments::refuse_value() const
{
    if (has_value_)
        throw usage_error(text_ + " takes no value; leave '=" + value_ + "' out");
}

void arguments::refuse() const
{
    throw usage_error(quoted(text_) + " is no option; " +
                      meant(text_, known_, "--help tells which there are"));
}

bool showing::take(arguments &from)
{
    static constexpr std::string_view colours[] = {"auto", "always", "never"};
    if (from.text() == "--color")
        colour = from.choice(colours);
    else if (from.text() == "--max-errors")
        most = from.number(1, 100000);
    else
        return false;
    return true;
}

void showing::show(const faults &found, std::span<const source> sources) const
{
    std::fputs(found.shown(sources, is_for_terminal(colour)).c_str(), stderr);
}

int refuse_call(const std::string &command, const std::string &what)
{
    std::fprintf(stderr, "%s: %s\n'%s --help' tells how it is called\n", command.c_str(),
                 what.c_str(), command.c_str());
    return status_usage;
}

} // namespace idlc
