// A labels file's TOML, for the two that read it: its tables in the order of the file, and its slots.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Labels nest three deep. The parser is recursive, and so is the release of what it made.
#define TOML_MAX_NESTED_VALUES 16
#include <toml++/toml.h>

#include "catalogue/catalogue.h"
#include "inspect/labels.h"
#include "inspect/printable.h"

namespace vorl::inspect {

inline std::string quoted(std::string_view text) { return '"' + printable(text) + '"'; }

inline std::string kind_of_value(const toml::node &value)
{
    switch (value.type()) {
    case toml::node_type::table: return "a table";
    case toml::node_type::array: return "an array";
    case toml::node_type::string: return "a text";
    case toml::node_type::integer: return "a number";
    default: return "neither a text nor a whole number";
    }
}

struct entry {
    std::string_view key;
    const toml::node *value;
    toml::source_position at;
};

/// In the order of the file.
inline std::vector<entry> entries_of(const toml::table &table)
{
    std::vector<entry> entries;
    for (const auto &[key, value] : table)
        entries.push_back({key.str(), &value, key.source().begin});
    std::stable_sort(entries.begin(), entries.end(),
                     [](const entry &a, const entry &b) { return a.at < b.at; });
    return entries;
}

/// The label that a slot's table gives. Nothing: something is wrong with it, which is then among the
/// problems.
std::optional<label> read_slot(const catalogue::message_info &info, std::size_t slot,
                               const entry &given, std::vector<labels_problem> &problems);

} // namespace vorl::inspect
