#include "bench/groups.h"

namespace vorl::bench {

std::vector<registered> all_groups()
{
    std::vector<registered> groups;
    register_single(groups);
    register_batches(groups);
    register_sends(groups);
    register_vectors(groups);
    register_tap(groups);
    register_throughput(groups);
    return groups;
}

} // namespace vorl::bench
