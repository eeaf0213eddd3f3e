// serial/fast/zeros.h: the widths that scalars are compared at.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

/// Whether a window has a scalar of this width: zero_values of the width.
template <const message &M, uint32_t Width>
constexpr bool compares_at = of_a_window<M>([](uint32_t, const window_shape &s) {
    for (uint32_t i = 0; i < s.count; ++i) {
        if (s.size[i] == Width)
            return true;
    }
    return false;
});

TEST(zeros, by_message)
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
    expect_values(
        "comparisons of a window that its lanes are taken from",
        {{1, 64, "srv6_vrf_class_data"}, {2, 38, "srv6_vrf_class_data"}, {3, 6, "srv6_common_fwd"}},
        []<const message & M> {
            return values_of<M>([]<class K>() {
                value_set set = 0;
                for (uint32_t w = 0; w < K::layout::windows.count; ++w)
                    set |= just(K::zeros::widths(w).count);
                return set;
            });
        });
    expect_values("vectors of presence<M>, of tables that are elements or nested",
                  {{1, 9, "srv6_te_flow_grp_fwd_key"},
                   {2, 20, "srv6_portinfo_fwd_key"},
                   {3, 5, "srv6_te_flow_grp_tnl_fwd"},
                   {4, 2, "srv6_sidfunct_fwd"},
                   {5, 3, "srv6_policy_fwd"}},
                  []<const message & M> {
                      return values_of<M>([]<class K>() {
                          return is_nested<M> ? just(K::layout::windows.count) : 0;
                      });
                  });
}

} // namespace
} // namespace vorl::test
