// Our paths, the copies that limit them and, where they are linked, the peers: nanoseconds a call, as
// lines of text on standard output. report.py makes tables of them. What each name means and how it is
// measured stands in docs/performance.md.
//
//   vorl_bench 1                                   the version of this form
//   processor|architecture|caches|core|compiler|date|mode   TAB what it is
//   run TAB number
//   group TAB name TAB warm or streaming
//   fact TAB name TAB value                        of the group's data
//   times TAB contender TAB ns TAB ns ...          one a slice
//   end                                            what has none was cut off
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>

#include "bench/groups.h"
#include "bench/library.h"
#include "bench/machine.h"
#include "bench/runs.h"

namespace vorl::bench {
namespace {

constexpr char usage[] =
    "usage: vorl_bench [--quick] [--runs N] [--only PREFIX] >FILE\n"
    "\n"
    "  Measures, which takes some minutes, and writes what it measured to standard output.\n"
    "  --quick        as little as shows that it works; the times are good for nothing\n"
    "  --runs N       so many processes, one after the other (5)\n"
    "  --only PREFIX  the groups whose names begin so\n";

struct options {
    settings how;
    bool quick = false;
    int runs = 5;
    int run = 0; ///< this process is one
    std::string only;
};

[[noreturn]] void wrong_usage(const char *what, const char *argument)
{
    fprintf(stderr, "vorl_bench: %s %s\n%s", what, argument, usage);
    exit(2);
}

int number(const char *option, const char *text)
{
    int value = 0;
    if (text == nullptr)
        wrong_usage("no number behind", option);
    const auto [end, error] = std::from_chars(text, text + strlen(text), value);
    if (error != std::errc{} || *end != '\0' || value < 1 || value > 1000)
        wrong_usage("takes a number from 1 to 1000:", option);
    return value;
}

options read_options(char **arguments)
{
    options read;
    for (char **a = arguments + 1; *a != nullptr; ++a) {
        const std::string_view option = *a;
        if (option == "--help") {
            fputs(usage, stdout);
            exit(0);
        } else if (option == "--quick") {
            read.quick = true;
            read.runs = 1;
            read.how = {.slice_seconds = 20e-6,
                        .group_seconds = 0,
                        .least_slices = 3,
                        .distinct_records = 500,
                        .streaming_bytes = 256 << 10};
        } else if (option == "--runs" || option == "--run") {
            (option == "--runs" ? read.runs : read.run) = number(*a, a[1]);
            ++a;
        } else if (option == "--only") {
            if (a[1] == nullptr)
                wrong_usage("no prefix behind", *a);
            read.only = *++a;
        } else {
            wrong_usage("does not know", *a);
        }
    }
    return read;
}

void print_machine(const options &asked, int core)
{
    printf("vorl_bench 1\n");
    printf("processor\t%s\n", processor(core).c_str());
#if defined __x86_64__
    printf("architecture\tx86-64\n");
#elif defined __aarch64__
    printf("architecture\tAArch64\n");
#endif
    printf("caches\t%zu\t%zu\t%zu\n", cache_size(1), cache_size(2), cache_size(3));
    printf("core\t%d\n", core);
    printf("compiler\t%s %s\n",
#ifdef __clang__
           "clang",
#else
           "gcc",
#endif
           __VERSION__);
    const time_t now = time(nullptr);
    char date[16];
    strftime(date, sizeof date, "%Y-%m-%d", gmtime(&now));
    printf("date\t%s\n", date);
    printf("mode\t%s\n", asked.quick ? "quick" : asked.only.empty() ? "full" : "part");
}

void measure(const options &asked, int run)
{
    std::vector<registered> groups = all_groups();
    std::erase_if(groups, [&](const registered &r) { return !r.name.starts_with(asked.only); });
    // In another order each time, so that what disturbs for a while disturbs different ones.
    std::shuffle(groups.begin(), groups.end(), std::mt19937(static_cast<unsigned>(run)));
    printf("run\t%d\n", run);
    for (size_t done = 0; done < groups.size(); ++done) {
        if (done * 4 % groups.size() < 4)
            fprintf(stderr, "run %d: %3zu%%\n", run, done * 100 / groups.size());
        const registered &r = groups[done];
        group g(r.measured_in);
        r.fill(g, asked.how);
        printf("group\t%s\t%s\n", r.name.c_str(), name_of(r.measured_in));
        for (const group::known &fact : g.facts())
            printf("fact\t%s\t%.4g\n", fact.name.c_str(), fact.value);
        for (const group::measured &contender : g.measure(asked.how)) {
            printf("times\t%s", contender.name.c_str());
            for (const double nanoseconds : contender.nanoseconds)
                printf("\t%.5g", nanoseconds);
            printf("\n");
        }
    }
}

} // namespace
} // namespace vorl::bench

int main(int, char **argv)
{
    using namespace vorl::bench;
    options asked = read_options(argv);
    if (!asked.quick)
        asked.how.streaming_bytes = std::max(asked.how.streaming_bytes, 8 * cache_size(2));
    const int core = stay_on_one_core();
    if (asked.run != 0) {
        measure(asked, asked.run);
        return 0;
    }
    print_machine(asked, core);
    if (!in_processes(asked.runs, argv, [&asked](int run) { measure(asked, run); }))
        return 1;
    printf("end\n");
    return fflush(stdout) == 0 ? 0 : 1;
}
