// serial/fast/spread.h: what a packed table is read by.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

TEST(spread, by_message)
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
    expect_taken("the index of an absent entry is lowered", 53, "srv6_vrf_class_data",
                 []<const message & M> {
                     return of_spread<M>([]<class K>() { return K::reader::lowers_absent; });
                 });
    expect_taken_by_golden_alone<srv6_roomy_message>(
        "it is, because of a scalar of 8 bytes alone", []<const message & M> {
            return of_spread<M>(
                []<class K>() { return K::reader::lowers_absent && K::reader::has_room; });
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
                              set |= just(K::has_arrays_in(v));
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
                                 if (!K::has_slot_of(w, v))
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
                if (K::has_slot_of(w, 0) && K::has_slot_of(w, 1))
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

} // namespace
} // namespace vorl::test
