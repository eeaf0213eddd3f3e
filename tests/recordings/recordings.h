// Captures made by hand, and the tool run on them.
#pragma once

#include <gtest/gtest.h>

#include "catalogue/catalogue.h"
#include "inspect/encode.h"
#include "inspect/hex.h"
#include "tests/capture/captures.h"
#include "tests/support/run.h"
#include "tools/vorl/json_record.h"

namespace vorl::test {

inline const message &message_named(const char *name)
{
    return catalogue::find_message(name)->data;
}

/// How often the part stands in the text.
inline std::size_t count_of(const std::string &text, const std::string &part)
{
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++found;
    return found;
}

/// What the sends hand to the bus.
inline bytes frame_bytes(const std::string &object, inspect::encoding as = inspect::encoding::frame)
{
    const json::record record = json::parse_record(object);
    return inspect::encode(record.type(), record.data(), as);
}

/// A sent frame of that object, at so many milliseconds.
inline capture::frame sent(std::uint64_t number, const std::string &object, std::uint64_t ms = 0)
{
    capture::frame f = frame_of(number, frame_bytes(object));
    f.facts.identifier = json::parse_record(object).type().msg_id;
    f.facts.time = 1'700'000'000'000'000'000 + ms * 1'000'000;
    return f;
}

class recordings : public ::testing::Test {
  protected:
    recordings() { setenv("VORL_BUS_DIR", (directory.path() / "bus").c_str(), 1); }

    outcome shell(const std::string &command) const
    {
        return run(directory.path(), "PATH='" VORL_TEST_PROGRAMS
                                     "':\"$PATH\"; export VORL_TEST_SENDS=sends; " +
                                         command);
    }
    void file(const std::string &name, const std::string &text) const
    {
        write(directory.path() / name, text);
    }
    std::string text_of(const std::string &name) const { return content(directory.path() / name); }

    void capture_file(const std::string &name, const std::vector<capture::frame> &frames) const
    {
        written_capture to;
        const std::uint32_t from = to.to.add_interface({4711, "sender"});
        for (const capture::frame &f : frames)
            to.to.add(from, f);
        file(name, to.text);
    }

    /// Replays over the bus that notes, and gives the last line on standard error.
    std::string replay(const std::string &arguments, int status = 0) const
    {
        fs::remove(directory.path() / "sends");
        file("sends", "");
        done = shell("LD_PRELOAD='" VORL_TEST_NOTING_BUS "' vorl replay " + arguments);
        EXPECT_EQ(done.status, status) << arguments << "\n" << done.err;
        const std::vector<std::string> said = lines_of(done.err);
        return said.empty() ? "" : said.back();
    }

    /// What the bus was handed, without the times.
    std::vector<std::string> sends() const
    {
        std::vector<std::string> all;
        for (const std::string &line : lines_of(text_of("sends")))
            all.push_back(line.substr(line.find(' ') + 1));
        return all;
    }

    /// A send's line, of one frame.
    static std::string line_of(const capture::frame &f, const std::string &to = "7 -")
    {
        return to + " " + identifier_text(f.facts.identifier) + ":" +
               to_hex(f.kept.data(), f.kept.size());
    }

    scratch_directory directory;
    mutable outcome done;
};

} // namespace vorl::test
