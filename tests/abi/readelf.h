// libvorl_srv6.so as readelf, of binutils, describes it: its listings, a struct a line. A listing
// without a single line of the expected form is an error, so that a test that looks for what must
// not be there cannot pass for want of input.
#pragma once

#include <algorithm>
#include <cstdint>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace vorl::test {

/// The groups of the pattern, for each line of `readelf OPTION` that matches it from end to end.
inline std::vector<std::vector<std::string>> readelf(const std::string &option,
                                                     const std::string &pattern)
{
    const outcome listing =
        run(".", "LC_ALL=C '" READELF "' --wide " + option + " '" LIBRARY_FILE "'");
    if (listing.status != 0 || !listing.err.empty())
        throw std::runtime_error("readelf " + option + " on " LIBRARY_FILE " ends with status " +
                                 std::to_string(listing.status) + ": " + listing.err);
    const std::regex form(pattern);
    std::vector<std::vector<std::string>> found;
    for (const std::string &line : lines_of(listing.out)) {
        std::smatch match;
        if (std::regex_match(line, match, form))
            found.emplace_back(std::next(match.begin()), match.end());
    }
    if (found.empty())
        throw std::runtime_error("readelf " + option +
                                 " on " LIBRARY_FILE " has no line of the form " + pattern);
    return found;
}

inline std::uint64_t hexadecimal_number(const std::string &digits)
{
    return std::stoull(digits, nullptr, 16);
}

/// "AArch64", "Advanced Micro Devices X86-64".
inline std::string machine()
{
    return readelf("--file-header", R"(\s+Machine:\s+(.*))").at(0).at(0);
}

struct symbol {
    std::string name;    ///< without its version
    std::string type;    ///< FUNC, OBJECT, ...
    std::string binding; ///< GLOBAL, WEAK, LOCAL
    std::string section; ///< UND: not defined here; ABS: in none
    std::uint64_t value;
};

/// Of the dynamic table (--dyn-syms), or of that and the full one (--syms). Sections' symbols have
/// no name of their own and are left out.
inline std::vector<symbol> symbols(const std::string &option)
{
    std::vector<symbol> found;
    // Value, size, type, binding, visibility, in brackets what else is said of it, section, name.
    for (const auto &line : readelf(option, R"(\s+\d+: ([0-9a-f]+)\s+\S+ (\S+)\s+(\S+)\s+\S+\s+)"
                                            R"((?:\[.*\]\s+)?(\S+) ([^@ ]+)(?:@.*)?)")) {
        if (line[1] != "SECTION")
            found.push_back({line[4], line[1], line[2], line[3], hexadecimal_number(line[0])});
    }
    return found;
}

/// What the entries of the dynamic section with that tag hold, in readelf's words.
inline std::vector<std::string> dynamic_values(const std::string &tag)
{
    std::vector<std::string> found;
    for (const auto &line : readelf("--dynamic", R"(\s+0x[0-9a-f]+ \((\S+)\)\s+(.*))")) {
        if (line[0] == tag)
            found.push_back(line[1]);
    }
    return found;
}

struct memory_range {
    std::uint64_t begin;
    std::uint64_t end;

    bool contains(const memory_range &other) const
    {
        return other.begin >= begin && other.end <= end;
    }
};

struct segment {
    std::string flags; ///< of "RWE", those that are set
    memory_range memory;
};

/// Those of a type: LOAD, GNU_STACK, ...
inline std::vector<segment> segments(const std::string &type)
{
    std::vector<segment> found;
    for (const auto &line :
         readelf("--segments", R"(\s+(\S+)\s+0x[0-9a-f]+ 0x([0-9a-f]+) 0x[0-9a-f]+ 0x[0-9a-f]+ )"
                               R"(0x([0-9a-f]+) ([R ][W ][E ]) 0x[0-9a-f]+)")) {
        if (line[0] != type)
            continue;
        const std::uint64_t begin = hexadecimal_number(line[1]);
        std::string flags = line[3];
        std::erase(flags, ' ');
        found.push_back({flags, {begin, begin + hexadecimal_number(line[2])}});
    }
    return found;
}

inline memory_range section(const std::string &name)
{
    for (const auto &line : readelf(
             "--sections", R"(\s+\[ *\d+\] (\S+)\s+\S+\s+([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+) .*)")) {
        if (line[0] == name) {
            const std::uint64_t begin = hexadecimal_number(line[1]);
            return {begin, begin + hexadecimal_number(line[2])};
        }
    }
    throw std::runtime_error("there is no section " + name);
}

/// The addresses that the dynamic linker calls when it loads the library: .init_array, filled by
/// relative relocations.
inline std::set<std::uint64_t> constructors()
{
    const memory_range array = section(".init_array");
    std::set<std::uint64_t> found;
    for (const auto &line :
         readelf("--relocs", R"(([0-9a-f]+)\s+[0-9a-f]+ R_\w+_RELATIVE\s+([0-9a-f]+))")) {
        const std::uint64_t at = hexadecimal_number(line[0]);
        if (array.contains({at, at + sizeof(std::uint64_t)}))
            found.insert(hexadecimal_number(line[1]));
    }
    return found;
}

} // namespace vorl::test
