// vorl send.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/bus/receiver.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/library.h"

namespace vorl::commands {
namespace {

constexpr std::uint32_t not_encoded = 0xFFFFFFFF;
constexpr auto retry_interval = std::chrono::milliseconds(20);

std::string meaning(std::uint32_t code, std::uint32_t dest)
{
    switch (code) {
    case VORL_DEV_NO_PEER:
        return "nobody receives at destination " + std::to_string(dest) +
               "; start the receiver first, or give --wait";
    case VORL_DEV_QUEUE_FULL:
        return "the receiver's queue is full; let it catch up, or give --wait";
    case VORL_DEV_BAD_FRAME:
        return "the frame is longer than the receiver takes; give the receiver a larger queue";
    case VORL_DEV_IO:
        return "the socket failed, and whether the receiver has it is not known; look there before "
               "sending again";
    case not_encoded:
        return "the library could not encode it; see that the object is not too large for memory";
    default: return "the bus gives no meaning; look it up in the bus's documents";
    }
}

/// Nothing of the send was accepted, so it may be sent again.
bool is_surely_unsent(std::uint32_t code)
{
    return code == VORL_DEV_NO_PEER || code == VORL_DEV_QUEUE_FULL || code == VORL_DEV_BAD_FRAME ||
           code == not_encoded;
}

struct sent_line {
    json::record record;
    std::size_t line;
};

class sender {
  public:
    sender(library &with, const send_options &options, const json::line_reader &lines)
        : with_(with), options_(options), lines_(lines)
    {}

    /// Consecutive lines of one message gather until there are enough. False: refused, stop.
    bool add(json::record &&record, std::size_t line)
    {
        if (!pending_.empty() && &pending_.front().record.type() != &record.type() && !flush())
            return false;
        pending_.push_back({std::move(record), line});
        return pending_.size() < options_.batch || flush();
    }

    bool flush()
    {
        if (pending_.empty())
            return true;
        const std::vector<sent_line> lines = std::exchange(pending_, {});
        const std::uint32_t code = send_lines(lines.data(), lines.size());
        if (code == 0)
            return true;
        if (lines.size() == 1 || !is_surely_unsent(code)) {
            report(code, lines.data(), lines.size());
            return options_.keep_going;
        }
        // A batch is refused as a whole: one by one, the lines at fault show.
        for (const sent_line &line : lines) {
            const std::uint32_t own_code = send_lines(&line, 1);
            if (own_code == 0)
                continue;
            report(own_code, &line, 1);
            if (!options_.keep_going)
                return false;
        }
        return true;
    }

    std::uint64_t sent() const { return sent_; }
    std::uint64_t refused() const { return refused_; }

  private:
    std::uint32_t send_lines(const sent_line *lines, std::size_t count)
    {
        using clock = std::chrono::steady_clock;
        const catalogue::message_functions &functions = with_.functions_of(lines->record.type());
        json::record_array records;
        for (std::size_t i = 0; i < count; ++i)
            records.push_back(lines[i].record);

        const auto deadline =
            clock::now() + std::chrono::duration_cast<clock::duration>(
                               std::chrono::duration<double>(options_.wait_seconds));
        for (;;) {
            errno = 0;
            const std::uint32_t code =
                options_.explicit_handle == 0
                    ? functions.sendmsg(options_.dest, records.data(), records.count())
                    : functions.sendtomsg(options_.dest, records.data(), records.count(),
                                          options_.explicit_handle);
            errno_ = errno;
            if (code == 0)
                sent_ += count;
            const bool may_pass = code == VORL_DEV_NO_PEER || code == VORL_DEV_QUEUE_FULL;
            if (!may_pass || clock::now() >= deadline)
                return code;
            std::this_thread::sleep_for(retry_interval);
        }
    }

    void report(std::uint32_t code, const sent_line *lines, std::size_t count)
    {
        refused_ += count;
        const std::string last =
            count == 1 ? "" : "(to line " + std::to_string(lines[count - 1].line) + ") ";
        std::string code_text = code == not_encoded ? "0xFFFFFFFF" : std::to_string(code);
        if (code == VORL_DEV_IO && errno_ != 0)
            code_text += std::string(" (") + std::strerror(errno_) + ")";
        std::fprintf(stderr, "%s%s: %srefused with code %s: %s\n",
                     lines_.place(lines->line).c_str(), name_of(lines->record.type()), last.c_str(),
                     code_text.c_str(), meaning(code, options_.dest).c_str());
    }

    library &with_;
    const send_options &options_;
    const json::line_reader &lines_;
    std::vector<sent_line> pending_;
    std::uint64_t sent_ = 0;
    std::uint64_t refused_ = 0;
    int errno_ = 0; ///< of the last send
};

void register_senders(const library &with)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        if (const std::uint32_t code = with.functions_of(*package).send_init(); code != 0)
            throw std::runtime_error("vorl send: the bus refused package " +
                                     std::string(package->name) + " with code " +
                                     std::to_string(code) + "; see the bus's own messages");
    }
}

} // namespace

int send(const send_options &options)
{
    const chosen_labels labels(options.labels);
    json::input_file file(options.file);
    json::line_reader lines(file, labels.get());
    library with("vorl send");
    register_senders(with);
    sender to_bus(with, options, lines);
    std::uint64_t bad_lines = 0;
    for (bool go_on = true; go_on;) {
        try {
            std::optional<json::record> record = lines.next();
            if (!record) {
                to_bus.flush();
                break;
            }
            go_on = to_bus.add(std::move(*record), lines.line());
        } catch (const json::input_error &error) {
            // What stands before the bad line is sent, and reported first.
            go_on = to_bus.flush() && options.keep_going;
            std::fprintf(stderr, "%s\n", error.what());
            ++bad_lines;
        }
    }
    const std::uint64_t refused = to_bus.refused() + bad_lines;
    std::fprintf(stderr, "vorl send: %" PRIu64 " sent, %" PRIu64 " refused\n", to_bus.sent(),
                 refused);
    return refused == 0 ? 0 : 1;
}

} // namespace vorl::commands
