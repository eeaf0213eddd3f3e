// serial/fast/windows.h: which records are seen through windows, and through which.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

TEST(windows, by_message)
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
    expect_taken_by_golden_alone<srv6_bodies_message>("no scalar", []<const message & M> {
        if constexpr (is_flat(M))
            return packed_layout<M>::windows.count == 0;
        else
            return false;
    });
    expect_taken_by_golden_alone<srv6_long_message>(
        "more slots than the reader has lanes",
        []<const message & M> { return is_flat(M) && M.slots.size > 2 * lane_count; });
    expect_taken_by_golden_alone<srv6_wide_message>(
        "a field area past 112 bytes", []<const message & M> {
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

} // namespace
} // namespace vorl::test
