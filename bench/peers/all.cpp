#include "bench/peers/peers.h"

#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "bench/contenders.h"
#include "bench/peers/capnp.h"
#include "bench/peers/flatbuffers.h"
#include "bench/peers/protobuf.h"

namespace vorl::bench {
namespace {

void release(srv6_common_fwd_update &record) { free(record.f1); }
template <class Record>
void release(Record &)
{}

/// Records have no padding that is not zero: each was cleared before it was filled.
const void *bytes_of(const void *record) { return record; }

bool same(const srv6_common_fwd_update &a, const srv6_common_fwd_update &b)
{
    return a.f0 == b.f0 && a.f1_count == b.f1_count &&
           memcmp(a.f1, b.f1, a.f1_count * sizeof *a.f1) == 0;
}
template <class Record>
bool same(const Record &a, const Record &b)
{
    return memcmp(bytes_of(&a), bytes_of(&b), sizeof a) == 0;
}

template <class Peer, class Record>
void add_peer(group &g, const peer_work &work)
{
    const uint64_t count = work.records.count();
    const auto at = [records = work.records.view()](uint64_t i) -> const Record & {
        return *reinterpret_cast<const Record *>(records.at(i));
    };
    auto &peer = g.keep<Peer>(work.scratch_size, work.varied);
    auto &bytes = g.keep<encodings>();
    for (uint64_t i = 0; i < count; ++i) {
        const std::vector<uint8_t> encoded = peer.encoded(at(i));
        Record decoded;
        memset(static_cast<void *>(&decoded), 0, sizeof decoded);
        if (!peer.decode(encoded, decoded) || !same(decoded, at(i)))
            give_up("a record came back changed:", Peer::name);
        release(decoded);
        bytes.add(encoded.data(), encoded.size());
    }
    const ring &to = record_outputs(g, sizeof(Record), count);
    const std::string end = work.which.empty() ? "" : "." + work.which;
    const std::string name = Peer::name;
    g.fact(name + "_bytes" + end, bytes.mean_length() / work.elements);
    const auto encode = [&peer, at](uint64_t i) { peer.encode(at(i)); };
    const auto decode = [&peer, bytes = bytes.view(), to = to.view()](uint64_t i) {
        auto &record = *reinterpret_cast<Record *>(to.at(i));
        peer.decode({bytes.at(i), bytes.length(i)}, record);
        release(record);
    };
    if (work.slope) {
        add_with_slope(g, name + "_encode" + end, count, encode);
        add_with_slope(g, name + "_decode" + end, count, decode);
    } else {
        g.add(name + "_encode" + end, count, encode, work.elements);
        g.add(name + "_decode" + end, count, decode, work.elements);
    }
}

template <class Record>
void add_all(group &g, const peer_work &work)
{
    add_peer<flatbuffers_peer<Record>, Record>(g, work);
    add_peer<capnp_peer<Record>, Record>(g, work);
    add_peer<protobuf_peer<Record>, Record>(g, work);
}

} // namespace

void add_peers(group &g, const peer_work &work)
{
    const std::string_view name = name_of(work.records.type());
#define RECORD(type)                                                                               \
    if (name == #type)                                                                             \
        return add_all<type>(g, work);
    RECORD(srv6_vrf_class_data)
    RECORD(srv6_common_fwd)
    RECORD(srv6_policy_fwd)
    RECORD(srv6_sidstack_fwd)
    RECORD(srv6_vrf_class_data_chg)
    RECORD(srv6_cfg_query_dfx_item)
    RECORD(srv6_cfg_query_trastat_rec_info)
    RECORD(srv6_common_fwd_update)
#undef RECORD
    give_up("the peers have no", name_of(work.records.type()));
}

} // namespace vorl::bench
