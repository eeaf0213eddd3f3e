#include "bench/timing.h"

#include <algorithm>
#include <chrono>

namespace vorl::bench {
namespace {

double seconds(const std::function<void(uint64_t)> &run, uint64_t calls)
{
    const auto start = std::chrono::steady_clock::now();
    run(calls);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

void group::measure(const settings &how,
                    const std::function<void(const std::string &, double)> &tell)
{
    for (contender &c : contenders_) {
        if (c.calls != 0)
            continue;
        c.run(1);
        uint64_t calls = 1;
        double took = seconds(c.run, calls);
        while (took < how.slice_seconds / 4) {
            calls *= 4;
            took = seconds(c.run, calls);
        }
        c.calls = std::max<uint64_t>(
            1, static_cast<uint64_t>(static_cast<double>(calls) * how.slice_seconds / took));
    }

    std::vector<std::vector<double>> times(contenders_.size());
    for (uint32_t slice = 0; slice < how.slices; ++slice) {
        for (size_t i = 0; i < contenders_.size(); ++i) {
            const contender &c = contenders_[i];
            // What the one before left in the caches is not ours to pay for.
            c.run(std::min<uint64_t>(c.calls, 100));
            times[i].push_back(seconds(c.run, c.calls));
        }
    }
    for (size_t i = 0; i < contenders_.size(); ++i) {
        const contender &c = contenders_[i];
        std::vector<double> &t = times[i];
        std::nth_element(t.begin(), t.begin() + static_cast<std::ptrdiff_t>(t.size() / 2), t.end());
        tell(c.name, t[t.size() / 2] * 1e9 / static_cast<double>(c.calls) / c.elements);
    }
}

} // namespace vorl::bench
