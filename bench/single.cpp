// One message, call by call.
//
//   single/TYPE            a few dense records (D), in the nearest cache: frames, packed bytes, peers
//   zeros/TYPE             many records with zeros (O, T, Z), and as many dense ones
//   streaming/TYPE/ZEROS   a stream of records
//   all/TYPE               every type, dense, by its description alone
#include <cstring>

#include "bench/contenders.h"
#include "bench/groups.h"
#include "bench/peers/peers.h"

namespace vorl::bench {
namespace {

/// __sendbatch of one and of eight frames, and the same with copies in place of the encoder.
void add_batch_slope(group &g, const record_set &records)
{
    const encodings frames = frames_of(records);
    const uint32_t length = frames.longest();
    auto &bytes = g.keep<pages>(size_t{length} * frames.count());
    for (uint64_t i = 0; i < frames.count(); ++i)
        memcpy(bytes.begin() + i * length, frames.at(i), length);

    const auto add = [&](const std::string &end, uint32_t count) {
        const uint64_t calls = records.count() / count;
        g.add("send_batch" + end, calls,
              [send = functions_of(records.type()).sendbatch, records = records.view(),
               count](uint64_t i) { send(1, records.at(i * count), count, 0); });
        const auto add_copies = [&](const char *how, copies_function copies) {
            g.add(std::string("copy_batch") + how + end, calls,
                  [send = opaque(bus_call_with_copies), copies, frames = bytes.begin(), length,
                   count](uint64_t i) {
                      send(1, frames + i * count * length, length, count, 0, copies);
                  });
        };
        add_copies(".libc", libc_copies);
        if (const copies_function constant = constant_copies(length))
            add_copies(".constant", constant);
    };
    add("", 1);
    add(".8", 8);
}

void fill_single(group &g, const vorl::message &message, bool slope)
{
    const auto &records = g.keep<record_set>(message, pattern::dense, few_of(message));
    add_frames(g, records, slope);
    if (slope)
        add_batch_slope(g, records);
    add_packed(g, "D", records, slope);
    add_peers(g, {.records = records, .which = "D", .slope = slope});
}

void fill_zeros(group &g, const vorl::message &message, const settings &how)
{
    const auto add = [&](const named_pattern &p) -> const record_set & {
        const auto &records = g.keep<record_set>(message, p.zeros, many_of(message, how));
        add_packed(g, p.name, records);
        return records;
    };
    add({"O", pattern::one_zero});
    for (const named_pattern &p : compared_patterns) {
        const record_set &records = add(p);
        if (p.zeros != pattern::dense)
            add_peers(g, {.records = records, .which = p.name});
    }
}

void fill_streaming(group &g, const vorl::message &message, const named_pattern &p,
                    const settings &how)
{
    const auto &records = g.keep<record_set>(message, p.zeros, stream_of(message.record_size, how));
    add_packed(g, p.name, records);
    add_peers(g, {.records = records, .which = p.name});
}

void fill_all(group &g, const vorl::message &message)
{
    const auto &records = g.keep<record_set>(message, pattern::dense, few_of(message));
    if (is_fixed_size(message))
        add_frames(g, records);
    add_packed(g, "D", records);
}

} // namespace

void register_single(std::vector<registered> &groups)
{
    const auto add_type = [&groups](std::string_view type, bool slope) {
        const std::string name(type);
        const vorl::message &message = message_named(name.c_str());
        groups.push_back(
            {"single/" + name, state::warm,
             [&message, slope](group &g, const settings &) { fill_single(g, message, slope); }});
        groups.push_back({"zeros/" + name, state::warm, [&message](group &g, const settings &how) {
                              fill_zeros(g, message, how);
                          }});
        for (const named_pattern &p : compared_patterns) {
            groups.push_back({"streaming/" + name + "/" + p.name, state::streaming,
                              [&message, p](group &g, const settings &how) {
                                  fill_streaming(g, message, p, how);
                              }});
        }
    };
    for (const std::string_view type : small_types)
        add_type(type, true);
    for (const std::string_view type : other_types)
        add_type(type, false);
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            groups.push_back({std::string("all/") + name_of(info.data), state::warm,
                              [&info](group &g, const settings &) { fill_all(g, info.data); }});
    }
}

} // namespace vorl::bench
