// Every group of the benchmark, by name. A group is filled when its turn comes and dropped when it
// is measured: together their data would not fit into memory.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/data.h"
#include "bench/timing.h"

namespace vorl::bench {

struct registered {
    std::string name;
    state measured_in;
    std::function<void(group &, const settings &)> fill;
};

/// The groups by subject. What a group's contenders are stands in the file of its subject.
void register_single(std::vector<registered> &groups);
void register_batches(std::vector<registered> &groups);
void register_sends(std::vector<registered> &groups);
void register_vectors(std::vector<registered> &groups);
void register_tap(std::vector<registered> &groups);
void register_throughput(std::vector<registered> &groups);

std::vector<registered> all_groups();

/// The patterns of zeros in which we are compared with the peers.
struct named_pattern {
    const char *name;
    pattern zeros;
};
inline constexpr named_pattern compared_patterns[] = {
    {"D", pattern::dense}, {"T", pattern::patterns}, {"Z", pattern::sparse}};

/// The types that most figures are about.
inline constexpr std::string_view small_types[] = {"srv6_vrf_class_data", "srv6_common_fwd",
                                                   "srv6_policy_fwd", "srv6_sidstack_fwd"};
/// And three whose encodings nest tables or are long.
inline constexpr std::string_view other_types[] = {
    "srv6_vrf_class_data_chg", "srv6_cfg_query_dfx_item", "srv6_cfg_query_trastat_rec_info"};

} // namespace vorl::bench
