#include "bench/contenders.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vorl::bench {

uint32_t few_of(const vorl::message &message) { return round_of(message.record_size); }

uint32_t many_of(const vorl::message &message, const settings &how)
{
    // Of the largest messages fewer: theirs are long copies, from which a predictor learns nothing.
    constexpr size_t most_bytes = 8 << 20;
    const auto fitting = static_cast<uint32_t>(most_bytes / message.record_size);
    return std::min(how.distinct_records, fitting);
}

uint32_t stream_of(size_t record_size, const settings &how)
{
    return static_cast<uint32_t>(how.streaming_bytes / record_size + 1);
}

const ring &encoding_outputs(group &g, size_t bytes) { return g.keep<ring>(bytes); }

const ring &record_outputs(group &g, size_t bytes, uint64_t count)
{
    if (g.measured_in() == state::warm)
        return g.keep<ring>(bytes);
    return g.keep<ring>(bytes, static_cast<uint32_t>(std::bit_ceil(count)));
}

void add_copies(group &g, const std::string &name, const encodings &from, const ring &to,
                bool slope)
{
    add_call(g, name + ".libc", from.count(), slope,
             [libc = opaque(&memcpy), from = from.view(), to = to.view()](uint64_t i) {
                 libc(to.at(i), from.at(i), from.length(i));
             });
    const copy_function constant = constant_copy(from.longest());
    if (constant != nullptr && from.equally_long())
        add_call(g, name + ".constant", from.count(), slope,
                 [constant, from = from.view(), to = to.view()](uint64_t i) {
                     constant(to.at(i), from.at(i));
                 });
}

void add_pack(group &g, const std::string &name, const message_functions &functions,
              const record_set &records, uint32_t capacity, const ring &to, bool slope)
{
    add_call(
        g, name, records.count(), slope,
        [pack = functions.pack, records = records.view(), to = to.view(), capacity](uint64_t i) {
            uint32_t size = capacity;
            pack(records.at(i), to.at(i), &size);
        });
}

void add_unpack(group &g, const std::string &name, const record_set &records, const encodings &from,
                const ring &to, bool slope)
{
    const message_functions functions = functions_of(records.type());
    if (!is_fixed_size(records.type())) {
        g.add(name, from.count(),
              [unpack = functions.unpack, release = functions.free_unpacked, from = from.view(),
               to = to.view()](uint64_t i) {
                  unpack(from.at(i), static_cast<int32_t>(from.length(i)), to.at(i));
                  release(to.at(i));
              });
    } else {
        add_call(g, name, from.count(), slope,
                 [unpack = functions.unpack, from = from.view(), to = to.view()](uint64_t i) {
                     unpack(from.at(i), static_cast<int32_t>(from.length(i)), to.at(i));
                 });
    }
}

void add_frames(group &g, const record_set &records, bool slope)
{
    const vorl::message &message = records.type();
    const message_functions functions = functions_of(message);
    const auto &frames = g.keep<encodings>(frames_of(records));
    check_round_trip(records, frames);
    const auto length = catalogue::frame_length(message);
    const auto &to = g.keep<ring>(std::max<size_t>(length, message.record_size));

    const auto add_send = [&](const char *name, decltype(functions.sendsingle) send) {
        g.add(name, records.count(),
              [send = opaque(send), records = records.view(), length](uint64_t i) {
                  send(1, records.at(i), length, 0);
              });
    };
    add_send("empty", empty_call);
    add_send("bus", length <= 1024 ? bus_call_only : bus_call_with_block);
    add_send("send", functions.sendsingle);
    add_copies(g, "frame_copy", frames, to, slope);
    // A send writes to one place, call after call: so does its limit.
    add_copies(g, "frame_copy_in_place", frames, g.keep<ring>(size_t{length}, 1u));
    // A long one to the allocator's block: where that begins decides how fast any copy is.
    if (length > 1024)
        g.add("send_copied", records.count(),
              [send = opaque(bus_call_with_copies), frames = frames.view(), length](uint64_t i) {
                  send(1, frames.at(i), length, 1, 0, libc_copies);
              });
    add_unpack(g, "frame_unpack", records, frames, to, slope);

    auto &as_they_are = g.keep<encodings>();
    for (uint32_t i = 0; i < records.count(); ++i)
        as_they_are.add(records.at(i), message.record_size);
    add_copies(g, "record_copy", as_they_are, to);
}

void add_packed(group &g, const std::string &which, const record_set &records, bool slope)
{
    const vorl::message &message = records.type();
    const auto &bytes = g.keep<encodings>(packed(records));
    check_round_trip(records, bytes);
    const ring &buffers = encoding_outputs(g, bytes.longest());
    add_pack(g, "pack." + which, functions_of(message), records, bytes.longest(), buffers, slope);
    const ring &to =
        record_outputs(g, std::max<size_t>(bytes.longest(), message.record_size), records.count());
    add_unpack(g, "unpack." + which, records, bytes, to, slope);
    add_copies(g, "packed_copy." + which, bytes, to, slope);
    if (g.measured_in() == state::streaming)
        add_copies(g, "packed_copy_in_place." + which, bytes, buffers);
    g.fact("bytes." + which, bytes.mean_length());
}

} // namespace vorl::bench
