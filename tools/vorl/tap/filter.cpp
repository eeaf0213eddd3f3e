#include "tools/vorl/tap/filter.h"

#include <optional>

#include "tools/vorl/find_message.h"
#include "tools/vorl/tap/times.h"

namespace vorl::tap {
namespace {

using namespace capture;

std::optional<verdict::kind> verdict_of(const std::string &name)
{
    for (const auto kind : {verdict::kind::accepted, verdict::kind::refused, verdict::kind::cut,
                            verdict::kind::unknown}) {
        if (name == capture::name_of(kind))
            return kind;
    }
    return std::nullopt;
}

} // namespace

frame_filter filter_of(const filter_options &options, const inspect::labels *names,
                       const std::string &user)
{
    frame_filter filter;
    for (const std::string &message : options.messages)
        filter.messages.insert(identifier_or_throw(message));
    filter.destinations = {options.destinations.begin(), options.destinations.end()};
    filter.processes = {options.processes.begin(), options.processes.end()};
    filter.results = {options.results.begin(), options.results.end()};
    if (!options.direction.empty())
        filter.way = options.direction == "sent" ? direction::sent : direction::received;
    filter.outcome = verdict_of(options.verdict);
    if (!options.since.empty())
        filter.since = parse_time(options.since);
    if (!options.until.empty())
        filter.until = parse_time(options.until);
    const std::vector<std::uint32_t> messages(filter.messages.begin(), filter.messages.end());
    for (const std::string &field : options.fields) {
        try {
            filter.fields.emplace_back(field, messages, names);
        } catch (const filter_error &error) {
            throw std::runtime_error(user + ": --field " + json::printable(field) + ": " +
                                     error.what());
        }
    }
    return filter;
}

void add_filter_options(CLI::App &command, filter_options &options)
{
    command
        .add_option("--message", options.messages,
                    "Only frames of these messages: names, or any identifiers")
        ->allow_extra_args(false);
    command
        .add_option("--field", options.fields,
                    "Only frames whose record has this: f5=2001:db8::/32, f1.f6=48, "
                    "locator_length=48; all of them if there are more")
        ->allow_extra_args(false);
    command.add_option("--destination", options.destinations, "Only frames sent to these")
        ->allow_extra_args(false);
    command.add_option("--process", options.processes, "Only frames of these processes")
        ->allow_extra_args(false);
    command
        .add_option("--result", options.results,
                    "Only frames that were sent with these results of the bus")
        ->allow_extra_args(false);
    command.add_option("--direction", options.direction, "Only frames that were sent, or received")
        ->check(CLI::IsMember({"sent", "received"}));
    command
        .add_option("--verdict", options.verdict,
                    "Only frames that a receiver accepts, or refuses; that are not whole; or whose "
                    "message nobody knows")
        ->check(CLI::IsMember({"accepted", "refused", "cut", "unknown"}));
}

void add_time_options(CLI::App &command, filter_options &options)
{
    command.add_option(
        "--since", options.since,
        "Only frames from this time on: 2026-11-21T23:59:52Z, or seconds since 1970");
    command.add_option("--until", options.until, "Only frames up to this time");
}

} // namespace vorl::tap
