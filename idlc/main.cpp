// idlc: descriptions of messages in, C header and library source out.
//
//   idlc [--check] [--page PAGE.md] DESCRIPTION.idl...
//                                          all packages that share a bus, in one call
//   idlc compat OLD NEW                    what changed between two versions, each a description
//                                          or a directory of descriptions
//
// Writes <package>.h, <package>_messages.h, <package>.cpp and <package>_catalogue.cpp beside each
// description, and with --page a page of all messages. With --check it writes nothing, and compares
// all of these with what stands there. Nothing is written unless every description is accepted.
//
// Exit status: 0 done; 1 a faulty description, a file that cannot be read or written, or with
// --check a file that differs; 2 a wrong call. Of compat: 0 no change breaks a deployed peer; 1 one
// does; 2 a wrong call, or descriptions that cannot be compared.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "check.h"
#include "compat.h"
#include "emit.h"
#include "parse.h"

namespace {

bool read_file(const std::string &path, std::string &text)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    // Inserting nothing sets a failure in `out`, so an empty file is told by peek. A directory
    // opens but cannot be read.
    if (in.peek() != std::ifstream::traits_type::eof())
        out << in.rdbuf();
    text = out.str();
    return in.is_open() && !in.bad() && !out.fail();
}

bool write_file(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    return out.good();
}

int usage()
{
    std::fputs(
        "usage: idlc [--check] [--page PAGE.md] DESCRIPTION.idl...\n"
        "       idlc compat OLD NEW\n"
        "Name all packages that share a bus in one call: identifiers must differ across them.\n"
        "compat takes two descriptions, or two directories with descriptions at any depth.\n",
        stderr);
    return 2;
}

std::vector<idlc::package> accept(const std::vector<std::string> &files)
{
    std::vector<idlc::package> packages;
    for (const std::string &file : files) {
        std::string text;
        if (!read_file(file, text))
            throw idlc::description_error(file, {}, "cannot be read; name an existing description");
        packages.push_back(idlc::parse(file, text));
    }
    idlc::check(packages);
    return packages;
}

std::vector<std::string> descriptions_in(const std::string &path)
{
    namespace fs = std::filesystem;
    if (!fs::is_directory(path))
        return {path};
    std::vector<std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file() && entry.path().extension() == ".idl")
            files.push_back(entry.path().string());
    }
    if (files.empty())
        throw idlc::description_error(path, {}, "holds no description; name one that does");
    std::sort(files.begin(), files.end());
    return files;
}

int compare_versions(const std::string &before, const std::string &after)
{
    try {
        const std::vector<idlc::package> was = accept(descriptions_in(before));
        const std::vector<idlc::package> is = accept(descriptions_in(after));
        bool breaks = false;
        for (const idlc::difference &d : idlc::compare(was, is)) {
            std::printf("%s\n", idlc::report(d).c_str());
            breaks = breaks || d.breaks;
        }
        return breaks ? 1 : 0;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
}

/// A file that is written, and what it is made from.
struct output {
    std::string path;
    std::string text;
    std::string source;
};

/// False: the file cannot be written; with `check_only`, it is another.
bool put(const output &o, bool check_only)
{
    std::string standing;
    if (read_file(o.path, standing) && standing == o.text)
        return true;
    if (!check_only && write_file(o.path, o.text))
        return true;
    std::fprintf(stderr,
                 check_only
                     ? "%s: error: is not what %s gives; run ./dev regen and commit the result\n"
                     : "%s: error: cannot be written; look at its directory\n",
                 o.path.c_str(), o.source.c_str());
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments[0] == "compat")
        return arguments.size() == 3 ? compare_versions(arguments[1], arguments[2]) : usage();

    bool check_only = false;
    std::string page;
    std::vector<std::string> files;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        if (argument == "--check")
            check_only = true;
        else if (argument == "--page" && i + 1 < arguments.size())
            page = arguments[++i];
        else if (!argument.ends_with(".idl") || argument[0] == '-')
            return usage();
        else
            files.push_back(argument);
    }
    if (files.empty())
        return usage();

    std::vector<idlc::package> packages;
    try {
        packages = accept(files);
    } catch (const idlc::description_error &e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }

    std::vector<output> outputs;
    std::string sources;
    for (const idlc::package &p : packages) {
        const auto slash = p.file.rfind('/');
        const std::string stem =
            (slash == std::string::npos ? "" : p.file.substr(0, slash + 1)) + p.name;
        outputs.push_back({stem + ".h", emit_header(p), p.file});
        outputs.push_back({stem + "_messages.h", emit_messages(p), p.file});
        outputs.push_back({stem + ".cpp", emit_source(p), p.file});
        outputs.push_back({stem + "_catalogue.cpp", emit_catalogue(p), p.file});
        sources += (sources.empty() ? "" : ", ") + p.file;
    }
    if (!page.empty())
        outputs.push_back({page, emit_page(packages), sources});

    bool all_are_current = true;
    for (const output &o : outputs)
        all_are_current = put(o, check_only) && all_are_current;
    return all_are_current ? 0 : 1;
}
