// idlc DESCRIPTION.idl...: what is generated from descriptions.
#include "commands.h"

#include <cstdio>

#include "check.h"
#include "emit.h"
#include "files.h"
#include "options.h"
#include "parse.h"

namespace idlc {
namespace {

/// Files that are made of all packages together; empty: not asked for.
struct output_paths {
    std::string page;
    std::string lua;
};

struct compile_options {
    showing faults_are;
    bool check_only = false;
    output_paths all_of_them;
    std::vector<std::string> files;
};

compile_options read_options(std::span<const std::string> given)
{
    compile_options options;
    arguments from(given, {"--check", "--page", "--lua", "--color", "--max-errors", "--help"});
    while (from.next()) {
        if (!from.is_option()) {
            if (!from.text().ends_with(".idl"))
                throw usage_error("'" + from.text() +
                                  "' is no description; name files that end in .idl, or a command: "
                                  "fmt, compat, help");
            options.files.push_back(from.text());
        } else if (from.text() == "--check") {
            from.refuse_value();
            options.check_only = true;
        } else if (from.text() == "--page") {
            options.all_of_them.page = from.value();
        } else if (from.text() == "--lua") {
            options.all_of_them.lua = from.value();
        } else if (!options.faults_are.take(from)) {
            from.refuse();
        }
    }
    if (options.files.empty())
        throw usage_error("no description is named; name all packages that share a bus");
    return options;
}

/// A file that is written, and what it is made from.
struct output {
    std::string path;
    std::string text;
    std::string made_from;
};

std::vector<output> outputs_of(const std::vector<package> &packages, const output_paths &paths)
{
    std::vector<output> outputs;
    std::string files;
    for (const package &p : packages) {
        const auto slash = p.file.rfind('/');
        const std::string stem =
            (slash == std::string::npos ? "" : p.file.substr(0, slash + 1)) + p.name;
        outputs.push_back({stem + ".h", emit_header(p), p.file});
        outputs.push_back({stem + "_messages.h", emit_messages(p), p.file});
        outputs.push_back({stem + ".cpp", emit_source(p), p.file});
        outputs.push_back({stem + "_catalogue.cpp", emit_catalogue(p), p.file});
        files += (files.empty() ? "" : ", ") + p.file;
    }
    if (!paths.page.empty())
        outputs.push_back({paths.page, emit_page(packages), files});
    if (!paths.lua.empty())
        outputs.push_back({paths.lua, emit_lua(packages), files});
    return outputs;
}

/// False: the file cannot be written; with `check_only`, it is another.
bool put(const output &o, bool check_only)
{
    if (has_text(o.path, o.text) || (!check_only && write_file(o.path, o.text)))
        return true;
    std::fprintf(stderr,
                 check_only
                     ? "%s: error: is not what %s gives; run ./dev regen and commit the result\n"
                     : "%s: error: cannot be written; look at its directory\n",
                 o.path.c_str(), o.made_from.c_str());
    return false;
}

} // namespace

std::vector<package> compile(std::span<const source> sources, faults &to)
{
    std::vector<package> packages;
    for (const source &s : sources)
        packages.push_back(parse(s, to));
    check(packages, to);
    return packages;
}

int run_compile(std::span<const std::string> given)
{
    const compile_options options = read_options(given);
    std::vector<source> sources;
    bool are_read = true;
    for (const std::string &file : options.files) {
        try {
            sources.push_back(read_description(file));
        } catch (const file_error &e) {
            std::fprintf(stderr, "%s\n", e.what());
            are_read = false;
        }
    }
    if (!are_read)
        return status_refused;
    faults found(options.faults_are.most);
    const std::vector<package> packages = compile(sources, found);
    if (!found.none()) {
        options.faults_are.show(found, sources);
        return status_refused;
    }
    bool all_are_current = true;
    for (const output &o : outputs_of(packages, options.all_of_them))
        all_are_current = put(o, options.check_only) && all_are_current;
    return all_are_current ? status_done : status_refused;
}

} // namespace idlc
