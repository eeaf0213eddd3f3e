// Loops that the compiler unrolls, over indices that are constants in each turn.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <utility>

/// Goes behind the parameters of a lambda, which is then inlined wherever it is called.
#define VORL_INLINED __attribute__((always_inline))

namespace vorl {

/// Calls `visit.operator()<index>()` for First to End - 1, while it returns true. True: all did.
/// The range is split in halves, because compilers limit how deep templates nest.
template <size_t First, size_t End, class Visitor>
[[gnu::always_inline]] constexpr bool all_of_range(Visitor &visit)
{
    if constexpr (End - First == 1) {
        return visit.template operator()<First>();
    } else if constexpr (End > First) {
        constexpr size_t middle = First + (End - First) / 2;
        return all_of_range<First, middle>(visit) && all_of_range<middle, End>(visit);
    } else {
        return true;
    }
}

/// The same for the indices from 0 to Count - 1.
template <size_t Count, class Visitor>
[[gnu::always_inline]] constexpr bool unroll_while(Visitor &&visit)
{
    return all_of_range<0, Count>(visit);
}

/// The same for a visitor that returns nothing.
template <size_t Count, class Visitor>
[[gnu::always_inline]] constexpr void unroll(Visitor &&visit)
{
    auto go_on = [&visit]<size_t Index>() VORL_INLINED {
        visit.template operator()<Index>();
        return true;
    };
    all_of_range<0, Count>(go_on);
}

/// A value that was found and the one that is wanted.
template <class Value>
struct comparison {
    Value found;
    Value wanted;
};

/// Whether the two are equal in each `compare.operator()<index>()`, for 0 to Count - 1. AArch64 makes
/// one chain of conditional comparisons of them, if all are loaded before; x86-64 compares with
/// memory, and is better off with a branch for each.
template <size_t Count, class Compare>
[[gnu::always_inline]] inline bool all_equal(Compare &&compare)
{
#if defined(__aarch64__)
    return [&]<size_t... Index>(std::index_sequence<Index...>) VORL_INLINED
    {
        const comparison<uint64_t> all[] = {{}, compare.template operator()<Index>()...};
        return ((all[Index + 1].found == all[Index + 1].wanted) && ...);
    }
    (std::make_index_sequence<Count>{});
#else
    return unroll_while<Count>([&]<size_t Index>() VORL_INLINED {
        const auto one = compare.template operator()<Index>();
        return one.found == one.wanted;
    });
#endif
}

} // namespace vorl
