// For a program that has to run where the peers are not.
#include "bench/peers/peers.h"

namespace vorl::bench {
void add_peers(group &, const peer_work &) {}
} // namespace vorl::bench
