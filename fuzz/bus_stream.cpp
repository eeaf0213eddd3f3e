// The development bus's receiving side, by its socket: what it answers, what it delivers and what it
// counts must be what the protocol says of these bytes.
#include "fuzz/bus_stream.h"

#include <cstdlib>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/finding.h"
#include "platform/bus/receiver.h"
#include "platform/bus/settings.h"
#include "tests/codec/support/messages.h"
#include "tests/support/run.h"

namespace vorl::fuzz {
namespace {

/// Small, so that it fills up.
constexpr std::uint64_t queue_bytes = 4096;

/// What the protocol says.
struct outcome {
    std::vector<std::uint32_t> answers;
    std::vector<sent_frame> accepted;
    bool is_cut_short = false;
};

outcome outcome_of(std::span<const std::uint8_t> stream)
{
    outcome result;
    std::uint64_t held = 0;
    while (!stream.empty()) {
        result.is_cut_short = stream.size() < sizeof(bus::send_head);
        if (result.is_cut_short)
            break;
        const auto head = load_head<bus::send_head>(stream);
        stream = stream.subspan(sizeof head);
        if (head.magic != bus::magic || head.count == 0 || head.count > head.bytes ||
            head.bytes > bus::max_send_bytes)
            break;
        const std::uint64_t heads = std::uint64_t{head.count} * sizeof(bus::frame_head);
        result.is_cut_short = stream.size() < heads + head.bytes;
        if (result.is_cut_short)
            break;
        std::span<const std::uint8_t> present = stream.first(heads + head.bytes);
        stream = stream.subspan(present.size());
        if (head.bytes > queue_bytes || head.bytes > queue_bytes - held) {
            result.answers.push_back(head.bytes > queue_bytes ? VORL_DEV_BAD_FRAME
                                                              : VORL_DEV_QUEUE_FULL);
            continue;
        }
        std::vector<sent_frame> frames;
        std::span<const std::uint8_t> rest = present.subspan(heads);
        bool adds_up = true;
        for (std::uint32_t i = 0; i < head.count && adds_up; ++i) {
            const auto frame =
                load_head<bus::frame_head>(present.subspan(i * sizeof(bus::frame_head)));
            adds_up = frame.length != 0 && frame.length <= rest.size();
            if (adds_up) {
                const auto content = rest.first(frame.length);
                frames.push_back({frame.msg_id, {content.begin(), content.end()}});
                rest = rest.subspan(frame.length);
            }
        }
        if (!adds_up || !rest.empty())
            break;
        held += head.bytes;
        result.answers.push_back(VORL_DEV_OK);
        result.accepted.insert(result.accepted.end(), frames.begin(), frames.end());
    }
    return result;
}

struct receiver {
    vorl_dev_receiver *handle;
    sockaddr_un address;
};

/// One for all inputs; its directory goes with the process, or with the runner's.
const receiver &the_receiver()
{
    static const receiver instance = [] {
        if (std::getenv("VORL_BUS_DIR") == nullptr) {
            static const test::scratch_directory directory;
            setenv("VORL_BUS_DIR", directory.path().c_str(), 1);
        }
        for (const catalogue::package_info *package : catalogue::packages)
            check(test::functions_of(*package).recv_init() == 0, "the bus refuses a package");
        const auto dest = static_cast<std::uint32_t>(getpid());
        receiver made{VORL_DevReceiverOpen(dest, queue_bytes), {}};
        check(made.handle != nullptr, "no receiver");
        made.address = bus::address_of(bus::path_of(dest, ".sock"));
        return made;
    }();
    return instance;
}

/// Writes all, as one that reads no answers; false: the receiver has closed the connection.
bool write_all(int to, std::span<const std::uint8_t> stream, std::size_t piece)
{
    while (!stream.empty()) {
        const std::size_t wanted = piece == 0 ? stream.size() : std::min(piece, stream.size());
        const ssize_t written = send(to, stream.data(), wanted, MSG_NOSIGNAL);
        if (written < 0)
            return false;
        stream = stream.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

/// Until the receiver has closed the connection, so until it is through with it.
std::vector<std::uint8_t> read_all(int from)
{
    std::vector<std::uint8_t> all;
    std::uint8_t part[512];
    for (ssize_t got; (got = recv(from, part, sizeof part, 0)) > 0;)
        all.insert(all.end(), part, part + got);
    return all;
}

std::vector<std::uint32_t> answers_to(std::span<const std::uint8_t> stream, std::size_t piece)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    check(fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&the_receiver().address),
                             sizeof(sockaddr_un)) == 0,
          "no connection");
    if (write_all(fd, stream, piece))
        shutdown(fd, SHUT_WR);
    const std::vector<std::uint8_t> read = read_all(fd);
    close(fd);
    check(read.size() % sizeof(std::uint32_t) == 0, "part of an answer");
    std::vector<std::uint32_t> answers(read.size() / sizeof(std::uint32_t));
    if (!read.empty())
        std::memcpy(answers.data(), read.data(), read.size());
    return answers;
}

/// Takes what is delivered off the front of what was accepted.
void deliver(void *user, std::uint32_t msg_id, const void *record, std::uint32_t record_size,
             const void *frame, std::uint32_t frame_length)
{
    auto &rest = *static_cast<std::span<const sent_frame> *>(user);
    while (!rest.empty() && catalogue::find_message(rest.front().msg_id) == nullptr)
        rest = rest.subspan(1);
    check(!rest.empty(), "a frame too many");
    const sent_frame &expected = rest.front();
    check(msg_id == expected.msg_id && frame_length == expected.content.size() &&
              std::memcmp(frame, expected.content.data(), frame_length) == 0,
          "another frame, or out of order");
    const message &m = catalogue::find_message(msg_id)->data;
    check(record_size == m.record_size, "another size of record");
    test::meaning(m, record);
    rest = rest.subspan(1);
}

vorl_dev_counters counters()
{
    vorl_dev_counters now;
    VORL_DevCounters(the_receiver().handle, &now);
    return now;
}

void run(std::span<const std::uint8_t> stream, std::size_t piece)
{
    const outcome expected = outcome_of(stream);
    const vorl_dev_counters before = counters();
    const std::vector<std::uint32_t> answers = answers_to(stream, piece);
    // Answers on their way are lost where the receiver closes with bytes unread. Those that came are
    // the first ones.
    check(answers.size() <= expected.answers.size() &&
              std::equal(answers.begin(), answers.end(), expected.answers.begin()),
          "other answers");
    std::span<const sent_frame> rest = expected.accepted;
    while (VORL_DevReceive(the_receiver().handle, 0, deliver, &rest) != 0) {
    }
    const vorl_dev_counters after = counters();
    std::uint64_t known = 0;
    for (const sent_frame &frame : expected.accepted)
        known += catalogue::find_message(frame.msg_id) != nullptr;
    check(after.accepted - before.accepted == expected.accepted.size(), "accepted is miscounted");
    check(after.delivered - before.delivered == known, "delivered is miscounted");
    check(after.unknown - before.unknown == expected.accepted.size() - known,
          "unknown is miscounted");
    // A sender that could not write all may be cut short where it stopped, which is anywhere.
    check(!expected.is_cut_short || after.cut_short - before.cut_short == 1, "not cut short");
}

} // namespace
} // namespace vorl::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size != 0)
        vorl::fuzz::run({data + 1, size - 1}, data[0]);
    return 0;
}
