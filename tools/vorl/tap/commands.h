// The commands of vorl tap, each with its options as parsed. As in tools/vorl/commands.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/vorl/tap/filter.h"

namespace vorl::tap {

struct export_options {
    std::vector<std::string> inputs; ///< none: the tap's directory
    std::string output = "-";
    bool as_json = false;
    bool follow = false;
    bool redact = false;
    std::string redact_key; ///< empty: one that nobody knows
    filter_options wanted;
    std::string labels;
};
int export_frames(const export_options &options);

struct snapshot_options {
    std::string before = "10s";
    std::string after = "5s";
    export_options how;
};
int snapshot(const snapshot_options &options);

struct switch_options {
    bool on = true;
    std::vector<std::string> messages;
    std::vector<std::uint32_t> destinations;
    std::string directory; ///< this and below; empty: the tap's
};
int switch_tap(const switch_options &options);

struct status_options {
    bool as_json = false;
    std::string directory;
};
int status(const status_options &options);

/// Removes rings of processes that have ended.
int clean(const std::string &directory);

} // namespace vorl::tap
