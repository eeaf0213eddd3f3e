// What the two differential tests share: how long they run, and how often each path was taken.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "tests/codec/support/messages.h"

namespace vorl::test {

/// The environment: VORL_DIFFERENTIAL_RUNS, how many inputs each test tries, whatever paths they are
/// for; VORL_DIFFERENTIAL_SEED, which.
inline std::uint64_t setting(const char *name, std::uint64_t otherwise)
{
    const char *text = std::getenv(name);
    return text != nullptr ? std::strtoull(text, nullptr, 0) : otherwise;
}

/// Executions by the path that the input was made for.
class tally {
  public:
    void add(const char *path) { ++counts_[path]; }

    /// One line a path, in the form that ./dev prove adds up.
    void print() const
    {
        for (const auto &[path, count] : counts_)
            std::printf("executions %10llu %s\n", static_cast<unsigned long long>(count),
                        path.c_str());
        std::fflush(stdout);
    }

    /// Of the path taken least; all `paths` of them were taken.
    std::uint64_t least(std::size_t paths) const
    {
        std::uint64_t least = counts_.size() == paths ? ~std::uint64_t{0} : 0;
        for (const auto &[path, count] : counts_)
            least = std::min(least, count);
        return least;
    }

    /// As many as were asked for; if none were, until each path has had its share of this build.
    bool is_enough(std::uint64_t runs, std::size_t paths) const
    {
        constexpr std::uint64_t between_looks = 4096;
        static const std::uint64_t asked = setting("VORL_DIFFERENTIAL_RUNS", 0);
        if (asked != 0)
            return runs >= asked;
        return runs % between_looks == 0 && least(paths) >= VORL_EXECUTIONS_PER_PATH;
    }

  private:
    std::map<std::string, std::uint64_t> counts_;
};

/// Whether the message has scalars and arrays of scalars only.
inline bool is_plain(const message &m) { return !reference::checks_root_itself(m); }

} // namespace vorl::test
