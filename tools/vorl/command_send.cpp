// vorl send.
#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "tools/vorl/bus_send.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/frame_file.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/library.h"
#include "tools/vorl/progress.h"

namespace vorl::commands {
namespace {

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
        const catalogue::message_functions &functions = with_.functions_of(lines->record.type());
        json::record_array records;
        for (std::size_t i = 0; i < count; ++i)
            records.push_back(lines[i].record);
        // Lines that are sent one by one after their batch was refused do not wait again.
        const std::uint32_t code = bus_.send([&] {
            return options_.explicit_handle == 0
                       ? functions.sendmsg(options_.dest, records.data(), records.count())
                       : functions.sendtomsg(options_.dest, records.data(), records.count(),
                                             options_.explicit_handle);
        });
        if (code == 0)
            sent_ += count;
        return code;
    }

    void report(std::uint32_t code, const sent_line *lines, std::size_t count)
    {
        refused_ += count;
        const std::string last =
            count == 1 ? "" : "(to line " + std::to_string(lines[count - 1].line) + ") ";
        std::fprintf(stderr, "%s%s: %s%s\n", lines_.place(lines->line).c_str(),
                     name_of(lines->record.type()), last.c_str(), bus_.refusal(code).c_str());
    }

    library &with_;
    const send_options &options_;
    const json::line_reader &lines_;
    std::vector<sent_line> pending_;
    std::uint64_t sent_ = 0;
    std::uint64_t refused_ = 0;
    patient_sender bus_{options_.dest, options_.wait_seconds};
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

int summary(std::uint64_t sent, std::uint64_t refused)
{
    std::fprintf(stderr, "vorl send: %" PRIu64 " sent, %" PRIu64 " refused\n", sent, refused);
    return refused == 0 ? 0 : 1;
}

int send_objects(const send_options &options)
{
    const chosen_labels labels(options.labels);
    json::input_file file(options.file);
    json::line_reader lines(file, labels.get());
    library with("vorl send");
    register_senders(with);
    sender to_bus(with, options, lines);
    std::uint64_t bad_lines = 0;
    progress shown("lines read");
    for (bool go_on = true; go_on;) {
        shown.step();
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
    return summary(to_bus.sent(), to_bus.refused() + bad_lines);
}

/// The bus takes any bytes, under any identifier.
int send_frames(const send_options &options)
{
    identifier_or_none given;
    if (!options.message.empty())
        given = identifier_or_throw(options.message);
    const library with("vorl send");
    const raw_bus frames(with, "vorl send");
    const auto handle =
        options.explicit_handle == 0 ? std::nullopt : std::optional(options.explicit_handle);
    patient_sender bus(options.dest, options.wait_seconds);
    std::uint64_t sent = 0;
    std::uint64_t refused = 0;
    bool is_over = false;
    const bool all_read =
        each_frame(options.file, options.form, {given},
                   [&](const std::string &place, const bytes &frame, identifier_or_none its) {
                       if (is_over)
                           return true;
                       const frame_desc desc = {frame.data(), named_or_throw(its, place),
                                                static_cast<std::uint32_t>(frame.size())};
                       const std::uint32_t code =
                           bus.send([&] { return frames.send(options.dest, &desc, 1, handle); });
                       if (code == 0) {
                           ++sent;
                           return true;
                       }
                       ++refused;
                       std::fprintf(stderr, "%s%s: %s\n", place.c_str(),
                                    options.message.empty() ? identifier_text(desc.msg_id).c_str()
                                                            : options.message.c_str(),
                                    bus.refusal(code).c_str());
                       is_over = !options.keep_going;
                       return false;
                   });
    const int status = summary(sent, refused);
    return all_read ? status : 1;
}

} // namespace

int send(const send_options &options)
{
    return options.raw ? send_frames(options) : send_objects(options);
}

} // namespace vorl::commands
