// idlc compat OLD NEW: what differs between two versions of descriptions.
#include "commands.h"

#include <cstdio>

#include "compat.h"
#include "files.h"
#include "options.h"

namespace idlc {
namespace {

std::vector<source> read_all(const std::string &path)
{
    std::vector<source> sources;
    for (const std::string &file : descriptions_in(path))
        sources.push_back(read_description(file));
    return sources;
}

} // namespace

int run_compat(std::span<const std::string> given)
{
    showing faults_are;
    std::vector<std::string> paths;
    arguments from(given, {"--color", "--max-errors", "--help"});
    while (from.next()) {
        if (!from.is_option())
            paths.push_back(from.text());
        else if (!faults_are.take(from))
            from.refuse();
    }
    if (paths.size() != 2)
        throw usage_error("two versions are compared; name the old one and the new one");
    try {
        std::vector<package> versions[2];
        bool are_right = true;
        for (std::size_t i = 0; i < 2; ++i) {
            const std::vector<source> sources = read_all(paths[i]);
            faults found(faults_are.most);
            versions[i] = compile(sources, found);
            faults_are.show(found, sources);
            are_right = are_right && found.none();
        }
        if (!are_right)
            return status_usage;
        bool breaks = false;
        for (const difference &d : compare(versions[0], versions[1])) {
            std::printf("%s\n", report(d).c_str());
            breaks = breaks || d.breaks;
        }
        return breaks ? status_refused : status_done;
    } catch (const file_error &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return status_usage;
    }
}

} // namespace idlc
