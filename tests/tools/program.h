// vorl as a person runs it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/codec/support/fixture.h"
#include "tests/support/run.h"
#include "inspect/hex.h"

namespace vorl::test {

/// The bytes that a fixture shows, as the line of hex that vorl writes.
inline std::string hex_line(std::string_view fixture)
{
    const reference::bytes content = buffer_of(fixture);
    return to_hex(content.data(), content.size()) + "\n";
}

/// How often the part stands in the text.
inline std::size_t count(const std::string &text, const std::string &part)
{
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++found;
    return found;
}

/// A directory for the files of a test and for its bus.
class tool_test : public ::testing::Test {
  protected:
    tool_test() { setenv("VORL_BUS_DIR", (directory.path() / "bus").c_str(), 1); }

    void file(const std::string &name, const std::string &text) const
    {
        write(directory.path() / name, text);
    }
    std::string text_of(const std::string &name) const { return content(directory.path() / name); }

    /// A shell command that finds the programs just built.
    outcome shell(const std::string &command) const
    {
        return run(directory.path(), "PATH='" VORL_TEST_PROGRAMS "':\"$PATH\"; " + command);
    }

    scratch_directory directory;
};

} // namespace vorl::test
