// Which frames of rings and captures a command takes, as its options say it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "capture/frame_filter.h"

namespace vorl::tap {

/// As they stand on the command line; an empty one lets all frames pass.
struct filter_options {
    std::vector<std::string> messages;
    std::vector<std::string> fields;
    std::vector<std::uint32_t> destinations;
    std::vector<std::uint32_t> processes;
    std::vector<std::uint32_t> results;
    std::string direction; ///< "sent", "received"
    std::string verdict;   ///< a name of capture::verdict::kind
    std::string since;
    std::string until;
};

/// --message, --field, --destination, --process, --result, --direction, --verdict.
void add_filter_options(CLI::App &command, filter_options &options);

/// --since, --until.
void add_time_options(CLI::App &command, filter_options &options);

/// The labels (null: none) have to outlive the filter. Throws std::runtime_error, "USER: what; what to do".
capture::frame_filter filter_of(const filter_options &options, const inspect::labels *names,
                                const std::string &user);

} // namespace vorl::tap
