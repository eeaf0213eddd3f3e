// throughput/TYPE: a process that sends and receives on one core, from record to record. It sends 64
// records through a bus that copies frames through shared memory (shared_bus.h), then receives them.
//
//   single   a send a record
//   batch    __sendbatch of all
//   vector   an update that holds all as a vector, where there is one
//
// Each by the library (.codec); with copies of as many bytes in place of encoding and decoding
// (.copy); and by the bus alone, which sends prepared frames and drops what it receives (.bus).
#include <cstdlib>
#include <cstring>

#include "bench/contenders.h"
#include "bench/groups.h"
#include "bench/shared_bus.h"
#include "srv6.h"

namespace vorl::bench {
namespace {

constexpr uint32_t count = 64;
constexpr uint64_t over_shared_memory = 1;

struct route {
    shared_bus &bus;
    const record_set &records;
    const encodings &frames;
    const ring &received;
    uint32_t msg_id;
};

/// A round: send() sends all records, use(i, frame) is shown each of the frames that then arrive.
template <class Send, class Use>
void add_round(group &g, const char *name, const route &r, Send send, Use use)
{
    g.add(
        name, 1,
        [&bus = r.bus, frames = r.frames.count(), send, use](uint64_t) {
            send();
            for (uint64_t i = 0; i < frames; ++i)
                use(i, bus.take());
        },
        count);
}

/// Sends bytes as they are.
auto putting(const route &r)
{
    return [msg_id = r.msg_id](const uint8_t *bytes, uint32_t length) {
        const frame_desc desc = {bytes, msg_id, length};
        VORL_SendToMsg(1, &desc, 1, over_shared_memory);
    };
}

void drop(uint64_t, const shared_bus::frame &frame) { asm volatile("" : : "r"(frame.bytes)); }

/// What a receiver does with a frame, by the library and by a copy.
auto decoding(const route &r)
{
    const message_functions functions = functions_of(r.records.type());
    const bool owns = !is_fixed_size(r.records.type());
    return [unpack = functions.unpack, release = functions.free_unpacked, owns,
            to = r.received.view()](uint64_t i, const shared_bus::frame &frame) {
        unpack(frame.bytes, static_cast<int32_t>(frame.length), to.at(i));
        if (owns)
            release(to.at(i));
    };
}
auto copying(const route &r)
{
    return [libc = opaque(&memcpy), to = r.received.view()](uint64_t i,
                                                            const shared_bus::frame &frame) {
        libc(to.at(i), frame.bytes, frame.length);
    };
}

void add_single(group &g, const route &r)
{
    add_round(
        g, "single.codec", r,
        [send = functions_of(r.records.type()).sendsingle, records = r.records.view()] {
            for (uint32_t i = 0; i < count; ++i)
                send(1, records.at(i), 0, over_shared_memory);
        },
        decoding(r));
    add_round(
        g, "single.copy", r,
        [libc = opaque(&memcpy), put = putting(r), frames = r.frames.view(),
         buffer = g.keep<pages>(r.frames.longest()).begin()] {
            for (uint32_t i = 0; i < count; ++i) {
                libc(buffer, frames.at(i), frames.length(i));
                put(buffer, frames.length(i));
            }
        },
        copying(r));
    add_round(
        g, "single.bus", r,
        [put = putting(r), frames = r.frames.view()] {
            for (uint32_t i = 0; i < count; ++i)
                put(frames.at(i), frames.length(i));
        },
        drop);
}

void add_batch(group &g, const route &r)
{
    const auto length = r.frames.longest();
    auto &bytes = g.keep<pages>(size_t{length} * count);
    auto &descs = g.keep<std::vector<frame_desc>>();
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t *const frame = bytes.begin() + size_t{i} * length;
        memcpy(frame, r.frames.at(i), length);
        descs.push_back({frame, r.msg_id, length});
    }
    add_round(
        g, "batch.codec", r,
        [send = functions_of(r.records.type()).sendbatch, records = r.records.view()] {
            send(1, records.at(0), count, over_shared_memory);
        },
        decoding(r));
    const copies_function constant = constant_copies(length);
    add_round(
        g, "batch.copy", r,
        [send = opaque(bus_call_with_copies), copies = constant != nullptr ? constant : libc_copies,
         frames = bytes.begin(),
         length] { send(1, frames, length, count, over_shared_memory, copies); },
        copying(r));
    add_round(
        g, "batch.bus", r,
        [descs = descs.data()] { VORL_SendToMsg(1, descs, count, over_shared_memory); }, drop);
}

/// One record whose vector has all elements.
void add_vector(group &g, const route &r)
{
    const auto length = r.frames.longest();
    add_round(
        g, "vector.codec", r,
        [send = functions_of(r.records.type()).sendsingle, record = r.records.at(0)] {
            send(1, record, 0, over_shared_memory);
        },
        decoding(r));
    // A block for the frame, and one for the elements.
    add_round(
        g, "vector.copy", r,
        [libc = opaque(&memcpy), put = putting(r), frame = r.frames.at(0), length] {
            auto *block = static_cast<uint8_t *>(malloc(length));
            libc(block, frame, length);
            put(block, length);
            free(block);
        },
        [libc = opaque(&memcpy)](uint64_t, const shared_bus::frame &frame) {
            void *block = malloc(frame.length);
            libc(block, frame.bytes, frame.length);
            free(block);
        });
    add_round(
        g, "vector.bus", r,
        [put = putting(r), frame = r.frames.at(0), length] { put(frame, length); }, drop);
}

/// Records of a message with their frames, on a bus of their own.
route route_of(group &g, shared_bus &bus, const vorl::message &message, uint32_t records_count,
               uint32_t elements)
{
    const auto &records = g.keep<record_set>(message, pattern::dense, records_count, elements);
    const auto &frames =
        g.keep<encodings>(is_fixed_size(message) ? frames_of(records) : packed(records));
    const auto &received =
        g.keep<ring>(std::max<size_t>(frames.longest(), message.record_size), count);
    return {bus, records, frames, received, message.msg_id};
}

void fill(group &g, const std::string &type)
{
    auto &bus = g.keep<shared_bus>(256u << 10);
    const route r = route_of(g, bus, message_named(type.c_str()), count, 0);
    const catalogue::message_info *update = catalogue::find_message(type + "_update");
    add_single(g, r);
    add_batch(g, r);
    if (update != nullptr)
        add_vector(g, route_of(g, bus, update->data, 1, count));
    bus.serve(); // not before: that is how the frames were made
}

} // namespace

void register_throughput(std::vector<registered> &groups)
{
    for (const std::string_view type : small_types) {
        const std::string name(type);
        groups.push_back({"throughput/" + name, state::warm,
                          [name](group &g, const settings &) { fill(g, name); }});
    }
}

} // namespace vorl::bench
