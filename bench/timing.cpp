#include "bench/timing.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace vorl::bench {
namespace {

constexpr uint64_t least_passes = 3;

double seconds(const std::function<void(uint64_t)> &run, uint64_t passes)
{
    const auto start = std::chrono::steady_clock::now();
    run(passes);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

double group::seconds_of_slice(const contender &c) const
{
    // What the one before left in the caches is not this one's to pay for.
    if (state_ == state::warm)
        c.run(1);
    return seconds(c.run, c.passes);
}

void group::choose_passes(contender &c, const settings &how) const
{
    c.run(1);
    c.passes = 1;
    if (state_ == state::streaming)
        return;
    uint64_t passes = 1;
    double took = seconds(c.run, passes);
    while (took < how.slice_seconds / 4) {
        passes *= 4;
        took = seconds(c.run, passes);
    }
    const double needed = std::ceil(static_cast<double>(passes) * how.slice_seconds / took);
    c.passes = std::max(least_passes, static_cast<uint64_t>(needed));
}

std::vector<group::measured> group::measure(const settings &how)
{
    std::vector<measured> result;
    double round = 0;
    for (contender &c : contenders_) {
        choose_passes(c, how);
        result.push_back({c.name, {}});
        round += seconds_of_slice(c);
    }
    const uint32_t slices =
        round > 1 ? how.slow_slices
                  : static_cast<uint32_t>(std::clamp<double>(how.group_seconds / round,
                                                             how.least_slices, how.most_slices));
    for (uint32_t slice = 0; slice < slices; ++slice) {
        for (size_t i = 0; i < contenders_.size(); ++i) {
            const contender &c = contenders_[i];
            result[i].nanoseconds.push_back(seconds_of_slice(c) * 1e9 /
                                            (static_cast<double>(c.passes) * c.elements));
        }
    }
    return result;
}

} // namespace vorl::bench
