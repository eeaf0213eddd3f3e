// How the compiler refuses: what a test says of it.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace vorl::test {

inline const std::string idlc = "'" IDLC_PROGRAM "'";

inline std::map<std::string, std::string> files_in(const fs::path &directory)
{
    std::map<std::string, std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), directory).string()] = content(entry.path());
    }
    return files;
}

/// What stands below an error: its line, and a caret below the place. `text` is the description.
inline void expect_excerpt(const std::string &text, std::size_t line, std::size_t column,
                           const std::string &above, const std::string &below)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
    }
    std::string shown = lines.at(line - 1);
    if (shown.ends_with('\r'))
        shown.pop_back();
    std::string margin = std::to_string(line);
    margin = std::string(5 - margin.size(), ' ') + margin + " | ";
    if (shown.size() <= 120) {
        for (char &c : shown)
            c = (c >= ' ' && c <= '~') || c == '\t' ? c : '?';
        EXPECT_EQ(above, margin + shown);
        EXPECT_EQ(below.find('^'), margin.size() + column - 1) << above << "\n" << below;
    }
    EXPECT_EQ(below.substr(0, 8), "      | ") << below;
    EXPECT_EQ(below.find_first_not_of(" \t|^~"), std::string::npos) << below;
}

/// An error as it is expected: "LINE:COLUMN: TEXT", of which the text may be the beginning alone.
using expectations = std::vector<std::string>;

// Runs idlc on descriptions in `directory`, of which `name` is the faulty one.
inline void expect_refusal(const fs::path &directory, const std::string &descriptions,
                           const std::string &name, const expectations &expected)
{
    const auto before = files_in(directory);
    const outcome o = run(directory, idlc + " " + descriptions);
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    ASSERT_FALSE(o.err.empty());
    EXPECT_EQ(o.err.back(), '\n');
    const std::vector<std::string> lines = lines_of(o.err);
    std::size_t errors = 0;
    for (std::size_t i = 0; i < lines.size(); i += 3) {
        const std::size_t kind = lines[i].find(": error: ");
        if (kind == std::string::npos) {
            EXPECT_NE(lines[i].find(": note: "), std::string::npos) << o.err;
        } else {
            ASSERT_LT(errors, expected.size()) << "more than were expected: " << o.err;
            const std::string said = lines[i].substr(0, kind) + ": " + lines[i].substr(kind + 9);
            const std::string wanted = name + ":" + expected[errors++];
            EXPECT_EQ(said.substr(0, wanted.size()), wanted);
            EXPECT_NE(said.find("; "), std::string::npos) << "no word of what to do: " << said;
        }
        const std::string place = lines[i].substr(name.size() + 1);
        ASSERT_LT(i + 2, lines.size()) << o.err;
        expect_excerpt(content(directory / name), std::stoul(place),
                       std::stoul(place.substr(place.find(':') + 1)), lines[i + 1], lines[i + 2]);
    }
    EXPECT_EQ(errors, expected.size()) << o.err;
    EXPECT_EQ(files_in(directory), before) << "something was written";
}
// Descriptions that no text file shows well.
inline void expect_refusal_of(const std::string &text, const expectations &expected)
{
    const scratch_directory scratch;
    write(scratch.path() / "a.idl", text);
    expect_refusal(scratch.path(), "a.idl", "a.idl", expected);
}

} // namespace vorl::test
