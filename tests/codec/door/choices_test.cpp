// serial/codec.h: for which messages the door takes which codec.
#include "tests/codec/fast/instances.h"

namespace vorl::test {
namespace {

TEST(door_choices, by_message)
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
    expect_taken_by_golden_alone<srv6_bodies_message>(
        "flat without windows: the plain codec packs, measures",
        []<const message & M> { return is_flat(M) && !has_windows<M>; });
    expect_taken("forms: frames, reads", 77, "srv6_pid_state_chg",
                 []<const message & M> { return has_forms(M); });
    expect_taken_by_golden_alone<srv6_longest_message>(
        "flat without forms: the plain codec frames, reads",
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

} // namespace
} // namespace vorl::test
