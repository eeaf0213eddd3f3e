// Which messages each kernel is made for, and which way each `if constexpr` of serial/fast and of the
// door goes for them. What is never instantiated is no code to a coverage tool; here it is a zero.
//
// A branch is an expectation: how many of the messages take it, and one of those, written out. What
// nobody takes has a 0 and no name. A change to a kernel or to a message that moves a number fails.
//
// What is asked are the kernels' own constants, private ones included: CMakeLists.txt has this file
// compiled without access control.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "serial/codec.h"
#include "srv6_cfg_messages.h"
#include "srv6_messages.h"
#include "srv6_sync_messages.h"

namespace vorl::test {
namespace {

/// The messages for which `holds.operator()<M>()`, a constant, is true.
template <class Predicate>
std::vector<std::string> messages_where(Predicate holds)
{
    std::vector<std::string> names;
#define FACT(name, ...)                                                                            \
    if (holds.template operator()<name##_message>())                                               \
        names.emplace_back(#name);
#include "tests/facts/messages.inc"
#undef FACT
    return names;
}

/// So many messages take this branch, and this is one of them; of none the name is null.
template <class Predicate>
void expect_taken(const char *branch, std::size_t count, const char *example, Predicate holds)
{
    const std::vector<std::string> names = messages_where(holds);
    EXPECT_EQ(names.size(), count) << branch << (names.empty() ? "" : ", for one " + names[0]);
    if (example != nullptr) {
        EXPECT_NE(std::find(names.begin(), names.end(), example), names.end())
            << branch << ": not " << example << (names.empty() ? "" : ", but for one " + names[0]);
    }
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
#include "tests/facts/messages.inc"
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
#include "tests/facts/messages.inc"
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
    using writer = squeeze_writer<M>;
    using reader = spread_reader<M>;
    template <uint32_t PerVector>
    static constexpr uint32_t presence_vectors = presence<M, PerVector>::vectors;
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
        return values.template operator()<frame_form<M>, full_table_form<M>>();
    else
        return 0;
}

TEST(instances, of_the_door)
{
    expect_taken("any", 115, "srv6_spr_tnl_grp_fwd_update", []<const message & M> { return true; });
    expect_taken("flat", 73, "srv6_cfg_query_trastat_cond",
                 []<const message & M> { return is_flat(M); });
    expect_taken("leads elsewhere: unrolled", 42, "srv6_te_flow_grp_fwd_delete",
                 []<const message & M> { return !is_flat(M); });
    expect_taken("fixed size", 78, "srv6_cfg_query_trastat_item",
                 []<const message & M> { return is_fixed_size(M); });
    expect_taken("windows: packs, measures", 73, "srv6_cfg_query_trastat_cond",
                 []<const message & M> { return has_windows<M>; });
    expect_taken("flat without windows: the plain codec packs, measures", 0, nullptr,
                 []<const message & M> { return is_flat(M) && !has_windows<M>; });
    expect_taken("forms: frames, reads", 77, "srv6_pid_state_chg",
                 []<const message & M> { return has_forms(M); });
    expect_taken("flat without forms: the plain codec frames, reads", 0, nullptr,
                 []<const message & M> { return is_flat(M) && !has_forms(M); });
    expect_taken("leads elsewhere, with forms", 4, "srv6_class_item_chg",
                 []<const message & M> { return !is_flat(M) && has_forms(M); });
    expect_taken(
        "leads elsewhere, fixed size, without forms", 1, "srv6_cfg_query_trastat_rec_info",
        []<const message & M> { return !is_flat(M) && is_fixed_size(M) && !has_forms(M); });
    expect_taken("spread", 71, "srv6_cfg_query_trastat_cond",
                 []<const message & M> { return is_read_by_spread<M>; });
    expect_taken("windows without spread", 2, "srv6_sync_common_fwd_key",
                 []<const message & M> { return has_windows<M> && !is_read_by_spread<M>; });
    expect_taken("elements or nested tables: read_tables, pack_tables, add_tables_size", 42,
                 "srv6_policy_fwd_key", []<const message & M> { return is_nested<M>; });
    expect_taken("of those, with windows", 39, "srv6_candipath_fwd_key",
                 []<const message & M> { return is_nested<M> && has_windows<M>; });
    expect_taken("of those, with forms", 39, "srv6_candipath_fwd_key",
                 []<const message & M> { return is_nested<M> && has_forms(M); });
    expect_taken("of those, unrolled", 3, "srv6_cfg_query_trastat_rec_info",
                 []<const message & M> { return is_nested<M> && !is_flat(M); });

    // What the unrolled steps meet, by slot_shape.
    expect_values("packed, measured, read unrolled",
                  {{value_of(slot_shape::scalar), 37, "srv6_iid_fwd_update"},
                   {value_of(slot_shape::table), 8, "srv6_cfg_query_trastat_key"},
                   {value_of(slot_shape::table_array), 1, "srv6_cfg_query_trastat_rec_info"},
                   {value_of(slot_shape::byte_vector), 2, "srv6_cfg_query_comm_rec"},
                   {value_of(slot_shape::table_vector), 32, "srv6_policy_fwd_update"}},
                  []<const message & M> { return is_flat(M) ? 0 : shapes<M>; });
    expect_values("measured by add_largest_size",
                  {{value_of(slot_shape::scalar), 33, "srv6_policy_fwd_update"},
                   {value_of(slot_shape::table), 4, "srv6_cfg_query_dfx_key"},
                   {value_of(slot_shape::byte_vector), 2, "srv6_cfg_query_comm_rec"},
                   {value_of(slot_shape::table_vector), 32, "srv6_policy_fwd_update"}},
                  []<const message & M> { return is_fixed_size(M) ? 0 : shapes<M>; });
    expect_values(
        "framed unrolled",
        {{value_of(slot_shape::table_array), 1, "srv6_cfg_query_trastat_rec_info"}},
        []<const message & M> { return !has_forms(M) && is_fixed_size(M) ? shapes<M> : 0; });
}

TEST(instances, of_windows)
{
    expect_values("windows of a record",
                  {{1, 16, "srv6_cfg_trastat_rst_rec"},
                   {2, 39, "srv6_bsid_fwd_key"},
                   {3, 12, "srv6_sync_sidfunct_fwd"},
                   {4, 2, "srv6_sidfunct_fwd"},
                   {5, 4, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() { return just(K::layout::windows.count); });
                  });
    expect_taken("a record shorter than a window", 14, "srv6_cfg_trastat_rst",
                 []<const message & M> {
                     return of_windows<M>([]<class K>() { return K::layout::window_size < 16; });
                 });
    expect_taken("squeezed to 16 bytes", 58, "srv6_cfg_query_trastat_item", []<const message & M> {
        return of_windows<M>([]<class K>() { return K::layout::squeeze_width == 16; });
    });
    expect_taken("squeezed to 8 bytes", 15, "srv6_cfg_query_dfx_cond", []<const message & M> {
        return of_windows<M>([]<class K>() { return K::layout::squeeze_width == 8; });
    });
    expect_taken("a last window that begins early, to end with the record", 44,
                 "srv6_spr_tnl_fwd_key", []<const message & M> {
                     return of_windows<M>([]<class K>() {
                         for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
                             const auto &window = K::layout::windows.windows[w];
                             if (window.at < K::layout::all.slot[window.first].record_at / 8 * 8)
                                 return true;
                         }
                         return false;
                     });
                 });
    expect_taken("a window of seven scalars", 12, "srv6_bsid_fwd", []<const message & M> {
        return of_a_window<M>(
            [](uint32_t, const window_shape &s) { return s.count == window_scalar_limit; });
    });
    expect_taken("a window with a gap between its scalars", 13, "srv6_sync_localsid_fwd",
                 []<const message & M> {
                     return of_a_window<M>(
                         [](uint32_t, const window_shape &s) { return !s.is_in_a_row(); });
                 });
    // What would keep a flat message from windows.
    expect_taken("no scalar", 0, nullptr, []<const message & M> {
        if constexpr (is_flat(M))
            return packed_layout<M>::windows.count == 0;
        else
            return false;
    });
    expect_taken("more slots than the reader has lanes", 0, nullptr,
                 []<const message & M> { return is_flat(M) && M.slots.size > 2 * lane_count; });
    expect_taken("a field area past 112 bytes", 0, nullptr, []<const message & M> {
        if constexpr (is_flat(M))
            return packed_layout<M>::all.fields_end > 112;
        else
            return false;
    });
    expect_values("load_first, store_first of a window: bytes",
                  {{4, 2, "srv6_sync_common_fwd_key"},
                   {8, 2, "srv6_cfg_trastat_rst_rec"},
                   {12, 10, "srv6_cfg_trastat_rst"},
                   {16, 59, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() { return just(K::layout::window_size); });
                  });
    expect_values("scalars in a window",
                  {{1, 33, "srv6_cfg_query_trastat_item"},
                   {2, 36, "srv6_cfg_query_dfx_cond"},
                   {3, 14, "srv6_sync_portinfo_fwd_key"},
                   {4, 32, "srv6_bsid_fwd"},
                   {5, 12, "srv6_sync_common_fwd"},
                   {6, 7, "srv6_te_flow_grp_tnl_fwd"},
                   {7, 12, "srv6_bsid_fwd"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          value_set set = 0;
                          for (uint32_t w = 0; w < K::layout::windows.count; ++w)
                              set |= just(K::layout::scalars_in(w));
                          return set;
                      });
                  });
}

/// Whether a window has a scalar of this width: the branch of presence::compare.
template <const message &M, uint32_t Width>
constexpr bool compares_at = of_a_window<M>([](uint32_t, const window_shape &s) {
    for (uint32_t i = 0; i < s.count; ++i) {
        if (s.size[i] == Width)
            return true;
    }
    return false;
});

TEST(instances, of_presence)
{
    expect_taken("compared at 8 bytes", 1, "srv6_cfg_query_trastat_item",
                 []<const message & M> { return compares_at<M, 8>; });
    expect_taken("compared at 4 bytes", 73, "srv6_cfg_query_trastat_cond",
                 []<const message & M> { return compares_at<M, 4>; });
    expect_taken("compared at 2 bytes", 11, "srv6_iid_fwd",
                 []<const message & M> { return compares_at<M, 2>; });
    expect_taken("compared at 1 byte", 46, "srv6_bsid_fwd",
                 []<const message & M> { return compares_at<M, 1>; });
    expect_taken("at two widths in one window", 42, "srv6_cfg_query_trastat_item",
                 []<const message & M> {
                     return of_a_window<M>([](uint32_t, const window_shape &s) {
                         for (uint32_t i = 1; i < s.count; ++i) {
                             if (s.size[i] != s.size[0])
                                 return true;
                         }
                         return false;
                     });
                 });
    // A record that is packed by itself has two windows a vector, one of many has one.
    expect_values("vectors of presence<M, 1>, of tables that are elements or nested",
                  {{1, 9, "srv6_te_flow_grp_fwd_key"},
                   {2, 20, "srv6_portinfo_fwd_key"},
                   {3, 5, "srv6_te_flow_grp_tnl_fwd"},
                   {4, 2, "srv6_sidfunct_fwd"},
                   {5, 3, "srv6_policy_fwd"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          return is_nested<M> ? just(K::template presence_vectors<1>) : 0;
                      });
                  });
    expect_values("vectors of presence<M, 2>",
                  {{1, 55, "srv6_cfg_query_dfx_cond"},
                   {2, 14, "srv6_sync_xsid_fwd"},
                   {3, 4, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return values_of<M>(
                          []<class K>() { return just(K::template presence_vectors<2>); });
                  });
    expect_taken("the upper half of a vector: bits_of<1, 2>", 57, "srv6_bsid_fwd_key",
                 []<const message & M> {
                     return of_windows<M>([]<class K>() { return K::layout::windows.count >= 2; });
                 });
}

/// Whether some slot of a message with windows does.
template <const message &M, class Holds>
constexpr bool of_a_slot(Holds holds)
{
    return of_windows<M>([holds]<class K>() {
        for (uint32_t s = 0; s < K::layout::slots; ++s) {
            if (holds.template operator()<K>(s))
                return true;
        }
        return false;
    });
}
/// The stores of write_entries: `value(bytes, slots)` of each.
template <class K>
constexpr value_set entry_stores(auto value)
{
    value_set set = 0;
    const auto add = [&](uint32_t first, uint32_t slots) {
        for (uint32_t i = 0; i < slots; i += squeeze_row::entry_lanes) {
            const uint32_t left = (K::layout::slots - first - i) * entry_size;
            const uint32_t rounded = (left + word_size - 1) / word_size * word_size;
            set |= just(value(left <= 12 ? rounded : 16, slots - i));
        }
    };
    add(0, K::layout::windows.windows[0].first);
    for (uint32_t w = 0; w < K::layout::windows.count; ++w)
        add(K::layout::windows.windows[w].first, K::entries::slots_of(w));
    return set;
}

TEST(instances, of_squeezing)
{
    expect_taken("an array", 30, "srv6_sync_xsid_fwd", []<const message & M> {
        return of_windows<M>([]<class K>() { return K::layout::all.arrays > 0; });
    });
    expect_taken("no array", 43, "srv6_bsid_fwd", []<const message & M> {
        return of_windows<M>([]<class K>() { return K::layout::all.arrays == 0; });
    });
    expect_values("arrays in a row, to store_words",
                  {{1, 26, "srv6_sync_localsid_fwd"},
                   {2, 2, "srv6_sync_common_fwd"},
                   {3, 3, "srv6_sync_xsid_fwd"},
                   {11, 2, "srv6_sync_sidstack_fwd"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          value_set set = 0;
                          for (uint32_t s = 0; s < K::layout::slots; ++s) {
                              if (!K::layout::all.slot[s].is_scalar)
                                  set |=
                                      just(K::writer::run_of(s).end - K::writer::run_of(s).first);
                          }
                          return set;
                      });
                  });
    expect_taken("arrays side by side of different sizes", 1, "srv6_cfg_query_dfx_item",
                 []<const message & M> {
                     return of_a_slot<M>([]<class K>(uint32_t s) {
                         return s > 0 && !K::layout::all.slot[s].is_scalar &&
                                !K::layout::all.slot[s - 1].is_scalar &&
                                K::layout::all.slot[s].body != K::layout::all.slot[s - 1].body;
                     });
                 });
    // at_the_end of write_full.
    const auto end_of = [](const window_shape &s) -> uint32_t {
        return uint32_t{s.at[s.count - 1]} + s.size[s.count - 1];
    };
    expect_taken("a window that is stored as it is", 51, "srv6_bsid_fwd",
                 [end_of]<const message & M> {
                     return of_windows<M>([end_of]<class K>() {
                         for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
                             const window_shape s = K::layout::shape(w);
                             if (s.is_in_a_row() && end_of(s) == K::layout::squeeze_width)
                                 return true;
                         }
                         return false;
                     });
                 });
    expect_taken("one that is moved up", 40, "srv6_sync_common_fwd", [end_of]<const message & M> {
        return of_windows<M>([end_of]<class K>() {
            for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
                const window_shape s = K::layout::shape(w);
                if (s.is_in_a_row() && end_of(s) < K::layout::squeeze_width &&
                    K::layout::squeeze_width == 16)
                    return true;
            }
            return false;
        });
    });
    expect_taken("one that is shuffled", 25, "srv6_cfg_trastat_rst", [end_of]<const message & M> {
        return of_windows<M>([end_of]<class K>() {
            for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
                const window_shape s = K::layout::shape(w);
                const bool moves = s.is_in_a_row() && end_of(s) < K::layout::squeeze_width &&
                                   K::layout::squeeze_width == 16;
                if (!moves && !(s.is_in_a_row() && end_of(s) == K::layout::squeeze_width))
                    return true;
            }
            return false;
        });
    });
    // write_entries, store_entries and first_entry.
    expect_taken(
        "arrays before the first window", 1, "srv6_cfg_query_dfx_item", []<const message & M> {
            return of_windows<M>([]<class K>() { return K::layout::windows.windows[0].first > 0; });
        });
    expect_taken("a second window", 57, "srv6_bsid_fwd_key", []<const message & M> {
        return of_windows<M>([]<class K>() { return K::layout::windows.count > 1; });
    });
    expect_values("slots that store_entries has left; past 8, another store",
                  {{1, 29, "srv6_bsid_fwd_key"},
                   {2, 31, "srv6_bsid_fwd_key"},
                   {3, 20, "srv6_cfg_query_dfx_cond"},
                   {4, 36, "srv6_cfg_query_trastat_item"},
                   {5, 15, "srv6_te_flow_grp_fwd"},
                   {6, 6, "srv6_te_flow_grp_tnl_fwd"},
                   {7, 14, "srv6_sync_common_fwd"},
                   {8, 1, "srv6_common_fwd"},
                   {12, 2, "srv6_sync_sidstack_fwd"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          return entry_stores<K>([](uint32_t, uint32_t slots) { return slots; });
                      });
                  });
    expect_values("store_first of entries: bytes",
                  {{4, 43, "srv6_bsid_fwd_key"},
                   {8, 40, "srv6_cfg_trastat_rst"},
                   {12, 16, "srv6_cfg_query_trastat_item"},
                   {16, 35, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          return entry_stores<K>([](uint32_t bytes, uint32_t) { return bytes; });
                      });
                  });
    expect_taken("a window behind one of eight slots or more: first_entry not 0", 3,
                 "srv6_sidstack_fwd", []<const message & M> {
                     return of_windows<M>([]<class K>() {
                         for (uint32_t w = 1; w < K::layout::windows.count; ++w) {
                             if (K::entries::first_entry(w) != 0)
                                 return true;
                         }
                         return false;
                     });
                 });
}

TEST(instances, of_spreading)
{
    expect_taken("room behind the fields", 18, "srv6_sync_common_fwd", []<const message & M> {
        return of_spread<M>([]<class K>() { return K::reader::has_room; });
    });
    expect_taken("no room for sure: the last block slides", 53, "srv6_bsid_fwd_key",
                 []<const message & M> {
                     return of_spread<M>([]<class K>() { return !K::reader::has_room; });
                 });
    expect_values("blocks of fields",
                  {{1, 27, "srv6_cfg_query_dfx_cond"},
                   {2, 27, "srv6_spr_tnl_fwd_key"},
                   {3, 11, "srv6_sync_xsid_fwd"},
                   {4, 3, "srv6_sidfunct_fwd"},
                   {5, 3, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return spread_values_of<M>([]<class K>() { return just(K::reader::blocks); });
                  });
    expect_values("halves of eight entries",
                  {{1, 47, "srv6_cfg_query_dfx_cond"},
                   {2, 19, "srv6_cfg_query_trastat_item"},
                   {3, 5, "srv6_policy_fwd"}},
                  []<const message & M> {
                      return spread_values_of<M>([]<class K>() { return just(K::reader::halves); });
                  });
    expect_values(
        "vectors of entries", {{1, 66, "srv6_cfg_query_dfx_cond"}, {2, 5, "srv6_policy_fwd"}},
        []<const message & M> {
            return spread_values_of<M>([]<class K>() { return just(K::reader::index_vectors); });
        });
    expect_values("load_first of entries: how many",
                  {{1, 3, "srv6_iid_fwd"},
                   {2, 8, "srv6_cfg_trastat_rst_rec"},
                   {3, 12, "srv6_cfg_trastat_rst"},
                   {4, 16, "srv6_cfg_query_trastat_item"},
                   {5, 9, "srv6_cfg_query_dfx_item"},
                   {6, 9, "srv6_sync_common_fwd"},
                   {7, 9, "srv6_spr_tnl_fwd"},
                   {8, 28, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return spread_values_of<M>([]<class K>() {
                          value_set set = 0;
                          for (uint32_t left = K::layout::slots; left > 0;
                               left -= left < 8 ? left : 8)
                              set |= just(left < 8 ? left : 8);
                          return set;
                      });
                  });
    expect_values("vectors of entries without arrays (0), with (1)",
                  {{0, 42, "srv6_bsid_fwd"}, {1, 30, "srv6_sync_xsid_fwd"}}, []<const message & M> {
                      return spread_values_of<M>([]<class K>() {
                          value_set set = 0;
                          for (size_t v = 0; v < K::reader::index_vectors; ++v)
                              set |= just(K::reader::has_arrays_in(v));
                          return set;
                      });
                  });
    expect_taken("no array: no bodies to find", 41, "srv6_bsid_fwd", []<const message & M> {
        return of_spread<M>([]<class K>() { return K::layout::all.arrays == 0; });
    });
    expect_taken("one array", 18, "srv6_sync_localsid_fwd_key", []<const message & M> {
        return of_spread<M>([]<class K>() { return K::layout::all.arrays == 1; });
    });
    expect_taken("more arrays: their bodies one behind the other", 12, "srv6_sync_common_fwd",
                 []<const message & M> {
                     return of_spread<M>([]<class K>() { return K::layout::all.arrays > 1; });
                 });
    expect_taken("a window that has no slot of one of the vectors", 5, "srv6_policy_fwd",
                 []<const message & M> {
                     return of_spread<M>([]<class K>() {
                         for (uint32_t w = 0; w < K::layout::windows.count; ++w) {
                             for (size_t v = 0; v < K::reader::index_vectors; ++v) {
                                 if (!K::reader::has_slot_of(w, v))
                                     return true;
                             }
                         }
                         return false;
                     });
                 });
    expect_taken("a window of two vectors", 2, "srv6_sync_policy_fwd", []<const message & M> {
        return of_spread<M>([]<class K>() {
            for (uint32_t w = 0; w < K::layout::windows.count && K::reader::index_vectors > 1;
                 ++w) {
                if (K::reader::has_slot_of(w, 0) && K::reader::has_slot_of(w, 1))
                    return true;
            }
            return false;
        });
    });
    expect_values("blocks that the fields of a window can be in",
                  {{1, 71, "srv6_cfg_query_trastat_cond"},
                   {2, 42, "srv6_bsid_fwd"},
                   {3, 16, "srv6_cfg_query_trastat_item"},
                   {4, 3, "srv6_sidfunct_fwd"},
                   {5, 1, "srv6_cfg_query_trastat_item"}},
                  []<const message & M> {
                      return spread_values_of<M>([]<class K>() {
                          value_set set = 0;
                          for (uint32_t w = 0; w < K::layout::windows.count; ++w)
                              set |= just(K::reader::last_block(w) - K::reader::first_block(w) + 1);
                          return set;
                      });
                  });
    expect_taken("a scalar in two windows", 32, "srv6_bsid_fwd", []<const message & M> {
        return of_spread<M>([]<class K>() {
            for (uint32_t s = 0; s < K::layout::slots; ++s) {
                uint32_t windows = 0;
                for (uint32_t w = 0; w < K::layout::windows.count; ++w)
                    windows += K::reader::is_in(w, s);
                if (windows > 1)
                    return true;
            }
            return false;
        });
    });
}

TEST(instances, of_forms_and_moves)
{
    expect_taken("a scalar", 77, "srv6_pid_state_chg", []<const message & M> {
        return has_forms(M) && std::any_of(M.slots.begin(), M.slots.end(), [](const slot &s) {
                   return s.shape == slot_shape::scalar;
               });
    });
    expect_taken("an array", 30, "srv6_sync_xsid_fwd", []<const message & M> {
        return has_forms(M) && std::any_of(M.slots.begin(), M.slots.end(), [](const slot &s) {
                   return s.shape == slot_shape::array;
               });
    });
    expect_taken("a nested table", 4, "srv6_class_item_chg", []<const message & M> {
        return has_forms(M) && std::any_of(M.slots.begin(), M.slots.end(), [](const slot &s) {
                   return s.shape == slot_shape::table;
               });
    });
    // 31 stands for a memcpy of more than 16 bytes.
    expect_values("moves to a frame: bytes",
                  {{1, 11, "srv6_class_item_chg"},
                   {2, 6, "srv6_sync_xsid_fwd_key"},
                   {4, 49, "srv6_class_item_chg"},
                   {8, 77, "srv6_pid_state_chg"},
                   {16, 63, "srv6_class_item_chg"},
                   {31, 1, "srv6_cfg_query_dfx_item"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class Frame, class>() { return sizes_of(Frame::write_moves); });
                  });
    expect_values("moves from a frame: bytes",
                  {{1, 26, "srv6_bsid_fwd"},
                   {2, 36, "srv6_class_item_chg"},
                   {4, 37, "srv6_class_item_chg"},
                   {8, 47, "srv6_cfg_query_trastat_cond"},
                   {16, 61, "srv6_vrf_class_state_chg"},
                   {31, 1, "srv6_cfg_query_dfx_item"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class Frame, class>() { return sizes_of(Frame::read_moves); });
                  });
    expect_values("moves from a full table: bytes",
                  {{1, 26, "srv6_bsid_fwd"},
                   {2, 36, "srv6_class_item_chg"},
                   {4, 38, "srv6_class_item_chg"},
                   {8, 54, "srv6_cfg_query_trastat_cond"},
                   {16, 55, "srv6_vrf_class_state_chg"},
                   {31, 1, "srv6_cfg_query_dfx_item"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class, class Full>() { return sizes_of(Full::read_moves); });
                  });
    expect_values("loads of a frame's constants: bytes",
                  {{2, 24, "srv6_pid_state_chg"},
                   {4, 21, "srv6_spr_tnl_grp_fwd"},
                   {8, 77, "srv6_pid_state_chg"},
                   {16, 42, "srv6_vrf_class_state_chg"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class Frame, class>() { return sizes_of(Frame::checks); });
                  });
    expect_values("loads of a full table's constants: bytes",
                  {{2, 12, "srv6_pid_state_chg"},
                   {4, 38, "srv6_pid_state_chg"},
                   {8, 43, "srv6_cfg_trastat_rst_rec"},
                   {16, 62, "srv6_class_item_chg"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class, class Full>() { return sizes_of(Full::checks); });
                  });
}

} // namespace
} // namespace vorl::test
