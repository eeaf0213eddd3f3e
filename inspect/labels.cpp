#include "inspect/labels.h"

#include "inspect/did_you_mean.h"
#include "inspect/labels_toml.h"

namespace vorl::inspect {
namespace {

constexpr std::int64_t version = 1;
// A dotted key makes a table inside a table for each of its full stops.
constexpr std::size_t most_full_stops_a_line = 64;

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

/// What must not come before the parser, which is recursive and not safe with letters that are not
/// ASCII outside of texts. Such letters in comments are replaced.
class preparation {
  public:
    explicit preparation(std::string &text) : text_(text) {}

    std::optional<labels_problem> run()
    {
        if (text_.size() > longest_labels_file)
            return labels_problem{1, "the file is longer than 1 MiB; leave out what is no label"};
        std::size_t line = 1;
        for (std::size_t at = 0; at < text_.size(); ++line) {
            const std::size_t end = std::min(text_.find('\n', at), text_.size());
            if (const char *const what = check_line(at, end))
                return labels_problem{line, what};
            at = end + 1;
        }
        return std::nullopt;
    }

  private:
    /// Null: nothing is wrong.
    const char *check_line(std::size_t at, std::size_t end)
    {
        std::size_t full_stops = 0;
        std::size_t quotes = 0;
        std::size_t single_quotes = 0;
        for (; at < end; ++at) {
            const char c = text_[at];
            // A # between quotes opens no comment.
            if (c == '#' && quotes % 2 == 0 && single_quotes % 2 == 0) {
                std::replace_if(text_.begin() + static_cast<std::ptrdiff_t>(at),
                                text_.begin() + static_cast<std::ptrdiff_t>(end), is_not_ascii,
                                '?');
                return nullptr;
            }
            if (is_not_ascii(c))
                return "the line has a letter that is not ASCII outside of a comment; replace it";
            quotes += c == '"' ? 1 : 0;
            single_quotes += c == '\'' ? 1 : 0;
            full_stops += c == '.' ? 1 : 0;
            if (full_stops > most_full_stops_a_line)
                return "the line has more than 64 full stops; make it shorter";
        }
        return nullptr;
    }
    static bool is_not_ascii(char c) { return static_cast<unsigned char>(c) >= 0x80; }

    std::string &text_;
};

} // namespace

labels_file read_labels(std::string text)
{
    labels_file file;
    if (auto problem = preparation(text).run()) {
        file.problems.push_back(std::move(*problem));
        return file;
    }
    try {
        const toml::table root = toml::parse(std::string_view(text));
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
