// serial/fast/forms.h and moves.h: what the known forms are made of.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

TEST(forms, by_message)
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
