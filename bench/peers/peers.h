// The peers as a group sees them: FlatBuffers, Cap'n Proto and protobuf, each encoding from and
// decoding into the same records as we do.
#pragma once

#include <string>

#include "bench/data.h"
#include "bench/timing.h"

namespace vorl::bench {

struct peer_work {
    const record_set &records;
    std::string which{};         ///< what the contenders' names end in, if anything
    size_t scratch_size = 65536; ///< of a peer that keeps one block for messages
    bool varied = false;         ///< a batch whose elements leave out different members
    double elements = 1;         ///< of a record
    bool slope = false;          ///< add_with_slope
};

/// Adds <peer>_encode and <peer>_decode of every peer, and the bytes that it encodes to. Each must
/// return every record unchanged, or the program ends. A program without peers adds nothing.
void add_peers(group &g, const peer_work &work);

} // namespace vorl::bench
