// The word that somebody meant: for messages about a name that there is not.
#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace vorl {

/// How many letters have to be put in, taken out or replaced, or neighbours exchanged, to make one
/// word of the other.
inline std::size_t edit_distance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> before(to.size() + 1); // of `from` without its last two letters
    std::vector<std::size_t> last(to.size() + 1);   // without its last
    std::vector<std::size_t> next(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        next[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool is_same = from[i - 1] == to[j - 1];
            next[j] = std::min({last[j] + 1, next[j - 1] + 1, last[j - 1] + (is_same ? 0 : 1)});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                next[j] = std::min(next[j], before[j - 2] + 1);
        }
        std::swap(before, last);
        std::swap(last, next);
    }
    return last[to.size()];
}

/// The only candidate that begins with the word, or the first of the nearest. Empty: none is near, for which more than a
/// third of its letters, and more than one, are wrong, or the word is longer than any that is meant.
template <class Candidates>
std::string_view did_you_mean(std::string_view word, const Candidates &candidates)
{
    constexpr std::size_t longest = 64;
    std::string_view nearest;
    if (word.empty() || word.size() > longest)
        return nearest;
    constexpr std::size_t fewest = 3; // letters that say something of how a word goes on
    std::size_t beginning = 0;
    for (const std::string_view candidate : candidates) {
        if (word.size() >= fewest && candidate.starts_with(word) && ++beginning == 1)
            nearest = candidate;
    }
    if (beginning == 1)
        return nearest;
    nearest = {};
    std::size_t least = std::max(word.size() / 3, std::size_t{1}) + 1;
    for (const std::string_view candidate : candidates) {
        const std::size_t shorter = std::min(word.size(), candidate.size());
        if (std::max(word.size(), candidate.size()) - shorter >= least)
            continue;
        const std::size_t distance = edit_distance(word, candidate);
        // A word of which nothing is left is no other word.
        if (distance < least && distance < word.size()) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

/// "did you mean NEAREST?", or `otherwise` where no candidate is near.
template <class Candidates>
std::string did_you_mean_or(std::string_view word, const Candidates &candidates,
                            const std::string &otherwise)
{
    const std::string_view nearest = did_you_mean(word, candidates);
    return nearest.empty() ? otherwise : "did you mean " + std::string(nearest) + "?";
}

} // namespace vorl
