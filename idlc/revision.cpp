#include "revision.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "child.h"
#include "files.h"

namespace idlc {
namespace {

namespace fs = std::filesystem;

/// What git prints. `what` is what it is asked for, for its refusal.
std::string git(const std::string &directory, std::vector<std::string> arguments,
                const std::string &what)
{
    arguments.insert(arguments.begin(), {"git", "-C", directory});
    const child_outcome o = run_child(arguments, longest_description);
    if (o.error != 0)
        throw file_error(what, "git cannot be run, " + std::string(std::strerror(o.error)) +
                                   "; install git, or name the old descriptions as files");
    if (o.is_too_long)
        throw file_error(what, "is longer than 8 MiB; name another");
    if (o.status != 0)
        throw file_error(what, "git does not find it (" + o.err +
                                   "); name a revision that has it, in a work tree of git");
    return o.out;
}

std::vector<source> read_tree(const std::string &directory, const std::string &revision,
                              const std::string &path)
{
    if (revision.empty() || revision[0] == '-')
        throw file_error(revision + ":" + path,
                         "'" + revision + "' is no revision; write REV:PATH");
    const std::string object = revision + ":" + path;
    const auto text_of = [&directory](const std::string &name) {
        return git(directory, {"cat-file", "blob", name}, name);
    };
    if (git(directory, {"cat-file", "-t", object}, object).starts_with("blob"))
        return {{object, text_of(object)}};
    std::vector<source> sources;
    const std::string names =
        git(directory, {"ls-tree", "--full-tree", "-r", "-z", "--name-only", object}, object);
    for (std::size_t at = 0; at < names.size();) {
        const std::size_t end = std::min(names.find('\0', at), names.size());
        const std::string name = names.substr(at, end - at);
        if (name.ends_with(".idl")) {
            const bool is_below = !path.empty() && !path.ends_with('/');
            const std::string file = object + (is_below ? "/" : "") + name;
            sources.push_back({file, text_of(file)});
        }
        at = end + 1;
    }
    if (sources.empty())
        throw file_error(object, "holds no description; name a directory that does");
    return sources;
}

} // namespace

bool is_revision_and_path(const std::string &name)
{
    return name.find(':') != std::string::npos && !fs::exists(name);
}

std::vector<source> descriptions_of(const std::string &revision_and_path)
{
    const std::size_t colon = revision_and_path.find(':');
    return read_tree(".", revision_and_path.substr(0, colon), revision_and_path.substr(colon + 1));
}

std::vector<source> descriptions_of(const std::string &revision, const std::string &path)
{
    const bool is_directory = fs::is_directory(path);
    const fs::path parent = fs::path(path).parent_path();
    const std::string directory = is_directory ? path : parent.empty() ? "." : parent.string();
    std::string prefix = git(directory, {"rev-parse", "--show-prefix"}, revision + ":" + path);
    while (prefix.ends_with('\n') || prefix.ends_with('/'))
        prefix.pop_back();
    if (!is_directory)
        prefix += (prefix.empty() ? "" : "/") + fs::path(path).filename().string();
    return read_tree(directory, revision, prefix);
}

} // namespace idlc
