// exhaustive: every value of every word, length and entry of well-formed buffers of every message,
// one at a time, read by the library and by the reference. What is tried stands in inputs.h, what
// is compared in run.h. ./dev prove --exhaustive runs all of it; a test of the suite a sample.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "tests/codec/exhaustive/inputs.h"

namespace vorl::test::exhaustive {
namespace {

constexpr const char *usage =
    "usage: codec_exhaustive [--jobs N] [--sample N] [--message NAME] [--form NAME] [--kind NAME]\n"
    "                        [--at N] [--order little|big] [--value N]\n"
    "\n"
    "  --jobs N    processes; as many as there are processors if not given\n"
    "  --sample N  of each word, length and entry N values and not all of them (of those of inner "
    "elements N / 50),\n"
    "              drawn from a seed: that of VORL_EXHAUSTIVE_SEED in the environment, or the "
    "clock's\n"
    "\n"
    "The others narrow down what is tried, as a disagreement is reported.\n";

struct options {
    std::uint64_t jobs = 0;
    std::uint64_t sample = 0; ///< values of a place; 0: all
    std::string message;
    std::string form;
    std::string kind;
    std::string order;
    std::optional<std::uint64_t> at;
    std::optional<std::uint64_t> value;
};

[[noreturn]] void fail(const std::string &why)
{
    std::fprintf(stderr, "codec_exhaustive: %s\n%s", why.c_str(), usage);
    std::exit(2);
}

std::uint64_t number(std::string_view option, const char *text)
{
    char *end = nullptr;
    errno = 0;
    const std::uint64_t value = std::strtoull(text, &end, 0);
    if (*text < '0' || *text > '9' || *end != 0 || errno != 0)
        fail(std::string(option) + " takes a number, not \"" + text + '"');
    return value;
}

options options_of(int argc, char **argv)
{
    options o;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view option = argv[i];
        const char *argument = argv[i + 1];
        if (option == "--help") {
            std::fputs(usage, stdout);
            std::exit(0);
        }
        if (argument == nullptr)
            fail("nothing behind " + std::string(option));
        if (option == "--jobs")
            o.jobs = number(option, argument);
        else if (option == "--sample")
            o.sample = number(option, argument);
        else if (option == "--at")
            o.at = number(option, argument);
        else if (option == "--value")
            o.value = number(option, argument);
        else if (option == "--message")
            o.message = argument;
        else if (option == "--form")
            o.form = argument;
        else if (option == "--kind")
            o.kind = argument;
        else if (option == "--order")
            o.order = argument;
        else
            fail("what is " + std::string(option) + '?');
    }
    if (o.jobs == 0)
        o.jobs = static_cast<std::uint64_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    return o;
}

/// All values of one place of one input.
struct work {
    const input *in;
    const place *where;
};

/// What the processes share.
struct shared_state {
    static constexpr std::size_t most_jobs = 256;
    struct tally {
        std::atomic<std::uint64_t> cases[2][std::size(all_kinds)];
    };
    /// What a process is at, for when it dies of it.
    struct current {
        std::atomic<std::size_t> item;
        std::atomic<std::uint32_t> value;
    };

    std::atomic<std::size_t> next;
    std::atomic<std::uint64_t> disagreements;
    tally counts;
    current at[most_jobs];
};

/// Of many disagreements the first ones say what there is to say.
constexpr std::uint64_t most_reports = 20;

std::string how_to_repeat(const work &w, std::uint32_t value)
{
    char text[512];
    std::snprintf(text, sizeof text,
                  "codec_exhaustive --message %s --form %s --order %s --kind %s --at %u --value %u",
                  name_of(*w.in->message->data), w.in->form, test::name_of(w.in->byte_order),
                  name_of(w.where->what), w.where->at, value);
    return text;
}

void report(shared_state &shared, const work &w, std::uint32_t value, const std::string &what)
{
    if (shared.disagreements.fetch_add(1) >= most_reports)
        return;
    const std::string text =
        "exhaustive: " + std::string(name_of(*w.in->message->data)) + ", " + w.in->form + ", " +
        name_of(w.where->what) + " at " + std::to_string(w.where->at) + " (" + w.where->of +
        ") as " + std::to_string(value) + ", byte order " + test::name_of(w.in->byte_order) + "\n" +
        what + "repeat it: " + how_to_repeat(w, value) + '\n';
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

/// Of all values of a place, those to be tried: a half of a sample lies where the place can lead
/// inside the buffer.
std::vector<std::uint32_t> chosen_values(const options &o, const work &w, std::uint64_t seed)
{
    std::vector<std::uint32_t> all = values(*w.in, *w.where);
    if (o.value) {
        const auto found = std::find(all.begin(), all.end(), *o.value);
        return found == all.end() ? std::vector<std::uint32_t>{}
                                  : std::vector<std::uint32_t>{*found};
    }
    // Most places are those of inner elements of a few messages, and the longest to read.
    const std::uint64_t count = w.where->is_inner ? o.sample / 50 : o.sample;
    if (o.sample == 0 || count >= all.size())
        return all;
    random_source random(seed);
    const auto inside = static_cast<std::size_t>(
        std::upper_bound(all.begin(), all.end(), w.in->content.size()) - all.begin());
    std::vector<std::uint32_t> chosen;
    for (std::uint64_t i = 0; i < count; ++i)
        chosen.push_back(all[random() % (i % 2 == 0 ? all.size() : inside)]);
    return chosen;
}

/// A process: takes one item after another until there is none.
class worker {
  public:
    worker(const options &o, std::span<const work> items, std::uint64_t seed, shared_state &shared,
           std::size_t number)
        : options_(o), items_(items), seed_(seed), shared_(shared), at_(shared.at[number]),
          memory_([items] {
              std::size_t largest = 4;
              for (const work &w : items)
                  largest = std::max(largest, w.in->content.size());
              return largest;
          }())
    {}

    void run()
    {
        for (std::size_t i; (i = shared_.next.fetch_add(1)) < items_.size();) {
            const work &w = items_[i];
            if (!order_ || *order_ != w.in->byte_order) {
                order_ = w.in->byte_order;
                settle(*order_);
            }
            at_.item = i;
            const std::vector<std::uint32_t> list = chosen_values(options_, w, seed_ + i);
            if (w.where->what == kind::length)
                try_lengths(w, list);
            else
                try_words(w, list);
            shared_.counts.cases[w.in->byte_order == order::big][static_cast<int>(w.where->what)] +=
                list.size();
        }
    }

  private:
    void try_lengths(const work &w, const std::vector<std::uint32_t> &lengths)
    {
        for (const std::uint32_t length : lengths)
            try_one(w, length, memory_.holding(std::span(w.in->content).first(length)), length);
    }

    void try_words(const work &w, const std::vector<std::uint32_t> &list)
    {
        const std::size_t size = w.in->content.size();
        std::uint8_t *const buffer = memory_.space(size, 0);
        std::copy(w.in->content.begin(), w.in->content.end(), buffer);
        for (const std::uint32_t value : list) {
            reference::store(buffer + w.where->at, value, width_of(w.where->what),
                             w.in->byte_order);
            try_one(w, value, buffer, static_cast<std::uint32_t>(size));
        }
    }

    void try_one(const work &w, std::uint32_t value, const std::uint8_t *buffer,
                 std::uint32_t length)
    {
        at_.value.store(value, std::memory_order_relaxed);
        const std::string what =
            comparison_.difference(*w.in->message, buffer, length, w.in->byte_order);
        if (!what.empty())
            report(shared_, w, value, what);
    }

    const options &options_;
    std::span<const work> items_;
    std::uint64_t seed_;
    shared_state &shared_;
    shared_state::current &at_;
    guarded_buffer memory_;
    comparison comparison_;
    std::optional<order> order_;
};

std::vector<work> work_of(const options &o, std::span<const input> all)
{
    std::vector<work> items;
    for (const input &in : all) {
        if ((!o.message.empty() && o.message != name_of(*in.message->data)) ||
            (!o.form.empty() && o.form != in.form) ||
            (!o.order.empty() && o.order != test::name_of(in.byte_order)))
            continue;
        for (const place &p : in.places) {
            if ((o.kind.empty() || o.kind == name_of(p.what)) && (!o.at || *o.at == p.at))
                items.push_back({&in, &p});
        }
    }
    // Long buffers first, so that no process is left with one at the end.
    std::stable_sort(items.begin(), items.end(), [](const work &a, const work &b) {
        return a.in->content.size() > b.in->content.size();
    });
    return items;
}

/// A line a minute.
class progress_lines {
  public:
    void tell(std::size_t done, std::size_t all)
    {
        const auto now = std::chrono::steady_clock::now();
        if (now - last_ < std::chrono::minutes(1))
            return;
        last_ = now;
        minutes_ += 1;
        std::fprintf(stderr, "exhaustive: %zu of %zu places begun, %d min\n", done, all, minutes_);
    }

  private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
    int minutes_ = 0;
};

/// Runs the processes; false when one died.
bool run_all(const options &o, std::span<const work> items, std::uint64_t seed,
             shared_state &shared)
{
    std::vector<pid_t> processes(std::min<std::uint64_t>(o.jobs, shared_state::most_jobs));
    for (std::size_t i = 0; i < processes.size(); ++i) {
        processes[i] = fork();
        if (processes[i] < 0) {
            std::perror("codec_exhaustive: fork");
            std::exit(2);
        }
        if (processes[i] == 0) {
            worker(o, items, seed, shared, i).run();
            std::fflush(nullptr);
            _exit(0);
        }
    }
    bool all_ended = true;
    progress_lines progress;
    for (std::size_t i = 0; i < processes.size(); ++i) {
        int status = 0;
        while (waitpid(processes[i], &status, WNOHANG) == 0) {
            usleep(20000);
            progress.tell(std::min<std::size_t>(shared.next, items.size()), items.size());
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
            continue;
        all_ended = false;
        const std::size_t item = shared.at[i].item;
        const std::string how =
            WIFSIGNALED(status) ? std::string("  ended by signal ") + strsignal(WTERMSIG(status))
                                : "  ended with status " + std::to_string(WEXITSTATUS(status));
        if (item < items.size())
            report(shared, items[item], shared.at[i].value, how + '\n');
    }
    return all_ended;
}

void print_counts(const shared_state &shared, std::span<const work> items, double seconds)
{
    std::uint64_t places[std::size(all_kinds)] = {};
    for (const work &w : items)
        ++places[static_cast<int>(w.where->what)];
    std::printf("%14s %10s %14s %14s\n", "varied", "places", "little", "big");
    std::uint64_t sums[3] = {};
    for (const kind k : all_kinds) {
        const auto i = static_cast<int>(k);
        const std::uint64_t little = shared.counts.cases[0][i];
        const std::uint64_t big = shared.counts.cases[1][i];
        std::printf("%14s %10llu %14llu %14llu\n", name_of(k),
                    static_cast<unsigned long long>(places[i]),
                    static_cast<unsigned long long>(little), static_cast<unsigned long long>(big));
        sums[0] += places[i];
        sums[1] += little;
        sums[2] += big;
    }
    std::printf("%14s %10llu %14llu %14llu\n", "in all", static_cast<unsigned long long>(sums[0]),
                static_cast<unsigned long long>(sums[1]), static_cast<unsigned long long>(sums[2]));
    std::printf("%llu disagreements, %.0f s\n",
                static_cast<unsigned long long>(shared.disagreements), seconds);
}

int main_of(int argc, char **argv)
{
    const options o = options_of(argc, argv);
    std::uint64_t seed = 0;
    if (o.sample != 0) {
        const char *text = std::getenv("VORL_EXHAUSTIVE_SEED");
        seed = text != nullptr ? number("VORL_EXHAUSTIVE_SEED", text)
                               : static_cast<std::uint64_t>(
                                     std::chrono::system_clock::now().time_since_epoch().count());
        std::printf("VORL_EXHAUSTIVE_SEED=%llu repeats this sample\n",
                    static_cast<unsigned long long>(seed));
    }

    std::vector<input> all = inputs(order::little);
    for (input &in : inputs(order::big))
        all.push_back(std::move(in));
    const std::vector<work> items = work_of(o, all);
    if (items.empty())
        fail("nothing is left to try: no message has such a place");
    std::printf("%zu messages, %zu buffers of %zu to %zu bytes\n", subjects().size(), all.size(),
                items.back().in->content.size(), items.front().in->content.size());
    std::fflush(stdout);

    void *const memory = mmap(nullptr, sizeof(shared_state), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("codec_exhaustive: mmap");
        return 2;
    }
    auto &shared = *new (memory) shared_state{};
    const auto began = std::chrono::steady_clock::now();
    const bool all_ended = run_all(o, items, seed, shared);
    print_counts(shared, items,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
    return all_ended && shared.disagreements == 0 ? 0 : 1;
}

} // namespace
} // namespace vorl::test::exhaustive

int main(int argc, char **argv) { return vorl::test::exhaustive::main_of(argc, argv); }
