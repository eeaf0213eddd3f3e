// idlc: descriptions of messages in, C header and library source out.
//
//   idlc [--check] DESCRIPTION.idl...      all packages that share a bus, in one call
//   idlc compat OLD NEW                    what changed between two versions, each a description
//                                          or a directory of descriptions
//
// Writes <package>.h, <package>_messages.h, <package>.cpp and <package>_catalogue.cpp beside each
// description, or with --check compares them with what stands there. Exit status: 0 done; 1 a faulty description, a file
// that cannot be read or written, or with --check a file that differs; 2 a wrong call. Nothing is
// written unless every description is accepted. Of compat: 0 no change breaks a deployed peer; 1 one
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
        "usage: idlc [--check] DESCRIPTION.idl...\n"
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

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments[0] == "compat")
        return arguments.size() == 3 ? compare_versions(arguments[1], arguments[2]) : usage();

    bool check_only = false;
    std::vector<std::string> files;
    for (const std::string &argument : arguments) {
        if (argument == "--check")
            check_only = true;
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

    int status = 0;
    for (const idlc::package &p : packages) {
        const auto slash = p.file.rfind('/');
        const std::string stem =
            (slash == std::string::npos ? "" : p.file.substr(0, slash + 1)) + p.name;
        const std::pair<std::string, std::string> outputs[] = {
            {stem + ".h", emit_header(p)},
            {stem + "_messages.h", emit_messages(p)},
            {stem + ".cpp", emit_source(p)},
            {stem + "_catalogue.cpp", emit_catalogue(p)}};
        for (const auto &[path, text] : outputs) {
            std::string standing;
            if (read_file(path, standing) && standing == text)
                continue;
            if (check_only) {
                std::fprintf(
                    stderr,
                    "%s: error: is not what %s gives; run ./dev regen and commit the result\n",
                    path.c_str(), p.file.c_str());
                status = 1;
            } else if (!write_file(path, text)) {
                std::fprintf(stderr, "%s: error: cannot be written; look at its directory\n",
                             path.c_str());
                status = 1;
            }
        }
    }
    return status;
}
