// idlc fmt: descriptions in their one format.
#include "commands.h"

#include <cstdio>

#include "files.h"
#include "format.h"
#include "inspect/printable.h"
#include "options.h"
#include "parse.h"

namespace idlc {
namespace {

/// The line, or the end of the text.
std::string line_of(const std::string &text, std::size_t line)
{
    std::size_t at = 0;
    for (; line > 1; --line)
        at = text.find('\n', at) + 1;
    if (at == text.size())
        return "(the end)";
    const std::size_t end = text.find('\n', at);
    return '"' + vorl::printable(std::string_view(text).substr(at, end - at)) + '"' +
           (end == std::string::npos ? ", without a line feed" : "");
}

/// False: the file is faulty, or another than it should be, or cannot be written.
bool format_file(const std::string &path, bool check_only, const showing &faults_are)
{
    const source from = read_description(path);
    faults found(faults_are.most);
    parse(from, found);
    faults_are.show(found, std::span(&from, 1));
    if (!found.none())
        return false;
    const std::string text = formatted(from);
    const std::size_t line = first_difference(from.text, text);
    if (line == 0)
        return true;
    if (check_only) {
        std::fprintf(stderr,
                     "%s:%zu: error: is not in the format; 'idlc fmt %s' writes it so\n"
                     "  is:        %s\n"
                     "  should be: %s\n",
                     path.c_str(), line, path.c_str(), line_of(from.text, line).c_str(),
                     line_of(text, line).c_str());
        return false;
    }
    if (write_file(path, text))
        return true;
    throw file_error(path, "cannot be written; look at its permissions");
}

} // namespace

int run_fmt(std::span<const std::string> given)
{
    showing faults_are;
    bool check_only = false;
    std::vector<std::string> paths;
    arguments from(given, {"--check", "--color", "--max-errors", "--help"});
    while (from.next()) {
        if (!from.is_option()) {
            paths.push_back(from.text());
        } else if (from.text() == "--check") {
            from.refuse_value();
            check_only = true;
        } else if (!faults_are.take(from)) {
            from.refuse();
        }
    }
    if (paths.empty())
        throw usage_error("no description is named; name descriptions, or directories of them");
    bool all_are_right = true;
    for (const std::string &path : paths) {
        try {
            for (const std::string &file : descriptions_in(path))
                all_are_right = format_file(file, check_only, faults_are) && all_are_right;
        } catch (const file_error &e) {
            std::fprintf(stderr, "%s\n", e.what());
            all_are_right = false;
        }
    }
    return all_are_right ? status_done : status_refused;
}

} // namespace idlc
