// serial/fast/squeeze.h: what a packed table is stored by.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

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

TEST(squeeze, by_message)
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
                          K::writer::each_run(
                              [&set]<auto Arrays>() { set |= just(Arrays.end - Arrays.first); });
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
    // What write_full does with a window.
    enum : uint32_t { stored_in_place, ends_as_it_is, moved_up, shuffled };
    const auto done_with = []<class K>(uint32_t w) -> uint32_t {
        const window_shape s = K::layout::shape(w);
        const uint32_t end = uint32_t{s.at[s.count - 1]} + s.size[s.count - 1];
        if (K::writer::is_stored_in_place(w))
            return stored_in_place;
        if (!s.is_in_a_row())
            return shuffled;
        if (end == K::layout::squeeze_width)
            return ends_as_it_is;
        return end < K::layout::squeeze_width && K::layout::squeeze_width == 16 ? moved_up
                                                                                : shuffled;
    };
    expect_values("windows of a full record: in place, as they are, moved up, shuffled",
                  {{stored_in_place, 51, "srv6_vrf_class_data"},
                   {ends_as_it_is, 13, "srv6_class_item"},
                   {moved_up, 29, "srv6_vrf_class_data"},
                   {shuffled, 25, "srv6_cfg_trastat_rst"}},
                  [done_with]<const message & M> {
                      return values_of<M>([done_with]<class K>() {
                          value_set set = 0;
                          for (uint32_t w = 0; w < K::layout::windows.count; ++w)
                              set |= just(done_with.template operator()<K>(w));
                          return set;
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

} // namespace
} // namespace vorl::test
