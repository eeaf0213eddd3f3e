// The mutator of the bus's target: sends are taken apart, changed and put together again, so that
// most of them add up; or a word of a head is changed, so that it does not.
#include <algorithm>

#include "fuzz/bus_stream.h"
#include "fuzz/mutator.h"

namespace vorl::fuzz {
namespace {

/// The whole frames of the first sends that add up, each send in its own list.
std::vector<std::vector<sent_frame>> sends_of(std::span<const std::uint8_t> stream)
{
    std::vector<std::vector<sent_frame>> sends;
    while (stream.size() >= sizeof(bus::send_head)) {
        const auto head = load_head<bus::send_head>(stream);
        stream = stream.subspan(sizeof head);
        if (std::uint64_t{head.count} * sizeof(bus::frame_head) > stream.size())
            break;
        std::span<const std::uint8_t> heads = stream;
        stream = stream.subspan(head.count * sizeof(bus::frame_head));
        std::vector<sent_frame> &frames = sends.emplace_back();
        for (std::uint32_t i = 0; i < head.count; ++i) {
            const auto frame =
                load_head<bus::frame_head>(heads.subspan(i * sizeof(bus::frame_head)));
            const auto content = stream.first(std::min<std::size_t>(frame.length, stream.size()));
            frames.push_back({frame.msg_id, {content.begin(), content.end()}});
            stream = stream.subspan(content.size());
        }
    }
    return sends;
}

void change_frame(sent_frame &frame, choice &random)
{
    constexpr std::size_t room = 2048;
    const catalogue::message_info *known = catalogue::find_message(frame.msg_id);
    if (random() % 8 == 0 || known == nullptr) {
        const auto &all = test::all_messages();
        const message &m = *all[random() % all.size()];
        frame.msg_id = random() % 8 == 0 ? static_cast<std::uint32_t>(random() % 4) : m.msg_id;
        frame.content = fresh_content(m, order::little, random);
    } else {
        change(known->data, order::little, frame.content, room, random);
    }
}

bytes changed_sends(std::span<const std::uint8_t> stream, choice &random)
{
    auto sends = sends_of(stream);
    if (sends.empty() || random() % 16 == 0)
        sends.emplace_back();
    auto &send = sends[random() % sends.size()];
    switch (random() % 8) {
    case 0: sends.push_back(send); break;
    case 1: send.emplace_back(); break;
    case 2:
        if (!send.empty())
            send.erase(send.begin() + static_cast<std::ptrdiff_t>(random() % send.size()));
        break;
    default: break;
    }
    for (auto &frames : sends) {
        if (!frames.empty() && random() % 2 == 0)
            change_frame(frames[random() % frames.size()], random);
    }
    bytes out;
    for (const auto &frames : sends)
        append_send(out, frames);
    return out;
}

/// One word of the first heads.
void change_word(bytes &stream, choice &random)
{
    if (stream.size() < 8)
        return;
    const std::size_t words = std::min<std::size_t>(stream.size() / 4, 12);
    std::uint8_t *const at = &stream[4 * (random() % words)];
    const std::uint64_t present = reference::load(at, 4, order::little);
    const std::uint64_t values[] = {present + random() % 9 - 4, random(), 0, ~std::uint64_t{0},
                                    std::uint64_t{1} << (random() % 32)};
    reference::store(at, values[random() % std::size(values)], 4, order::little);
}

} // namespace
} // namespace vorl::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t max_size, unsigned seed)
{
    using namespace vorl::fuzz;
    if (max_size == 0)
        return 0;
    choice random(seed);
    if (size == 0)
        data[0] = 0;
    else if (random() % 16 == 0)
        data[0] = static_cast<std::uint8_t>(random() % 3 == 0 ? random() : 0);
    bytes stream(data + 1, data + std::max<std::size_t>(size, 1));
    switch (random() % 8) {
    case 0: change_blindly(stream, max_size - 1); break;
    case 1:
    case 2: change_word(stream, random); break;
    default: stream = changed_sends(stream, random); break;
    }
    stream.resize(std::min(stream.size(), max_size - 1));
    std::copy(stream.begin(), stream.end(), data + 1);
    return 1 + stream.size();
}
