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
                   {4, 48, "srv6_class_item_chg"},
                   {8, 77, "srv6_pid_state_chg"},
                   {16, 75, "srv6_class_item_chg"},
                   {31, 1, "srv6_cfg_query_dfx_item"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class Frame, class>() { return sizes_of(Frame::write_moves); });
                  });
    expect_values("moves from a frame: bytes",
                  {{1, 25, "srv6_bsid_fwd"},
                   {2, 30, "srv6_vrf_class_data"},
                   {4, 37, "srv6_class_item_chg"},
                   {8, 46, "srv6_cfg_query_trastat_cond"},
                   {16, 63, "srv6_vrf_class_state_chg"},
                   {31, 1, "srv6_cfg_query_dfx_item"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class Frame, class>() { return sizes_of(Frame::read_moves); });
                  });
    expect_values("moves from the packed form: bytes",
                  {{1, 15, "srv6_class_item"},
                   {2, 20, "srv6_class_item"},
                   {4, 37, "srv6_class_item_chg"},
                   {8, 52, "srv6_cfg_query_trastat_cond"},
                   {16, 63, "srv6_vrf_class_state_chg"},
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
    expect_values("loads of the packed form's constants: bytes",
                  {{2, 14, "srv6_pid_state_chg"},
                   {4, 36, "srv6_common_fwd"},
                   {8, 29, "srv6_vrf_class_data"},
                   {16, 75, "srv6_class_item_chg"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class, class Full>() { return sizes_of(Full::checks); });
                  });
    expect_values("loads of them behind the root offset, for an element: bytes",
                  {{2, 12, "srv6_pid_state_chg"},
                   {4, 38, "srv6_pid_state_chg"},
                   {8, 43, "srv6_cfg_trastat_rst_rec"},
                   {16, 62, "srv6_class_item_chg"}},
                  []<const message & M> {
                      return form_values_of<M>(
                          []<class, class Full>() { return sizes_of(Full::checks_behind_root); });
                  });
    // Of a record or a frame, the first of the moves begins before the last piece.
    const auto begins_with_the_last = [](const auto &moves) {
        return moves.count > 1 && moves.pieces[0].at > moves.pieces[1].at;
    };
    expect_taken("the last piece of a record from a frame goes first", 5, "srv6_iid_fwd_key",
                 [=]<const message & M> {
                     return form_values_of<M>([=]<class Frame, class>() {
                                return just(begins_with_the_last(Frame::read_moves));
                            }) == just(1);
                 });
    expect_taken("the last piece of a record from the packed form goes first", 10,
                 "srv6_vrf_class_data", [=]<const message & M> {
                     return form_values_of<M>([=]<class, class Full>() {
                                return just(begins_with_the_last(Full::read_moves));
                            }) == just(1);
                 });
    expect_taken("the last piece of a frame goes first", 17, "srv6_class_item",
                 [=]<const message & M> {
                     return form_values_of<M>([=]<class Frame, class>() {
                                return just(begins_with_the_last(Frame::write_moves));
                            }) == just(1);
                 });
}

} // namespace
} // namespace vorl::test
