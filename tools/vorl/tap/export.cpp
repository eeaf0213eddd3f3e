// vorl tap export, and vorl tap snapshot, which is an export of some seconds.
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <thread>

#include "capture/follow.h"
#include "capture/redact.h"
#include "inspect/hex.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/progress.h"
#include "tools/vorl/tap/commands.h"
#include "tools/vorl/tap/output.h"
#include "tools/vorl/tap/times.h"

namespace vorl::tap {
namespace {

using namespace capture;

volatile std::sig_atomic_t stop_requested = 0;

void stop_on_signals()
{
    struct sigaction action {};
    action.sa_handler = [](int) { stop_requested = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

/// From the key as it is given, 32 hex digits.
redactor redactor_of(const std::string &key)
{
    if (key.empty())
        return redactor();
    redactor::key words{};
    for (std::size_t i = 0; i < key.size(); ++i) {
        const int digit = hex_value(key[i]);
        if (key.size() != 32 || digit < 0)
            throw std::runtime_error(
                "vorl tap export: --redact-key takes 32 hex digits; make one by "
                "'openssl rand -hex 16'");
        words[i / 16] = words[i / 16] << 4 | static_cast<std::uint64_t>(digit);
    }
    return redactor(words);
}

using process_key = std::pair<std::uint32_t, std::string>;

process_key key_of(const process_facts &of) { return {of.process, of.command}; }

void add(counters &to, const counters &more)
{
    to.seen += more.seen;
    to.overwritten += more.overwritten;
    to.dropped += more.dropped;
    to.given += more.given;
}

/// Frames on their way out: filtered, redacted, written and counted.
class exporter {
  public:
    explicit exporter(const export_options &options)
        : labels_(options.labels),
          filter_(filter_of(options.wanted, labels_.get(), "vorl tap export")),
          file_(options.output)
    {
        if (options.redact)
            redactor_.emplace(redactor_of(options.redact_key));
        if (!options.as_json && file_.is_terminal())
            throw std::runtime_error(
                "vorl tap export: a capture is not for a terminal; name a file "
                "by --output FILE, or take --json");
        output_ = options.as_json ? make_json_output(file_, labels_.get(), options.redact)
                                  : make_capture_output(file_, labels_.get());
    }

    void note(const std::string &what)
    {
        has_failed_ = true;
        std::fprintf(stderr, "%s\n", what.c_str());
    }

    void take(const frame &found, const process_facts &from,
              const std::map<std::uint32_t, description> *described)
    {
        shown_.step();
        const verdict judged = judge(found);
        if (!filter_.wants(found, judged)) {
            lost_[from.process] += found.facts.lost;
            return;
        }
        process_facts process = from;
        frame f = found;
        f.facts.lost += std::exchange(lost_[from.process], 0);
        if (redactor_) {
            redactor_->redact(f, judged.of, labels_.get());
            process.command.clear();
        }
        output_->add(f, process, judged, described);
        ++given_[key_of(from)];
    }

    void flush() { file_.flush(); }

    /// The counters, and the exit status.
    int finish(const std::vector<process_total> &totals)
    {
        // A process may have had several rings, one after the other.
        std::map<process_key, counters> of_processes;
        for (const process_total &total : totals)
            add(of_processes[key_of(total.process)], total.counted);
        counters all;
        for (auto &[process, counted] : of_processes) {
            counted.given = given_[process];
            output_->count({process.first, redactor_ ? "" : process.second}, counted);
            add(all, counted);
        }
        file_.flush();
        std::fprintf(stderr,
                     "vorl tap: %zu processes: %llu frames seen, %llu overwritten, %llu dropped, "
                     "%llu given\n",
                     of_processes.size(), static_cast<unsigned long long>(all.seen),
                     static_cast<unsigned long long>(all.overwritten),
                     static_cast<unsigned long long>(all.dropped),
                     static_cast<unsigned long long>(all.given));
        return has_failed_ ? 1 : 0;
    }

  private:
    chosen_labels labels_;
    frame_filter filter_;
    output_file file_;
    std::unique_ptr<output> output_;
    std::optional<redactor> redactor_;
    std::map<std::uint32_t, std::uint64_t> lost_; ///< before the next frame of the process
    std::map<process_key, std::uint64_t> given_;
    progress shown_{"frames read"};
    bool has_failed_ = false;
};

std::vector<std::string> inputs_of(const export_options &options)
{
    return options.inputs.empty() ? std::vector{tap_directory()} : options.inputs;
}

/// An output that is an input as well would be empty before it is read.
void check_output(const export_options &options)
{
    if (options.output == "-")
        return;
    for (const std::string &input : files_of(inputs_of(options))) {
        std::error_code is_not_there;
        if (std::filesystem::equivalent(input, options.output, is_not_there))
            throw std::runtime_error(
                "vorl tap export: " + options.output +
                " is read, so it cannot be written as well; name another file");
    }
}

int export_present(const export_options &options)
{
    check_output(options);
    exporter out(options);
    merged_sources sources(inputs_of(options), [&out](const std::string &why) { out.note(why); });
    while (source *const from = sources.next())
        out.take(*from->front(), from->process(), from->descriptions());
    return out.finish(sources.totals());
}

/// Until a signal, or that time.
int export_following(const export_options &options, std::uint64_t until)
{
    constexpr auto pause = std::chrono::milliseconds(50);
    constexpr int last_rounds = 1000; // processes may go on recording
    check_output(options);
    exporter out(options);
    followed_rings rings(inputs_of(options), [&out](const std::string &why) { out.note(why); });
    const auto take = [&out](const frame &f, const process_facts &from) {
        out.take(f, from, nullptr);
    };
    stop_on_signals();
    for (bool is_over = false; !is_over;) {
        // Looked at first: what comes until then is still taken.
        is_over = stop_requested != 0 || present_time() > until;
        for (int round = 0; rings.take_new(take) && !(is_over && round == last_rounds); ++round) {
        }
        out.flush();
        if (!is_over)
            std::this_thread::sleep_for(pause);
    }
    return out.finish(rings.totals());
}

} // namespace

int export_frames(const export_options &options)
{
    if (!options.follow)
        return export_present(options);
    return export_following(options, options.wanted.until.empty()
                                         ? ~std::uint64_t{0}
                                         : parse_time(options.wanted.until));
}

int snapshot(const snapshot_options &options)
{
    const std::uint64_t now = present_time();
    const std::uint64_t before = parse_duration(options.before);
    const std::uint64_t until = now + parse_duration(options.after);
    export_options how = options.how;
    how.wanted.since = time_text(now > before ? now - before : 0);
    how.wanted.until = time_text(until);
    return export_following(how, until);
}

} // namespace vorl::tap
