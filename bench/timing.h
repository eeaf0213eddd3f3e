// Interleaved timing. The contenders of a group run in turn, slice by slice, so that whatever the
// machine does meanwhile does it to all of them; ratios are then taken slice by slice.
//
// Each group measures in one of two states, and says which:
//
//   warm       a slice begins with a whole untimed pass over the contender's data, and at least three
//              timed ones follow: fast and slow contenders find their data in the same cache
//   streaming  the data is far larger than the second cache, and a slice is one pass over all of it:
//              each record is touched once, and comes from behind that cache
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorl::bench {

enum class state : uint8_t { warm, streaming };

inline const char *name_of(state s) { return s == state::warm ? "warm" : "streaming"; }

struct settings {
    double slice_seconds = 200e-6; ///< of a warm slice, at the least
    double group_seconds = 0.5;    ///< of a group, where its slices are many
    uint32_t least_slices = 5;
    uint32_t slow_slices = 3; ///< of a group that takes over a second a slice
    uint32_t most_slices = 21;
    uint32_t distinct_records = 20000; ///< with zeros: a predictor learns those of a few thousand
    size_t streaming_bytes = 16 << 20; ///< of records, at the least
};

class group {
  public:
    explicit group(state s) : state_(s) {}

    state measured_in() const { return state_; }

    /// What is measured with lives as long as the group.
    template <class T, class... Arguments>
    T &keep(Arguments &&...arguments)
    {
        auto made = std::make_shared<T>(std::forward<Arguments>(arguments)...);
        kept_.push_back(made);
        return *made;
    }

    /// A pass is step(0) to step(calls - 1). Times are per call and element.
    template <class Step>
    void add(std::string name, uint64_t calls, Step step, double elements = 1)
    {
        contenders_.push_back({std::move(name),
                               [step, calls](uint64_t passes) {
                                   auto call = step;
                                   for (; passes != 0; --passes) {
                                       for (uint64_t i = 0; i != calls; ++i)
                                           call(i);
                                   }
                               },
                               static_cast<double>(calls) * elements, 0});
    }

    /// Something that is known of the group's data: bytes, mostly.
    void fact(std::string name, double value) { facts_.push_back({std::move(name), value}); }

    struct known {
        std::string name;
        double value;
    };
    const std::vector<known> &facts() const { return facts_; }

    struct measured {
        std::string name;
        std::vector<double> nanoseconds; ///< one a slice
    };
    std::vector<measured> measure(const settings &how);

  private:
    struct contender {
        std::string name;
        std::function<void(uint64_t)> run; ///< so many passes
        double elements;                   ///< of a pass
        uint64_t passes;                   ///< of a slice; 0: not known yet
    };
    double seconds_of_slice(const contender &c) const;
    void choose_passes(contender &c, const settings &how) const;

    state state_;
    std::vector<std::shared_ptr<void>> kept_;
    std::vector<known> facts_;
    std::vector<contender> contenders_;
};

} // namespace vorl::bench
