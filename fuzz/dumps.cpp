// What the vorl tool reads frames from: three bytes that choose the form, the layout and the bytes of
// headers, and behind them the input.
//
// Whatever the input is: an error is one line that names its place, a note one line each; no frame is
// larger than is allowed; and each frame, dumped as xxd does it, is read again as the same.
#include <sstream>
#include <string>

#include "fuzz/finding.h"
#include "tests/tools/dumps/writers.h"
#include "tools/vorl/dumps/read_frames.h"

namespace {

using namespace vorl;
using vorl::fuzz::check;

constexpr std::size_t choices = 3;
constexpr unsigned forms = 11;
constexpr unsigned layouts = 3;
constexpr unsigned longest_header = 16;
constexpr std::uint64_t largest_frame = 1 << 16;
/// Reading each frame again takes as long as there are bytes.
constexpr std::size_t most_frames = 64;

void check_line(const std::string &text)
{
    for (const char c : text)
        check(c >= 0x20 && c < 0x7F, "a message that is not one line of printable characters");
    check(text.find("input:") != std::string::npos, "a message that does not name the input");
}

void read_again(const bytes &frame)
{
    std::istringstream in(test::xxd(frame));
    std::ostringstream notes;
    bytes again;
    read_frames(
        in, "input", {.form = dump_form::xxd},
        [&again](const std::string &, const bytes &read) { again = read; }, notes);
    check(again == frame, "a frame is read again as another");
    check(notes.str().empty(), "a note about a dump of xxd");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < choices)
        return 0;
    const dump_options options = {.form = static_cast<dump_form>(data[0] % forms),
                                  .layout = static_cast<dump_layout>(data[1] % layouts),
                                  .skip = data[2] % longest_header,
                                  .largest_frame = largest_frame};
    std::istringstream in(
        std::string(reinterpret_cast<const char *>(data + choices), size - choices));
    std::ostringstream notes;
    std::size_t taken = 0;
    try {
        const frames_read count = read_frames(
            in, "input", options,
            [&taken](const std::string &place, const bytes &frame) {
                check_line(place);
                check(frame.size() <= largest_frame, "a frame larger than allowed");
                if (++taken <= most_frames && !frame.empty())
                    read_again(frame);
            },
            notes);
        check(count.taken == taken, "frames are counted that were not given");
    } catch (const dump_error &error) {
        check_line(error.what());
    }
    std::istringstream lines(notes.str());
    for (std::string line; std::getline(lines, line);)
        check_line(line);
    return 0;
}
