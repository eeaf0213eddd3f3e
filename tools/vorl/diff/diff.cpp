// vorl diff.
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

#include "tools/vorl/diff/commands.h"
#include "tools/vorl/diff/input.h"
#include "tools/vorl/diff/report.h"
#include "tools/vorl/diff/waiting.h"
#include "tools/vorl/failures.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/progress.h"

namespace vorl::diff {
namespace {

constexpr int equal_status = 0;
constexpr int different_status = 1;
constexpr int unreadable_status = 3;

/// Lanes, and processes of an input: more than that are not told apart in bounded memory.
constexpr std::size_t most_lanes = 65'536;

/// Processes of one input, as numbers in the order of their first frames: process numbers of two recordings
/// have nothing to do with each other.
class senders {
  public:
    std::size_t number_of(capture::direction way, std::uint32_t process)
    {
        std::map<std::uint32_t, std::size_t> &known = known_[way];
        return known.try_emplace(process, known.size() + 1).first->second;
    }

  private:
    std::map<capture::direction, std::map<std::uint32_t, std::size_t>> known_;
};

/// Items of one side that wait for those of the other.
struct waiting {
    explicit waiting(item_store &store) : in_order(store) {}

    item_queue in_order;
    bool is_a = false; ///< of those in order

    struct same_key {
        bool is_a;
        std::list<item> items;
    };
    std::unordered_map<std::string, same_key> by_key;
};

class comparer {
  public:
    explicit comparer(const diff_options &options)
        : options_(options), labels_(of_input([&] { return chosen_labels(options.labels); })),
          keys_(options.keys, labels_.get()), how_(how(options, labels_.get())),
          a_(options.a, how_), b_(options.b, how_),
          report_(a_.name(), b_.name(), options.as_json, keys_, labels_.get())
    {}

    int run()
    {
        std::optional<item> next_a = a_.next(), next_b = b_.next();
        knows_senders_ =
            !options_.any_sender && next_a && next_b && next_a->has_facts && next_b->has_facts;
        // In turn, so that what belongs together comes at about the same time.
        while (next_a || next_b) {
            if (next_a) {
                take(std::move(*next_a), true);
                next_a = a_.next();
            }
            if (next_b) {
                take(std::move(*next_b), false);
                next_b = b_.next();
            }
        }
        for (auto &[in, held] : lanes_)
            finish(in, *held);
        report_.finish(counted_);
        if (a_.is_damaged() || b_.is_damaged())
            return unreadable_status;
        return counted_.different + counted_.only_a + counted_.only_b == 0 ? equal_status
                                                                           : different_status;
    }

  private:
    static input_options how(const diff_options &options, const inspect::labels *names)
    {
        input_options how{options.form, std::nullopt, names};
        if (!options.message.empty())
            how.given = of_arguments([&] { return identifier_or_throw(options.message); });
        return how;
    }

    lane lane_of(const item &i, bool is_a)
    {
        lane in{i.identifier, 0, capture::direction::sent};
        if (knows_senders_) {
            in.way = i.way;
            in.sender = (is_a ? senders_a_ : senders_b_).number_of(i.way, i.process);
        }
        return in;
    }

    void take(item &&i, bool is_a)
    {
        shown_.step();
        const lane in = lane_of(i, is_a);
        if (lanes_.size() == most_lanes && !lanes_.contains(in))
            throw std::runtime_error("vorl diff: there are more than " +
                                     std::to_string(most_lanes) +
                                     " pairs of a sender and a message; compare parts, or take "
                                     "--any-sender");
        std::unique_ptr<waiting> &held = lanes_[in];
        if (!held)
            held = std::make_unique<waiting>(store_);
        if (keys_.has(i.identifier)) {
            std::optional<std::string> key;
            {
                const opened of(i, labels_.get());
                if (of.record() != nullptr)
                    key = keys_.key_of(*of.type(), of.record());
            }
            if (key) {
                take_by_key(in, *held, *key, std::move(i), is_a);
                return;
            }
        }
        // What has no key is in order, too.
        if (held->in_order.empty() || held->is_a == is_a) {
            held->is_a = is_a;
            held->in_order.push(std::move(i));
            return;
        }
        const item other = held->in_order.pop();
        compare_pair(in, is_a ? i : other, is_a ? other : i);
    }

    void take_by_key(const lane &in, waiting &held, const std::string &key, item &&i, bool is_a)
    {
        const auto same = held.by_key.find(key);
        if (same == held.by_key.end() || same->second.is_a == is_a) {
            waiting::same_key &to = held.by_key[key];
            to.is_a = is_a;
            to.items.push_back(std::move(i));
            return;
        }
        const item other = std::move(same->second.items.front());
        same->second.items.pop_front();
        if (same->second.items.empty())
            held.by_key.erase(same);
        compare_pair(in, is_a ? i : other, is_a ? other : i);
    }

    void compare_pair(const lane &in, const item &a, const item &b)
    {
        ++counted_.compared;
        if (is_same(a, b))
            return;
        const opened in_a(a, labels_.get()), in_b(b, labels_.get());
        const std::vector<difference> where = compare(in_a, in_b, options_.strict, labels_.get());
        if (where.empty())
            return;
        ++counted_.different;
        report_.different(in, in_a, in_b, where);
    }

    /// What is left has no counterpart, unless that stood behind damage.
    void only(const lane &in, const item &i, bool is_a)
    {
        if ((is_a ? b_ : a_).is_cut()) {
            ++counted_.not_compared;
            return;
        }
        ++(is_a ? counted_.only_a : counted_.only_b);
        report_.only(in, opened(i, labels_.get()), is_a);
    }

    void finish(const lane &in, waiting &held)
    {
        while (!held.in_order.empty())
            only(in, held.in_order.pop(), held.is_a);
        // In the order of the keys, which is the same whenever it is run.
        std::map<std::string_view, const waiting::same_key *> sorted;
        for (const auto &[key, same] : held.by_key)
            sorted.emplace(key, &same);
        for (const auto &[key, same] : sorted) {
            for (const item &i : same->items)
                only(in, i, same->is_a);
        }
    }

    const diff_options &options_;
    chosen_labels labels_;
    keys keys_;
    input_options how_;
    input a_, b_;
    report report_;
    senders senders_a_, senders_b_;
    bool knows_senders_ = false;
    item_store store_;
    std::map<lane, std::unique_ptr<waiting>> lanes_;
    totals counted_;
    progress shown_{"frames and objects read"};
};

} // namespace

int diff(const diff_options &options)
{
    if (options.a == "-" && options.b == "-")
        throw wrong_usage("vorl diff: A and B are both standard input; name a file for one");
    return comparer(options).run();
}

} // namespace vorl::diff
