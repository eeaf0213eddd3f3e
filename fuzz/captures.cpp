// Captures: pcapng, whoever wrote it.
//
// Whatever the input is: what is said of it is one line each, no frame is larger than is allowed, and the
// frames that are read, written as a capture, are read again as the same.
#include <sstream>
#include <string>

#include "capture/capture_read.h"
#include "capture/pcapng_write.h"
#include "fuzz/finding.h"

namespace {

using namespace vorl::capture;
using vorl::fuzz::check;

constexpr std::uint64_t largest_frame = 1 << 16;

void check_line(const std::string &text)
{
    for (const char c : text)
        check(c >= 0x20 && c < 0x7F, "a message that is not one line of printable characters");
}

std::vector<frame> frames_of(const std::string &text, bool &is_whole)
{
    std::istringstream in(text);
    capture_reader reader(in, largest_frame, check_line);
    std::vector<frame> found;
    is_whole = true;
    try {
        while (std::optional<captured> next = reader.next()) {
            check(next->found.kept.size() <= largest_frame + 0x10000 + 12,
                  "a frame larger than allowed");
            if (next->is_ours)
                found.push_back(std::move(next->found));
        }
    } catch (const capture_error &error) {
        check_line(error.what());
        is_whole = false;
    }
    for (const auto &[identifier, d] : reader.descriptions())
        check(d.identifier == identifier && d.slots.size() <= 256, "a description that cannot be");
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    bool is_whole = false;
    const std::vector<frame> found =
        frames_of(std::string(reinterpret_cast<const char *>(data), size), is_whole);
    std::string again;
    pcapng_writer writer(
        [&again](std::span<const std::uint8_t> block) { again.append(block.begin(), block.end()); },
        "fuzz");
    const std::uint32_t from = writer.add_interface({1, "fuzz"});
    for (const frame &f : found)
        writer.add(from, f);
    const std::vector<frame> read = frames_of(again, is_whole);
    check(is_whole && read.size() == found.size(), "frames are not read again");
    for (std::size_t i = 0; i < found.size(); ++i) {
        const frame_facts &a = found[i].facts, &b = read[i].facts;
        check(read[i].kept == found[i].kept && a.time == b.time && a.way == b.way &&
                  a.known == b.known && a.process == b.process && a.length == b.length &&
                  a.number == b.number && a.identifier == b.identifier && a.lost == b.lost,
              "a frame is read again as another");
    }
    return 0;
}
