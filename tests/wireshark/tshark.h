// Captures as tshark shows them with the dissector.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/capture/captures.h"
#include "tests/support/run.h"

namespace vorl::test {

/// A capture of one process, made frame by frame. Frames of 0 have no packets of description before them.
class captured_frames {
  public:
    captured_frames() : from_(file_.to.add_interface({4711, "router --daemon"})) {}

    void add(std::uint32_t identifier, const bytes &content)
    {
        capture::frame f = frame_of(number_++, content);
        f.facts.identifier = identifier;
        add(f);
    }
    void add(const capture::frame &f)
    {
        file_.to.add(from_, f);
        frames.push_back(f);
    }
    void describe(const capture::description &d)
    {
        file_.to.describe(from_, 0, to_packet(d));
        file_.to.count(from_, 0, {});
    }
    const std::string &text() const { return file_.text; }

    std::vector<capture::frame> frames;

  private:
    written_capture file_;
    std::uint32_t from_;
    std::uint64_t number_ = 0;
};

inline constexpr const char *from_the_tree = "-X lua_script:" VORL_TEST_DISSECTOR "/init.lua";

/// `tshark ARGUMENTS` on the capture; `home` is where a user's plugins are.
inline outcome run_tshark(const std::string &capture, const std::string &arguments,
                          const fs::path &home)
{
    write(home / "capture.pcapng", capture);
    return run(home, "HOME=$PWD LC_ALL=C.UTF-8 tshark -r capture.pcapng -n " + arguments);
}

/// What it says with the dissector of this tree, without an error of Lua. One that is installed on this
/// machine would be there already, which fails as well.
inline std::vector<std::string> tshark(const std::string &capture, const std::string &arguments)
{
    const scratch_directory home;
    const outcome done =
        run_tshark(capture, std::string(from_the_tree) + " " + arguments, home.path());
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out.find("Lua Error"), std::string::npos)
        << done.out.substr(done.out.find("Lua Error"), 400);
    for (const char *trouble : {"Lua Error", "lua:", "vorl:"})
        EXPECT_EQ(done.err.find(trouble), std::string::npos) << done.err.substr(0, 400);
    return lines_of(done.out);
}

/// The fields of every packet, in the order of `names`. The last is shown where the dissector fails.
inline std::vector<std::vector<std::string>> fields_of(const std::string &capture,
                                                       const std::vector<std::string> &names)
{
    std::string arguments = "-T fields";
    for (const std::string &name : names)
        arguments += " -e " + name;
    arguments += " -e _ws.lua.error";
    std::vector<std::vector<std::string>> packets;
    for (const std::string &line : tshark(capture, arguments)) {
        std::vector<std::string> cells(1);
        for (const char c : line) {
            if (c == '\t')
                cells.emplace_back();
            else
                cells.back() += c;
        }
        EXPECT_EQ(cells.size(), names.size() + 1) << line;
        EXPECT_EQ(cells.back(), "") << line;
        cells.resize(names.size());
        packets.push_back(cells);
    }
    return packets;
}

/// The numbers of the packets that a display filter lets pass, "1 3".
inline std::string packets_where(const std::string &capture, const std::string &filter)
{
    std::string numbers;
    for (const std::string &line : tshark(capture, "-Y '" + filter + "' -T fields -e frame.number"))
        numbers += (numbers.empty() ? "" : " ") + line;
    return numbers;
}

} // namespace vorl::test
