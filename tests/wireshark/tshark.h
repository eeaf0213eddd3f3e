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

/// What `tshark ARGUMENTS` says of the capture. Nothing that is installed on this machine is loaded beside
/// the dissector, and it reports no error of Lua.
inline std::vector<std::string>
tshark(const std::string &capture, const std::string &arguments,
       const std::string &script = "-X lua_script:" VORL_TEST_DISSECTOR "/init.lua")
{
    const scratch_directory at;
    write(at.path() / "capture.pcapng", capture);
    fs::create_directory(at.path() / "plugins");
    const outcome done =
        run(at.path(), "HOME=$PWD WIRESHARK_PLUGIN_DIR=${PLUGINS:-$PWD/plugins} LC_ALL=C.UTF-8 "
                       "tshark -r capture.pcapng -n " +
                           script + " " + arguments);
    EXPECT_EQ(done.status, 0) << done.err;
    for (const std::string &said : {done.out, done.err}) {
        EXPECT_EQ(said.find("Lua Error"), std::string::npos)
            << said.substr(said.find("Lua Error"), 400);
        EXPECT_EQ(said.find("lua:"), std::string::npos) << said.substr(0, 400);
    }
    return lines_of(done.out);
}

/// The fields of every packet, in the order of `names`.
inline std::vector<std::vector<std::string>> fields_of(const std::string &capture,
                                                       const std::vector<std::string> &names)
{
    std::string arguments = "-T fields";
    for (const std::string &name : names)
        arguments += " -e " + name;
    std::vector<std::vector<std::string>> packets;
    for (const std::string &line : tshark(capture, arguments)) {
        std::vector<std::string> cells(1);
        for (const char c : line) {
            if (c == '\t')
                cells.emplace_back();
            else
                cells.back() += c;
        }
        EXPECT_EQ(cells.size(), names.size()) << line;
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
