#include "inspect/labels.h"

#include "inspect/did_you_mean.h"
#include "inspect/labels_toml.h"

namespace vorl::inspect {
namespace {

constexpr std::int64_t version = 1;
// A dotted key makes a table inside a table for each of its full stops.
constexpr std::ptrdiff_t most_full_stops_a_line = 64;

void read_message(const catalogue::message_info &info, const toml::table &table, labels_file &file)
{
    std::map<std::string, std::string> names; // to the slot that has it
    for (const entry &e : entries_of(table)) {
        const std::size_t slot = catalogue::find_slot(info, e.key);
        if (slot == info.slots.size()) {
            file.problems.push_back(
                {e.at.line, std::string(name_of(info.data)) + ": " + quoted(e.key) +
                                " is no slot; the message has " + catalogue::slot_range(info)});
            continue;
        }
        std::optional<label> read = read_slot(info, slot, e, file.problems);
        if (!read)
            continue;
        if (!read->name.empty()) {
            const auto [of, is_new] = names.emplace(read->name, e.key);
            if (!is_new) {
                file.problems.push_back({e.at.line, std::string(name_of(info.data)) + "." +
                                                        of->second + " and " + std::string(e.key) +
                                                        ": both are named " + read->name +
                                                        "; give each its own name"});
                continue;
            }
        }
        file.right.set(info.data, slot, std::move(*read));
    }
}

void read_messages(const std::vector<entry> &entries, labels_file &file)
{
    std::vector<std::string_view> names;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            names.emplace_back(name_of(info.data));
    }
    for (const entry &e : entries) {
        if (e.key == "version")
            continue;
        const catalogue::message_info *const info = catalogue::find_message(e.key);
        if (info == nullptr)
            file.problems.push_back(
                {e.at.line, quoted(e.key) + " is no message; " +
                                did_you_mean_or(e.key, names, "'vorl list' shows them all")});
        else if (const toml::table *const table = e.value->as_table())
            read_message(*info, *table, file);
        else
            file.problems.push_back({e.at.line, std::string(e.key) + " is " +
                                                    kind_of_value(*e.value) + "; give a table, [" +
                                                    std::string(e.key) + "]"});
    }
}

/// What must not come before the parser.
std::optional<labels_problem> too_large(std::string_view text)
{
    if (text.size() > longest_labels_file)
        return labels_problem{1, "the file is longer than 1 MiB; leave out what is no label"};
    std::size_t line = 1;
    std::ptrdiff_t full_stops = 0;
    for (const char c : text) {
        if (c == '\n') {
            ++line;
            full_stops = 0;
        } else if (c == '.' && ++full_stops > most_full_stops_a_line) {
            return labels_problem{line, "the line has more than " +
                                            std::to_string(most_full_stops_a_line) +
                                            " full stops; make it shorter"};
        }
    }
    return std::nullopt;
}

} // namespace

labels_file read_labels(std::string_view text)
{
    labels_file file;
    if (auto problem = too_large(text)) {
        file.problems.push_back(std::move(*problem));
        return file;
    }
    try {
        const toml::table root = toml::parse(text);
        const toml::node *const given = root.get("version");
        if (given == nullptr)
            file.problems.push_back({1, "no version is given; write version = 1 at the top"});
        else if (given->value_exact<std::int64_t>() != version)
            file.problems.push_back(
                {given->source().begin.line,
                 "the version is not 1, the one that is read here; write version = 1, or take a "
                 "vorl that reads it"});
        else
            read_messages(entries_of(root), file);
    } catch (const toml::parse_error &error) {
        const std::size_t line = std::max<std::size_t>(error.source().begin.line, 1);
        std::string what = printable(error.description());
        std::replace(what.begin(), what.end(), ';', ',');
        file.problems.push_back({line, "not TOML: " + what + "; correct it"});
    }
    std::stable_sort(file.problems.begin(), file.problems.end(),
                     [](const auto &a, const auto &b) { return a.line < b.line; });
    return file;
}

} // namespace vorl::inspect
