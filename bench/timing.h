// Interleaved timing. The contenders of a group run in turn, slice by slice, so that whatever the
// machine does meanwhile does it to all of them; a repetition's time of a contender is the median of
// its slices. Ratios are then taken repetition by repetition.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vorl::bench {

struct settings {
    double slice_seconds = 200e-6;
    uint32_t slices = 7;
};

class group {
  public:
    explicit group(std::string name) : name_(std::move(name)) {}

    const std::string &name() const { return name_; }

    /// step(i) for i = 0, 1 to period - 1 and from the start again. Times are per call and element.
    template <class Step>
    void add(std::string name, uint64_t period, Step step, double elements = 1)
    {
        contenders_.push_back({std::move(name),
                               [step, period, at = uint64_t{0}](uint64_t calls) mutable {
                                   auto call = step;
                                   uint64_t i = at;
                                   for (; calls != 0; --calls) {
                                       call(i);
                                       if (++i == period)
                                           i = 0;
                                   }
                                   at = i;
                               },
                               elements, 0});
    }

    /// One repetition: tell(name, nanoseconds) for each contender.
    void measure(const settings &how, const std::function<void(const std::string &, double)> &tell);

  private:
    struct contender {
        std::string name;
        std::function<void(uint64_t)> run;
        double elements;
        uint64_t calls; ///< a slice; 0: not known yet
    };

    std::string name_;
    std::vector<contender> contenders_;
};

} // namespace vorl::bench
