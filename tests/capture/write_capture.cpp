// Writes a capture for other people's readers: a frame of every message, sent and received in turn, then
// one of 600,000 bytes, which is split.
#include <cstdio>

#include "catalogue/catalogue.h"
#include "inspect/encode.h"
#include "tests/capture/captures.h"

using namespace vorl;
using namespace vorl::test;

int main()
{
    written_capture file;
    const std::uint32_t from = file.to.add_interface({4711, "router --daemon"});
    std::uint64_t number = 0;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const std::vector<std::uint8_t> zeros(info.data.record_size);
            capture::frame f = frame_of(
                number, inspect::encode(info.data, zeros.data(), inspect::encoding::frame));
            f.facts.identifier = info.data.msg_id;
            f.facts.way = number % 2 == 0 ? capture::direction::sent : capture::direction::received;
            f.facts.lost = number % 3;
            file.to.describe(from, f.facts.time, to_packet(capture::describe(info, nullptr)));
            file.to.add(from, f);
            ++number;
        }
    }
    file.to.add(from, frame_of(number, pattern(600'000)));
    file.to.count(from, 0, {1000, 20, 3, number + 1});
    return std::fwrite(file.text.data(), 1, file.text.size(), stdout) == file.text.size() ? 0 : 1;
}
