// idlc compat OLD NEW: what differs between two versions of descriptions.
#include "commands.h"

#include <algorithm>
#include <cstdio>

#include "compat.h"
#include "compat_report.h"
#include "files.h"
#include "options.h"
#include "read_labels.h"
#include "revision.h"

namespace idlc {
namespace {

struct compat_options {
    showing faults_are;
    bool is_json = false;
    strictness strict = strictness::wire;
    std::string revision;
    std::vector<std::string> labels; ///< none, or of the old version and of the new
    std::vector<std::string> paths;
};

compat_options read_options(std::span<const std::string> given)
{
    static constexpr std::string_view strict[] = {"wire", "api", "all"};
    compat_options options;
    arguments from(given, {"--json", "--strict", "--revision", "--labels", "--color",
                           "--max-errors", "--help"});
    while (from.next()) {
        if (!from.is_option()) {
            options.paths.push_back(from.text());
        } else if (from.text() == "--json") {
            from.refuse_value();
            options.is_json = true;
        } else if (from.text() == "--strict") {
            const std::string chosen = from.choice(strict);
            options.strict = chosen == "wire"  ? strictness::wire
                             : chosen == "api" ? strictness::api
                                               : strictness::all;
        } else if (from.text() == "--revision") {
            options.revision = from.value();
        } else if (from.text() == "--labels") {
            from.refuse_value();
            options.labels = {from.value(), from.value()};
        } else if (!options.faults_are.take(from)) {
            from.refuse();
        }
    }
    if (options.revision.empty() && options.paths.size() != 2)
        throw usage_error("two versions are compared; name the old one and the new one");
    if (!options.revision.empty() && options.paths.empty())
        throw usage_error("no description is named; name those that are to be compared with the "
                          "revision");
    return options;
}

void add_all(std::vector<source> &to, const std::vector<source> &more)
{
    to.insert(to.end(), more.begin(), more.end());
}

std::vector<source> read_all(const std::string &path)
{
    if (is_revision_and_path(path))
        return descriptions_of(path);
    std::vector<source> sources;
    for (const std::string &file : descriptions_in(path))
        sources.push_back(read_description(file));
    return sources;
}

/// The old version and the new one.
std::pair<std::vector<source>, std::vector<source>> read_versions(const compat_options &options)
{
    if (options.revision.empty())
        return {read_all(options.paths[0]), read_all(options.paths[1])};
    std::pair<std::vector<source>, std::vector<source>> versions;
    for (const std::string &path : options.paths) {
        add_all(versions.first, descriptions_of(options.revision, path));
        add_all(versions.second, read_all(path));
    }
    return versions;
}

int compare_versions(const compat_options &options)
{
    const auto [old_sources, new_sources] = read_versions(options);
    faults in_old(options.faults_are.most);
    faults in_new(options.faults_are.most);
    const std::vector<package> before = compile(old_sources, in_old);
    const std::vector<package> after = compile(new_sources, in_new);
    options.faults_are.show(in_old, old_sources);
    options.faults_are.show(in_new, new_sources);
    if (!in_old.none() || !in_new.none())
        return status_refused;

    std::vector<difference> found = compare(before, after);
    if (!options.labels.empty()) {
        const labels was = labels_of(options.labels[0]);
        const labels is = labels_of(options.labels[1]);
        const std::vector<difference> by_labels = compare_labels(before, after, was, is);
        found.insert(found.end(), by_labels.begin(), by_labels.end());
    }
    if (options.is_json) {
        std::fputs(report_json(found, options.strict).c_str(), stdout);
    } else {
        for (const difference &d : found)
            std::fputs(report(d).c_str(), stdout);
    }
    const bool breaks = std::any_of(found.begin(), found.end(), [&options](const difference &d) {
        return is_break(d, options.strict);
    });
    return breaks ? status_refused : status_done;
}

} // namespace

int run_compat(std::span<const std::string> given)
{
    const compat_options options = read_options(given);
    try {
        return compare_versions(options);
    } catch (const file_error &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return status_refused;
    }
}

} // namespace idlc
