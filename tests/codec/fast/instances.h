// Which messages each kernel is made for, and which way each `if constexpr` of serial/fast and of the
// door goes for them: the questions that the tests of the kernels (fast/) and of the door ask. What is
// never instantiated is no code to a coverage tool; here it is a zero.
//
// A branch is an expectation: how many of the 115 messages take it, and one of those, written out.
// What none of them takes names the message of tests/idlc/golden that does. A change to a kernel or
// to a message that moves a number fails.
//
// What is asked are the kernels' own constants, private ones included: CMakeLists.txt has the files
// that include this compiled without access control.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "serial/codec.h"
#include "srv6_cfg_messages.h"
#include "srv6_messages.h"
#include "srv6_sync_messages.h"
#include VORL_GOLDEN_MESSAGES

namespace vorl::test {

/// The messages for which `holds.operator()<M>()`, a constant, is true.
template <class Predicate>
std::vector<std::string> messages_where(Predicate holds)
{
    std::vector<std::string> names;
#define FACT(name, ...)                                                                            \
    if (holds.template operator()<name##_message>())                                               \
        names.emplace_back(#name);
#include "tests/facts/messages_of_1_0_0.inc"
#undef FACT
    return names;
}

/// So many messages take this branch, and this is one of them.
template <class Predicate>
void expect_taken(const char *branch, std::size_t count, const char *example, Predicate holds)
{
    const std::vector<std::string> names = messages_where(holds);
    EXPECT_EQ(names.size(), count) << branch << (names.empty() ? "" : ", for one " + names[0]);
    EXPECT_NE(std::find(names.begin(), names.end(), example), names.end())
        << branch << ": not " << example << (names.empty() ? "" : ", but for one " + names[0]);
}

/// No message takes this branch; `Golden`, which only tests compile, does.
template <const message &Golden, class Predicate>
void expect_taken_by_golden_alone(const char *branch, Predicate holds)
{
    const std::vector<std::string> names = messages_where(holds);
    EXPECT_TRUE(names.empty()) << branch << ": " << names[0];
    EXPECT_TRUE(holds.template operator()<Golden>())
        << branch << ": not " << name_of(function_name::none, Golden);
}

/// Values up to 31 that a constant has for a message, one bit each.
using value_set = uint32_t;
constexpr value_set just(uint32_t value) { return value_set{1} << value; }

struct instances {
    uint32_t value;
    std::size_t messages;
    const char *one_of_them;
};

/// A constant has these values, each for so many messages, one of which is named, and has no other:
/// `values.operator()<M>()`.
template <class Values>
void expect_values(const char *of, const std::vector<instances> &expected, Values values)
{
    std::vector<std::string> names[32];
#define FACT(name, ...)                                                                            \
    for (uint32_t value = 0; value < 32; ++value) {                                                \
        if ((values.template operator()<name##_message>() >> value & 1) != 0)                      \
            names[value].emplace_back(#name);                                                      \
    }
#include "tests/facts/messages_of_1_0_0.inc"
#undef FACT
    std::string found;
    std::string as_expected;
    const auto add = [](std::string &to, uint32_t value, std::size_t messages) {
        to += std::to_string(messages) + " of value " + std::to_string(value) + "; ";
    };
    for (uint32_t value = 0; value < 32; ++value) {
        if (!names[value].empty())
            add(found, value, names[value].size());
    }
    for (const instances &e : expected) {
        add(as_expected, e.value, e.messages);
        EXPECT_EQ(std::count(names[e.value].begin(), names[e.value].end(), e.one_of_them), 1)
            << of << ": not " << e.value << " for " << e.one_of_them << ", for one "
            << (names[e.value].empty() ? "none" : names[e.value][0]);
    }
    EXPECT_EQ(found, as_expected) << of;
}

/// Whether tables of the message are elements or nested tables of another.
template <const message &M>
constexpr bool is_nested = [] {
    bool result = false;
#define FACT(name, ...)                                                                            \
    for (const slot &s : name##_message.slots)                                                     \
        result = result || s.nested == &M;
#include "tests/facts/messages_of_1_0_0.inc"
#undef FACT
    return result;
}();

constexpr uint32_t value_of(slot_shape shape) { return static_cast<uint32_t>(shape); }

/// The shapes of a message's slots.
template <const message &M>
constexpr value_set shapes = [] {
    value_set set = 0;
    for (const slot &s : M.slots)
        set |= just(value_of(s.shape));
    return set;
}();

// The kernels' questions, with false for messages that they are not asked about.

template <const message &M>
constexpr bool is_read_by_spread = [] {
    if constexpr (has_windows<M>)
        return has_spread<M>;
    else
        return false;
}();

/// What a message's kernels are, looked at only where it has them.
template <const message &M>
struct kernels {
    using layout = packed_layout<M>;
    using entries = entry_layout<M>;
    using zeros = presence<M>;
    using writer = squeeze_writer<M>;
    using reader = spread_reader<M>;

    static constexpr bool has_slot_of(size_t window, size_t vector)
    {
        return reader::slots_to_window(window, vector) != filled(no_byte);
    }
    static constexpr bool has_arrays_in(size_t vector)
    {
        for (size_t s = vector * lane_count; s < layout::slots && s < (vector + 1) * lane_count;
             ++s) {
            if (!layout::all.slot[s].is_scalar)
                return true;
        }
        return false;
    }
};

/// `holds` of the kernels of a message with windows.
template <const message &M, class Holds>
constexpr bool of_windows(Holds holds)
{
    if constexpr (has_windows<M>)
        return holds.template operator()<kernels<M>>();
    else
        return false;
}

/// The same of a constant with several values.
template <const message &M, class Values>
constexpr value_set values_of(Values values)
{
    if constexpr (has_windows<M>)
        return values.template operator()<kernels<M>>();
    else
        return 0;
}
template <const message &M, class Values>
constexpr value_set spread_values_of(Values values)
{
    if constexpr (is_read_by_spread<M>)
        return values.template operator()<kernels<M>>();
    else
        return 0;
}

/// Whether some window does.
template <const message &M, class Holds>
constexpr bool of_a_window(Holds holds)
{
    return of_windows<M>([holds]<class K>() {
        for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
            if (holds(w, K::layout::shape(w)))
                return true;
        }
        return false;
    });
}

template <const message &M, class Holds>
constexpr bool of_spread(Holds holds)
{
    if constexpr (is_read_by_spread<M>)
        return holds.template operator()<kernels<M>>();
    else
        return false;
}

/// The sizes of moves or loads.
template <size_t Capacity>
constexpr value_set sizes_of(const piece_list<Capacity> &list)
{
    value_set set = 0;
    for (size_t i = 0; i < list.count; ++i)
        set |= just(list.pieces[i].size <= 16 ? list.pieces[i].size : 31);
    return set;
}

/// `values` of the forms of a message that has them.
template <const message &M, class Values>
constexpr value_set form_values_of(Values values)
{
    if constexpr (has_forms(M))
        return values.template operator()<frame_form<M>, packed_form<M>>();
    else
        return 0;
}

} // namespace vorl::test
