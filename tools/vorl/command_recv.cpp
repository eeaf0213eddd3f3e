// vorl recv.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>

#include "inspect/explain.h"
#include "inspect/hex.h"
#include "platform/bus/receiver.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/library.h"
#include "tools/vorl/library_log.h"

namespace vorl::commands {
namespace {

// How long a signal may go unnoticed.
constexpr std::int32_t wait_ms = 100;

volatile std::sig_atomic_t stop_requested = 0;

/// The receiving side that the development bus has and the platform's does not: looked up, so that
/// this program runs on either.
struct receiving_side {
    decltype(&VORL_DevReceiverOpen) open;
    decltype(&VORL_DevReceive) receive;
    decltype(&VORL_DevReceiverClose) close;
    decltype(&VORL_DevCounters) counters;

    explicit receiving_side(const library &bus)
    {
        bus.find(open, "VORL_DevReceiverOpen");
        bus.find(receive, "VORL_DevReceive");
        bus.find(close, "VORL_DevReceiverClose");
        bus.find(counters, "VORL_DevCounters");
    }
    bool is_complete() const
    {
        return open != nullptr && receive != nullptr && close != nullptr && counters != nullptr;
    }
};

struct output {
    const recv_options *options = nullptr;
    const inspect::labels *labels = nullptr;
    std::uint64_t received = 0;
    std::uint64_t refused = 0;
    std::map<std::string, std::uint64_t> refused_for; ///< by the rule
    bool failed = false;                              ///< standard output takes no more
};

void handle(void *user, std::uint32_t msg_id, const void *record, std::uint32_t, const void *frame,
            std::uint32_t frame_length)
{
    auto &out = *static_cast<output *>(user);
    const std::vector<std::string> log = take_library_log();
    const catalogue::message_info *info = catalogue::find_message(msg_id);
    if (info == nullptr)
        return; // the bus reports frames that nobody registered
    const message &m = info->data;
    const auto *bytes = static_cast<const std::uint8_t *>(frame);
    if (const auto why = inspect::first_damage(m, {bytes, frame_length})) {
        ++out.refused;
        ++out.refused_for[why->rule];
        for (const std::string &line : log)
            std::fprintf(stderr, "vorl recv: library log: %s\n", line.c_str());
        // The whole frame: it was accepted and is found nowhere else now.
        std::fprintf(stderr, "vorl recv: %s refused at %s; the frame: %s\n", name_of(m),
                     to_text(*why).c_str(), to_hex(bytes, frame_length).c_str());
        return;
    }
    json::write_record(
        m, record, out.options->sparse ? json::zeros::omit : json::zeros::write, out.labels,
        [](std::string_view part) { std::fwrite(part.data(), 1, part.size(), stdout); });
    std::fputc('\n', stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        out.failed = true;
    ++out.received;
}

/// The last line: what became of every frame.
std::string summary(const output &out, const vorl_dev_counters &counted)
{
    std::string text = "vorl recv: " + std::to_string(out.received) + " received, " +
                       std::to_string(out.refused) + " refused";
    const char *separator = " (";
    for (const auto &[rule, count] : out.refused_for) {
        text += separator + std::to_string(count) + " by " + rule;
        separator = ", ";
    }
    if (!out.refused_for.empty())
        text += ")";
    if (counted.unknown != 0)
        text += ", " + std::to_string(counted.unknown) + " of unknown type dropped";
    if (counted.cut_short != 0)
        text += ", " + std::to_string(counted.cut_short) + " sends cut short";
    return text;
}

void register_receivers(const library &with)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        if (const std::uint32_t code = with.functions_of(*package).recv_init(); code != 0)
            throw std::runtime_error("vorl recv: the bus refused package " +
                                     std::string(package->name) + " with code " +
                                     std::to_string(code) + "; see the bus's own messages");
    }
}

void stop_on_signals()
{
    struct sigaction action {};
    action.sa_handler = [](int) { stop_requested = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A reader that went away shows as a failed write, so that what was accepted is accounted for.
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

int recv(const recv_options &options)
{
    const chosen_labels labels(options.labels);
    const library with("vorl recv");
    const receiving_side bus(with);
    if (!bus.is_complete())
        throw std::runtime_error("vorl recv: this bus library has no receiving side for tools "
                                 "(VORL_DevReceiverOpen); run with the development bus");
    register_receivers(with);
    stop_on_signals();
    vorl_dev_receiver *receiver = bus.open(options.dest, options.queue_bytes);
    if (receiver == nullptr)
        throw std::runtime_error("vorl recv: cannot receive at destination " +
                                 std::to_string(options.dest) +
                                 "; the bus's message above says why");

    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    output out;
    out.options = &options;
    out.labels = labels.get();
    const auto is_over = [&] {
        const std::chrono::duration<double> passed = clock::now() - start;
        return stop_requested != 0 || out.failed ||
               (options.count != 0 && out.received >= options.count) ||
               (options.timeout_seconds >= 0 && passed.count() >= options.timeout_seconds);
    };
    while (!is_over()) {
        const std::chrono::duration<double, std::milli> passed = clock::now() - start;
        std::int32_t wait = wait_ms;
        if (options.timeout_seconds >= 0)
            wait = static_cast<std::int32_t>(std::clamp(
                options.timeout_seconds * 1000 - passed.count() + 1, 0.0, double{wait_ms}));
        bus.receive(receiver, wait, handle, &out);
    }
    // What was accepted until now is delivered, here and, what comes meanwhile, by close.
    bus.receive(receiver, 0, handle, &out);
    vorl_dev_counters counted{};
    bus.counters(receiver, &counted);
    bus.close(receiver, handle, &out);
    std::fprintf(stderr, "%s\n", summary(out, counted).c_str());
    if (out.failed)
        throw std::runtime_error("vorl recv: standard output cannot be written; the objects after "
                                 "the last whole line are lost");
    const bool is_short = options.count != 0 && out.received < options.count;
    return out.refused == 0 && counted.unknown == 0 && !is_short ? 0 : 1;
}

} // namespace vorl::commands
