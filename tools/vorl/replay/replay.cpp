// vorl replay.
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>

#include "capture/same_message.h"
#include "inspect/hex.h"
#include "tools/vorl/bus_send.h"
#include "tools/vorl/failures.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/progress.h"
#include "tools/vorl/replay/commands.h"
#include "tools/vorl/replay/edits.h"
#include "tools/vorl/replay/pace.h"
#include "tools/vorl/replay/sends.h"

namespace vorl::replay {
namespace {

using namespace capture;

constexpr std::uint64_t largest_frame = 0x7FFFFFFF;
constexpr std::uint64_t refusals_shown = 20; // one by one; a bus that is down refuses every send
constexpr std::size_t most_destinations = 1024;
constexpr double long_wait = 10; // seconds, which are told

/// What became of the frames.
struct totals {
    std::uint64_t read = 0;
    std::uint64_t sent = 0;
    std::uint64_t sends = 0;
    std::uint64_t edited = 0;
    std::uint64_t left_out = 0; ///< not asked for
    std::uint64_t refused_then = 0;
    std::uint64_t refused = 0; ///< now
    std::uint64_t cut = 0;
    std::uint64_t damaged = 0; ///< packets
    std::uint64_t unknown = 0; ///< packets, of kinds that are not known
    std::uint64_t foreign = 0; ///< packets that are no captured frames
};

/// The bus, or what stands for it when nothing is to be sent.
class target {
  public:
    explicit target(const replay_options &options) : options_(options)
    {
        if (options.dry_run)
            return;
        library_.emplace("vorl replay");
        bus_.emplace(*library_, "vorl replay");
    }

    /// Why it was refused, empty: it was not.
    std::string send(std::uint32_t dest, const std::vector<frame_desc> &frames,
                     std::optional<std::uint64_t> handle)
    {
        if (!bus_)
            return {};
        if (senders_.size() == most_destinations && !senders_.contains(dest))
            senders_.clear();
        patient_sender &to = senders_.try_emplace(dest, dest, options_.wait_seconds).first->second;
        const std::uint32_t code = to.send([&] {
            return bus_->send(dest, frames.data(), static_cast<std::uint32_t>(frames.size()),
                              handle);
        });
        return code == 0 ? "" : to.refusal(code);
    }

  private:
    const replay_options &options_;
    std::optional<library> library_;
    std::optional<raw_bus> bus_;
    std::map<std::uint32_t, patient_sender> senders_;
};

class replayer {
  public:
    explicit replayer(const replay_options &options)
        : options_(options), labels_(of_input([&] { return chosen_labels(options.labels); })),
          filter_(of_arguments([&] { return wanted(options, labels_.get()); })),
          edits_(options.edits.empty() ? edits() : edits(options.edits, labels_.get())),
          file_(of_input([&] { return std::make_unique<json::input_file>(options.file); })),
          reader_(file_->stream(), largest_frame, [this](const std::string &why) { note(why); }),
          target_(options), pace_(options.fast || options.step ? 0 : options.speed)
    {
        if (options.step && !options.dry_run)
            steps_.emplace();
    }

    int run()
    {
        read_all();
        queue_.end();
        send_waiting();
        counted_.damaged = reader_.refused() + (ended_ ? 1 : 0);
        counted_.unknown = reader_.unknown();
        if (counted_.read == 0 && (ended_ || counted_.damaged != 0))
            throw unreadable(file_->name() + ": nothing could be read of it");
        if (!stopped_) {
            for (const std::string &why : edits_.unused()) {
                std::fprintf(stderr, "%s\n", why.c_str());
                ++unused_edits_;
            }
        }
        return finish();
    }

  private:
    static frame_filter wanted(const replay_options &options, const inspect::labels *names)
    {
        frame_filter filter = filter_of(options.wanted, names, "vorl replay");
        if (!filter.way)
            filter.way = direction::sent;
        if (*filter.way == direction::received && !options.dest)
            throw wrong_usage("vorl replay: a received frame has no destination; name one by --to");
        return filter;
    }

    void note(const std::string &why) const
    {
        std::fprintf(stderr, "%s: %s\n", file_->name().c_str(), why.c_str());
    }

    void read_all()
    {
        try {
            while (!stopped_) {
                std::optional<captured> next = reader_.next();
                if (!next)
                    return;
                shown_.step();
                if (!next->is_ours) {
                    ++counted_.foreign;
                    continue;
                }
                ++counted_.read;
                const bool is_wanted = wants(next->found);
                if (next->found.facts.way == *filter_.way)
                    queue_.add(std::move(*next), is_wanted);
                send_waiting();
            }
        } catch (const capture_error &error) {
            note(error.what());
            ended_ = true;
        }
    }

    bool wants(const frame &f)
    {
        // What a receiver makes of it takes time, and is seldom asked for.
        const bool is_judged = filter_.outcome || !filter_.fields.empty();
        if (!filter_.wants(f, is_judged ? judge(f) : verdict{})) {
            ++counted_.left_out;
            return false;
        }
        // A sender that was refused has sent it again, if it could.
        if (filter_.results.empty() && f.facts.knows(result_known) && f.facts.result != 0) {
            ++counted_.refused_then;
            return false;
        }
        return true;
    }

    void send_waiting()
    {
        while (!stopped_) {
            std::optional<send> next = queue_.next();
            if (!next)
                return;
            if (next->is_part)
                note(place(next->frames.front()) + "its send has more frames than are held, and is "
                                                   "replayed in parts");
            replay_send(*next);
        }
    }

    static std::string place(const captured &c)
    {
        return "packet " + std::to_string(c.packet) + ": ";
    }

    /// Refused frames, of which the first are shown.
    void refuse(const captured &first, std::uint64_t frames, const std::string &why)
    {
        counted_.refused += frames;
        if (++refusals_ <= refusals_shown)
            note(place(first) + why);
        if (refusals_ == refusals_shown)
            note("what else is refused is only counted");
    }

    /// Why frames of that identifier are not for this library; empty: they may be.
    const std::string &mismatch(std::uint32_t identifier)
    {
        if (described_ != reader_.described())
            mismatches_.clear();
        described_ = reader_.described();
        const auto known = mismatches_.find(identifier);
        if (known != mismatches_.end())
            return known->second;
        if (mismatches_.size() == most_destinations)
            mismatches_.clear();
        return mismatches_
            .emplace(identifier, difference_from_catalogue(identifier, reader_.descriptions()))
            .first->second;
    }

    /// False: it is not sent, which was counted.
    bool prepare(captured &c, bool &is_edited)
    {
        const frame_facts &facts = c.found.facts;
        if (c.found.kept.size() < facts.length) {
            ++counted_.cut;
            return false;
        }
        if (!facts.knows(identifier_known)) {
            refuse(c, 1, "nothing says which message the frame is of, so that it cannot be sent");
            return false;
        }
        if (!options_.dest && !facts.knows(destination_known)) {
            refuse(c, 1, "nothing says where the frame was sent to; name a destination by --to");
            return false;
        }
        if (const std::string &why = mismatch(facts.identifier); !why.empty() && !options_.force) {
            refuse(c, 1, why + "; --force sends it as it is");
            return false;
        }
        try {
            if (std::optional<bytes> other = edits_.apply(c.found)) {
                c.found.kept = std::move(*other);
                is_edited = true;
            }
        } catch (const json::input_error &error) {
            ++counted_.refused;
            std::fprintf(stderr, "%s\n",
                         (std::string(error.what()) + " (" + file_->name() + ": packet " +
                          std::to_string(c.packet) + ")")
                             .c_str());
            return false;
        }
        return true;
    }

    void replay_send(send &s)
    {
        std::vector<frame_desc> descs;
        std::vector<std::string> lines; // about them
        std::uint64_t edited = 0;
        const captured *first = nullptr;
        for (captured &c : s.frames) {
            bool is_edited = false;
            if (!prepare(c, is_edited))
                continue;
            first = first == nullptr ? &c : first;
            edited += is_edited ? 1 : 0;
            descs.push_back({c.found.kept.data(), c.found.facts.identifier,
                             static_cast<std::uint32_t>(c.found.kept.size())});
            if (options_.dry_run || options_.step)
                lines.push_back(line_of(c, is_edited));
        }
        if (first == nullptr)
            return;
        const frame_facts &facts = first->found.facts;
        if (!options_.dry_run) {
            if (const auto wait = pace_.wait_for(facts.time); wait.count() > long_wait)
                note(place(*first) + "is sent in " + std::to_string(std::lround(wait.count())) +
                     " seconds, as it was; --speed and --fast wait less");
            stopped_ = !pace_.wait();
        }
        show(lines);
        if (steps_) {
            std::fflush(stdout);
            stopped_ = stopped_ || !steps_->wait();
        }
        if (stopped_)
            return;
        const std::uint32_t dest = options_.dest.value_or(facts.destination);
        const std::string why =
            target_.send(dest, descs,
                         !options_.dest && facts.knows(handle_given) ? std::optional(facts.handle)
                                                                     : std::nullopt);
        if (!why.empty()) {
            refuse(*first, descs.size(), why);
            return;
        }
        counted_.sent += descs.size();
        counted_.edited += edited;
        ++counted_.sends;
    }

    static void show(const std::vector<std::string> &lines)
    {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string of_send = lines.size() == 1
                                            ? ""
                                            : ", " + std::to_string(i + 1) + " of " +
                                                  std::to_string(lines.size()) + " of one send";
            if (std::printf("%s%s\n", lines[i].c_str(), of_send.c_str()) < 0)
                throw std::runtime_error("vorl replay: standard output cannot be written");
        }
    }

    /// "packet 3, process 4711, number 0: srv6_localsid_fwd, 104 bytes, to 7"
    std::string line_of(const captured &c, bool is_edited) const
    {
        const frame_facts &facts = c.found.facts;
        const catalogue::message_info *const info = catalogue::find_message(facts.identifier);
        std::string line = "packet " + std::to_string(c.packet) + ", process " +
                           std::to_string(facts.process) + ", number " +
                           std::to_string(facts.number) + ": " +
                           (info == nullptr ? identifier_text(facts.identifier)
                                            : std::string(name_of(info->data))) +
                           ", " + std::to_string(c.found.kept.size()) + " bytes, to " +
                           std::to_string(options_.dest.value_or(facts.destination));
        if (!options_.dest && facts.knows(handle_given))
            line += ", handle " + std::to_string(facts.handle);
        if (is_edited)
            line += ", edited";
        return line;
    }

    int finish() const
    {
        const totals &t = counted_;
        std::string text = "vorl replay: " + std::to_string(t.read) + " frames read, " +
                           std::to_string(t.sent) +
                           (options_.dry_run ? " would be sent in " : " sent in ") +
                           std::to_string(t.sends) + " sends";
        const auto tell = [&text](std::uint64_t count, const char *what) {
            if (count != 0)
                text += ", " + std::to_string(count) + what;
        };
        tell(t.edited, " of them edited");
        tell(t.left_out, " left out");
        tell(t.refused_then, " left out that the bus refused then");
        tell(t.cut, " cut and not sent");
        text += ", " + std::to_string(t.refused) + " refused";
        tell(t.damaged, " damaged");
        tell(t.unknown, " packets of unknown kinds");
        tell(t.foreign, " packets that are no captured frames");
        if (stopped_)
            text += "; ended before the end of the capture";
        std::fprintf(stderr, "%s\n", text.c_str());
        if (t.refused_then != 0)
            std::fputs("vorl replay: --result CODE replays those that the bus refused then\n",
                       stderr);
        const bool all_sent = t.cut + t.refused + t.damaged + t.unknown + unused_edits_ == 0;
        return all_sent && !stopped_ ? 0 : 1;
    }

    const replay_options &options_;
    chosen_labels labels_;
    frame_filter filter_;
    edits edits_;
    std::unique_ptr<json::input_file> file_;
    capture_reader reader_;
    target target_;
    recorded_pace pace_;
    std::optional<steps> steps_;
    send_queue queue_;
    totals counted_;
    std::map<std::uint32_t, std::string> mismatches_; ///< of the descriptions that there are
    std::uint64_t described_ = 0;
    std::uint64_t refusals_ = 0;
    std::uint64_t unused_edits_ = 0;
    bool ended_ = false; ///< by damage
    bool stopped_ = false;
    progress shown_{"frames read"};
};

} // namespace

int replay(const replay_options &options)
{
    if (options.step && options.file == "-")
        throw wrong_usage("vorl replay: --step reads standard input; name the capture's file");
    stop_on_signals();
    return replayer(options).run();
}

} // namespace vorl::replay
