// Our paths, the copies that limit them, and the peers, in one run. Google Benchmark drives: each of
// its benchmarks is a group (timing.h), each of its repetitions one of the group's, with a counter a
// contender, nanoseconds a call. report.py makes ratios of them. What each name means and how it is
// measured stands in docs/performance.md.
#include <sched.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/library.h"
#include "bench/limits.h"
#include "bench/peers/capnp.h"
#include "bench/peers/flatbuffers.h"
#include "bench/peers/protobuf.h"
#include "bench/timing.h"

namespace vorl::bench {
namespace {

/// What a group measures with lives as long as the program.
template <class T, class... Arguments>
T &keep(Arguments &&...arguments)
{
    static std::vector<std::unique_ptr<T>> kept;
    return *kept.emplace_back(std::make_unique<T>(std::forward<Arguments>(arguments)...));
}

/// A function that the compiler knows nothing of.
template <class Function>
Function opaque(Function function)
{
    asm volatile("" : "+r"(function));
    return function;
}

/// Copies of encoded bytes: libc's with a length that varies, and the constant one where all lengths
/// are the same.
void add_copies(group &g, const std::string &name, const encodings &from, const ring &to)
{
    const auto libc = opaque(&memcpy);
    g.add(name + ".libc", from.count(), [libc, from = from.view(), to = to.view()](uint64_t i) {
        libc(to.at(i), from.at(i), from.length(i));
    });
    const copy_function constant = constant_copy(from.longest());
    if (constant != nullptr && from.equally_long())
        g.add(name + ".constant", from.count(),
              [constant, from = from.view(), to = to.view()](uint64_t i) {
                  constant(to.at(i), from.at(i));
              });
}

void add_pack(group &g, const std::string &name, const message_functions &functions,
              const record_set &records, uint32_t capacity, const ring &to)
{
    g.add(name, records.count(),
          [pack = functions.pack, records = records.view(), to = to.view(), capacity](uint64_t i) {
              uint32_t size = capacity;
              pack(records.at(i), to.at(i), &size);
          });
}

void add_unpack(group &g, const std::string &name, const message_functions &functions,
                bool owns_memory, const encodings &from, const ring &to)
{
    if (owns_memory) {
        g.add(name, from.count(),
              [unpack = functions.unpack, release = functions.free_unpacked, from = from.view(),
               to = to.view()](uint64_t i) {
                  unpack(from.at(i), static_cast<int32_t>(from.length(i)), to.at(i));
                  release(to.at(i));
              });
    } else {
        g.add(name, from.count(),
              [unpack = functions.unpack, from = from.view(), to = to.view()](uint64_t i) {
                  unpack(from.at(i), static_cast<int32_t>(from.length(i)), to.at(i));
              });
    }
}

/// Frames of a fixed-size message: sends, and what belongs to a send but is no encoding.
void add_frames(group &g, const message_functions &functions, const record_set &records)
{
    const vorl::message &message = records.type();
    const encodings &frames = keep<encodings>(frames_of(records));
    check_round_trip(records, frames);
    const ring &to =
        keep<ring>(std::max<size_t>(catalogue::frame_length(message), message.record_size));

    const auto length = catalogue::frame_length(message);
    const auto add_send = [&](const char *name, decltype(functions.sendsingle) send) {
        g.add(name, records.count(),
              [send = opaque(send), records = records.view(), length](uint64_t i) {
                  send(1, records.at(i), length, 0);
              });
    };
    add_send("empty", empty_call);
    add_send("bus", length <= 1024 ? bus_call_only : bus_call_with_block);
    add_send("send", functions.sendsingle);
    add_copies(g, "frame_copy", frames, to);
    // A send writes to one place, call after call: so does its limit.
    add_copies(g, "frame_copy_in_place", frames, keep<ring>(size_t{length}, 1u));
    add_unpack(g, "frame_unpack", functions, false, frames, to);

    encodings &as_they_are = keep<encodings>();
    for (uint32_t i = 0; i < records.count(); ++i)
        as_they_are.add(records.at(i), message.record_size);
    add_copies(g, "record_copy", as_they_are, to);
}

/// Packed tables. The contenders' names end in `which`.
void add_packed(group &g, const std::string &which, const message_functions &functions,
                const record_set &records)
{
    const vorl::message &message = records.type();
    const encodings &bytes = keep<encodings>(packed(records));
    check_round_trip(records, bytes);
    const uint32_t capacity = bytes.longest();
    const ring &to = keep<ring>(std::max<size_t>(capacity, message.record_size));
    add_pack(g, "pack." + which, functions, records, capacity, to);
    add_unpack(g, "unpack." + which, functions, !is_fixed_size(message), bytes, to);
    add_copies(g, "packed_copy." + which, bytes, to);
}

template <class Record>
const Record &record_at(const record_view &records, uint64_t i)
{
    return *reinterpret_cast<const Record *>(records.at(i));
}

void release(srv6_common_fwd_update &record) { free(record.f1); }
template <class Record>
void release(Record &)
{}

bool same(const srv6_common_fwd_update &a, const srv6_common_fwd_update &b)
{
    return a.f0 == b.f0 && a.f1_count == b.f1_count &&
           memcmp(a.f1, b.f1, a.f1_count * sizeof *a.f1) == 0;
}
template <class Record>
bool same(const Record &a, const Record &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

/// A peer that encodes the records at(0) to at(count - 1) and decodes into records like them.
template <class Peer, class Record, class At>
void add_peer(group &g, const std::string &which, size_t scratch_size, bool varied, uint64_t count,
              At at, double elements)
{
    Peer &peer = keep<Peer>(scratch_size, varied);
    encodings &bytes = keep<encodings>();
    for (uint64_t i = 0; i < count; ++i) {
        const std::vector<uint8_t> encoded = peer.encoded(at(i));
        Record decoded;
        memset(static_cast<void *>(&decoded), 0, sizeof decoded);
        if (!peer.decode(encoded, decoded) || !same(decoded, at(i)))
            give_up("a record came back changed:", Peer::name);
        release(decoded);
        bytes.add(encoded.data(), encoded.size());
    }
    const ring &to = keep<ring>(sizeof(Record));
    const std::string name = Peer::name;
    g.add(
        name + "_encode." + which, count, [&peer, at](uint64_t i) { peer.encode(at(i)); },
        elements);
    g.add(
        name + "_decode." + which, count,
        [&peer, bytes = bytes.view(), to = to.view()](uint64_t i) {
            auto &record = *reinterpret_cast<Record *>(to.at(i));
            peer.decode({bytes.at(i), bytes.length(i)}, record);
            release(record);
        },
        elements);
}

template <class Record, class At>
void add_peers(group &g, const std::string &which, size_t scratch_size, bool varied, uint64_t count,
               At at, double elements = 1)
{
    add_peer<flatbuffers_peer<Record>, Record>(g, which, scratch_size, varied, count, at, elements);
    add_peer<capnp_peer<Record>, Record>(g, which, scratch_size, varied, count, at, elements);
    add_peer<protobuf_peer<Record>, Record>(g, which, scratch_size, varied, count, at, elements);
}

template <class Record>
void add_peers(group &g, const std::string &which, const record_set &records)
{
    add_peers<Record>(
        g, which, 65536, false, records.count(), [records = records.view()](uint64_t i) -> auto & {
            return record_at<Record>(records, i);
        });
}

/// One message on dense records, few enough for the nearest cache.
template <class Record>
void fill_single(group &g, const char *name)
{
    const vorl::message &message = message_named(name);
    const message_functions functions = functions_of(message);
    const record_set &records =
        keep<record_set>(message, pattern::dense, round_of(message.record_size));
    add_frames(g, functions, records);
    add_packed(g, "D", functions, records);
    add_peers<Record>(g, "D", records);
}

/// One message on many records with zeros, and on as many with none or one.
template <class Record>
void fill_zeros(group &g, const char *name)
{
    const vorl::message &message = message_named(name);
    const message_functions functions = functions_of(message);
    const std::pair<const char *, pattern> sets[] = {{"D", pattern::dense},
                                                     {"O", pattern::one_zero},
                                                     {"T", pattern::patterns},
                                                     {"Z", pattern::sparse}};
    for (const auto &[which, zeros] : sets) {
        const record_set &records = keep<record_set>(message, zeros, distinct_records);
        add_packed(g, which, functions, records);
        if (zeros == pattern::patterns || zeros == pattern::sparse)
            add_peers<Record>(g, which, records);
    }
}

/// Batches of srv6_common_fwd, from 1 to 100,000 elements.
void fill_batches(group &g, pattern zeros)
{
    const message &element = message_named("srv6_common_fwd");
    const vorl::message &message = message_named("srv6_common_fwd_update");
    const message_functions functions = functions_of(message);
    for (uint32_t elements = 1; elements <= 100000; elements *= 10) {
        const uint32_t wanted = zeros == pattern::dense ? 800 : distinct_records;
        const uint32_t count = std::max(std::min(wanted, distinct_records) / elements, 1u);
        const uint32_t buffers = elements <= 100 ? 32 : elements <= 1000 ? 2 : 1;
        record_set &rows = keep<record_set>(element, zeros, count * elements);
        record_set &batches = keep<record_set>(message, zeros, count, 0u);
        for (uint32_t i = 0; i < count; ++i) {
            auto &batch = *reinterpret_cast<srv6_common_fwd_update *>(batches.at(i));
            batch = {7, elements, reinterpret_cast<srv6_common_fwd *>(rows.at(i * elements))};
        }
        const encodings &bytes = keep<encodings>(packed(batches));
        check_round_trip(batches, bytes);
        // Room for the largest such batch, as senders have that keep one buffer; peers get more.
        const record_set largest(message, pattern::dense, 1, elements);
        const uint32_t capacity = packed(largest).longest();
        const ring &to = keep<ring>(size_t{capacity}, buffers);
        const ring &records = keep<ring>(sizeof(srv6_common_fwd_update));

        const std::string which = std::to_string(elements);
        const auto per = static_cast<double>(elements);
        g.add(
            "pack." + which, count,
            [pack = functions.pack, batches = batches.view(), to = to.view(),
             capacity](uint64_t i) {
                uint32_t size = capacity;
                pack(batches.at(i), to.at(i), &size);
            },
            per);
        g.add(
            "unpack." + which, count,
            [functions, bytes = bytes.view(), records = records.view()](uint64_t i) {
                functions.unpack(bytes.at(i), static_cast<int32_t>(bytes.length(i)), records.at(i));
                functions.free_unpacked(records.at(i));
            },
            per);
        g.add(
            "copy_whole." + which, count,
            [libc = opaque(&memcpy), bytes = bytes.view(), to = to.view()](uint64_t i) {
                libc(to.at(i), bytes.at(i), bytes.length(i));
            },
            per);
        // Dense elements are equally long: one copy each.
        if (zeros == pattern::dense) {
            const uint32_t length = bytes.longest() / elements;
            g.add(
                "copy." + which + ".libc", count,
                [libc = opaque(&memcpy), bytes = bytes.view(), to = to.view(), elements,
                 length](uint64_t i) {
                    const uint8_t *from = bytes.at(i);
                    uint8_t *out = to.at(i);
                    for (uint32_t e = 0; e < elements; ++e, from += length, out += length)
                        libc(out, from, length);
                },
                per);
            g.add(
                "copy." + which + ".constant", count,
                [copy = constant_copy(length), bytes = bytes.view(), to = to.view(), elements,
                 length](uint64_t i) {
                    const uint8_t *from = bytes.at(i);
                    uint8_t *out = to.at(i);
                    for (uint32_t e = 0; e < elements; ++e, from += length, out += length)
                        copy(out, from);
                },
                per);
        }
        add_peers<srv6_common_fwd_update>(
            g, which, 65536 + size_t{elements} * 256, zeros != pattern::dense, count,
            [batches = batches.view()](uint64_t i) -> auto & {
                return record_at<srv6_common_fwd_update>(batches, i);
            },
            per);
    }
}

/// A thousand frames in one send beside a thousand sends.
void fill_sends(group &g, const char *name)
{
    constexpr uint32_t count = 1000;
    const vorl::message &message = message_named(name);
    const message_functions functions = functions_of(message);
    const record_set &records = keep<record_set>(message, pattern::dense, count);
    g.add("send", count, [send = functions.sendsingle, records = records.view()](uint64_t i) {
        send(1, records.at(i), 0, 0);
    });
    g.add(
        "send_batch", 1,
        [send = functions.sendbatch, records = records.view()](uint64_t) {
            send(1, records.at(0), count, 0);
        },
        count);
}

/// Any message, by its description alone.
void fill_any(group &g, const vorl::message &message)
{
    const message_functions functions = functions_of(message);
    const record_set &records =
        keep<record_set>(message, pattern::dense, round_of(message.record_size));
    if (is_fixed_size(message))
        add_frames(g, functions, records);
    add_packed(g, "D", functions, records);
}

struct registered {
    std::string name;
    std::function<void(group &)> fill;
};

std::vector<registered> all_groups()
{
    std::vector<registered> groups;
    const auto small = [&groups]<class Record>(const char *name, std::type_identity<Record>) {
        groups.push_back(
            {std::string("single/") + name, [name](group &g) { fill_single<Record>(g, name); }});
        groups.push_back(
            {std::string("zeros/") + name, [name](group &g) { fill_zeros<Record>(g, name); }});
        groups.push_back({std::string("sends/") + name, [name](group &g) { fill_sends(g, name); }});
    };
    const auto other = [&groups]<class Record>(const char *name, std::type_identity<Record>) {
        groups.push_back(
            {std::string("single/") + name, [name](group &g) { fill_single<Record>(g, name); }});
    };
    small("srv6_vrf_class_data", std::type_identity<srv6_vrf_class_data>{});
    small("srv6_common_fwd", std::type_identity<srv6_common_fwd>{});
    small("srv6_policy_fwd", std::type_identity<srv6_policy_fwd>{});
    small("srv6_sidstack_fwd", std::type_identity<srv6_sidstack_fwd>{});
    other("srv6_vrf_class_data_chg", std::type_identity<srv6_vrf_class_data_chg>{});
    other("srv6_cfg_query_dfx_item", std::type_identity<srv6_cfg_query_dfx_item>{});
    other("srv6_cfg_query_trastat_rec_info", std::type_identity<srv6_cfg_query_trastat_rec_info>{});
    groups.push_back({"batch/D", [](group &g) { fill_batches(g, pattern::dense); }});
    groups.push_back({"batch/Z", [](group &g) { fill_batches(g, pattern::sparse); }});
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            groups.push_back({std::string("all/") + name_of(info.data),
                              [&info](group &g) { fill_any(g, info.data); }});
    }
    return groups;
}

/// The last of the cores that we may use: the first ones have the interrupts.
int pin()
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        give_up("cannot tell", "the cores allowed");
    int last = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed))
            last = cpu;
    }
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    if (sched_setaffinity(0, sizeof allowed, &allowed) != 0)
        give_up("cannot stay on", "one core");
    return last;
}

/// Says nothing; the groups report their progress, and the file has the numbers.
class silent : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &) override {}
};

} // namespace
} // namespace vorl::bench

int main(int argc, char **argv)
{
    using namespace vorl::bench;
    benchmark::Initialize(&argc, argv);
    settings how;
    int repetitions = 15;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--quick") == 0) {
            repetitions = 3;
            how = {30e-6, 3};
        } else {
            give_up("does not know", argv[i]);
        }
    }
    benchmark::AddCustomContext("core", std::to_string(pin()));
    benchmark::AddCustomContext("repetitions", std::to_string(repetitions));
    benchmark::AddCustomContext("slices", std::to_string(how.slices));

    const std::vector<registered> groups = all_groups();
    const size_t total = groups.size() * static_cast<size_t>(repetitions);
    size_t done = 0;
    std::map<std::string, group> built;
    for (const registered &r : groups) {
        benchmark::RegisterBenchmark(
            r.name.c_str(),
            [&](benchmark::State &state) {
                const auto [at, is_new] = built.try_emplace(r.name, r.name);
                if (is_new)
                    r.fill(at->second);
                for (auto _ : state) {
                    at->second.measure(how, [&state](const std::string &name, double nanoseconds) {
                        state.counters[name] = nanoseconds;
                    });
                    state.SetIterationTime(1e-9);
                }
                ++done;
                if (done * 20 / total != (done - 1) * 20 / total)
                    fprintf(stderr, "%3zu%%  repetition %zu of %zu: %s\n", done * 100 / total, done,
                            total, r.name.c_str());
            })
            ->Iterations(1)
            ->UseManualTime()
            ->Repetitions(repetitions);
    }
    silent nothing;
    benchmark::RunSpecifiedBenchmarks(&nothing);
    return 0;
}
