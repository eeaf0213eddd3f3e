// Calls each path on the same data in every run, between two marks (mark.h). Prints "<path> <calls>" so
// that what is counted between them can be made a count per call. With the argument `beside-memcpy` the
// paths are those of flat messages and their batches, and libc's copies of the same bytes: for
// bench/estimate.py.
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "bench/library.h"
#include "srv6.h"
#include "tests/instructions/mark.h"

using namespace vorl::bench;

namespace {

constexpr uint32_t count = 512;
constexpr uint32_t elements = 256;

bool beside_memcpy = false;

void counted(const std::string &path, uint64_t calls, const std::function<void()> &work)
{
    work(); // binds the services and resolves the symbols
    vorl::instructions::begin_path();
    work();
    vorl::instructions::end_path(path);
    printf("%s %llu\n", path.c_str(), static_cast<unsigned long long>(calls));
}

/// libc's copies of the same bytes, called with a length that the compiler does not know.
void count_copies(const std::string &path, const encodings &bytes)
{
    if (!beside_memcpy)
        return;
    void *(*volatile libc)(void *, const void *, size_t) = &memcpy;
    const ring to(bytes.longest());
    counted("memcpy_" + path, count, [&, copy = libc] {
        for (uint32_t i = 0; i < count; ++i)
            copy(to.at(i), bytes.at(i), bytes.length(i));
    });
}

void count_packed(const message_functions &functions, const record_set &records,
                  const std::string &end)
{
    const encodings bytes = packed(records);
    check_round_trip(records, bytes);
    const ring to(bytes.longest() + records.type().record_size);
    counted("pack_" + end, count, [&] {
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t size = bytes.longest();
            functions.pack(records.at(i), to.at(i), &size);
        }
    });
    counted("unpack_" + end, count, [&] {
        for (uint32_t i = 0; i < count; ++i)
            functions.unpack(bytes.at(i), static_cast<int32_t>(bytes.length(i)), to.at(i));
    });
    count_copies("packed_" + end, bytes);
}

void count_frames(const message_functions &functions, const record_set &records,
                  const std::string &end)
{
    const encodings frames = frames_of(records);
    check_round_trip(records, frames);
    const ring to(records.type().record_size);
    counted("frame_send_" + end, count, [&] {
        for (uint32_t i = 0; i < count; ++i)
            functions.sendsingle(1, records.at(i), 0, 0);
    });
    counted("frame_unpack_" + end, count, [&] {
        for (uint32_t i = 0; i < count; ++i)
            functions.unpack(frames.at(i), static_cast<int32_t>(frames.length(i)), to.at(i));
    });
    count_copies("frame_" + end, frames);
}

/// Records that hold tables or vectors. Each unpacked record is released, and that counts as part of
/// unpacking. A record of fixed size is sent as a frame, whose layout is not that of packed bytes; so
/// unpacking is counted for both.
void count_compound(const record_set &records, const std::string &end)
{
    const message_functions functions = functions_of(records.type());
    const bool fixed = is_fixed_size(records.type());
    const uint32_t calls = records.count();

    const auto count_unpack = [&](const std::string &path, const encodings &bytes) {
        check_round_trip(records, bytes);
        const ring to(records.type().record_size);
        counted(path, calls, [&] {
            for (uint32_t i = 0; i < calls; ++i) {
                functions.unpack(bytes.at(i), static_cast<int32_t>(bytes.length(i)), to.at(i));
                functions.free_unpacked(to.at(i));
            }
        });
    };
    const encodings bytes = packed(records);
    const ring to(bytes.longest());
    counted("pack_" + end, calls, [&] {
        for (uint32_t i = 0; i < calls; ++i) {
            uint32_t size = bytes.longest();
            functions.pack(records.at(i), to.at(i), &size);
        }
    });
    count_unpack("unpack_" + end, bytes);
    counted((fixed ? "frame_send_" : "send_") + end, calls, [&] {
        for (uint32_t i = 0; i < calls; ++i)
            functions.sendsingle(1, records.at(i), 0, 0);
    });
    if (fixed)
        count_unpack("frame_unpack_" + end, frames_of(records));
}

/// One batch; counted per element.
void count_batch(const char *batch_name, record_set &rows, const std::string &end)
{
    const vorl::message &message = message_named(batch_name);
    const message_functions functions = functions_of(message);
    record_set batch(message, pattern::dense, 1, 0);
    // Every batch is a word, a count and the address of its elements.
    srv6_common_fwd_update header = {7, elements, nullptr};
    void *first = rows.at(0);
    memcpy(&header.f1, &first, sizeof first);
    memcpy(batch.at(0), &header, sizeof header);
    const encodings bytes = packed(batch);
    check_round_trip(batch, bytes);
    const ring to(bytes.longest(), 1);
    counted("batch_pack_" + end, elements, [&] {
        uint32_t size = bytes.longest();
        functions.pack(batch.at(0), to.at(0), &size);
    });
    counted("batch_unpack_" + end, elements, [&] {
        functions.unpack(bytes.at(0), static_cast<int32_t>(bytes.length(0)), to.at(0));
        functions.free_unpacked(to.at(0));
    });
}

} // namespace

int main(int count_of_arguments, char **arguments)
{
    beside_memcpy = count_of_arguments == 2 && strcmp(arguments[1], "beside-memcpy") == 0;
    struct type {
        const char *name;
        const char *batch;
    };
    // VRF class data has no batch; the BSID forwarding object stands in for it there. The mirrored
    // policy has the most scalars that the vectors take, and an array behind them.
    const type types[] = {{"srv6_vrf_class_data", nullptr},
                          {"srv6_common_fwd", "srv6_common_fwd_update"},
                          {"srv6_policy_fwd", "srv6_policy_fwd_update"},
                          {"srv6_sidstack_fwd", "srv6_sidstack_fwd_update"},
                          {"srv6_bsid_fwd", "srv6_bsid_fwd_update"},
                          {"srv6_sync_policy_fwd", nullptr}};
    for (const type &t : types) {
        const vorl::message &message = message_named(t.name);
        const message_functions functions = functions_of(message);
        for (const auto &[which, zeros] :
             {std::pair("D", pattern::dense), std::pair("Z", pattern::sparse)}) {
            record_set records(message, zeros, count);
            const std::string end = std::string(which) + "_" + t.name;
            count_packed(functions, records, end);
            if (zeros == pattern::dense)
                count_frames(functions, records, t.name);
            if (t.batch != nullptr)
                count_batch(t.batch, records, end);
        }
    }

    if (beside_memcpy)
        return 0;

    struct compound {
        const char *name;
        uint32_t elements; ///< of each vector; 0: it has none
        uint32_t records;
        bool zeros_too;
    };
    const compound compounds[] = {{"srv6_common_fwd_update", 4, count, true},
                                  {"srv6_common_fwd_update", 1000, 8, true},
                                  {"srv6_common_fwd_delete", 4, count, false},
                                  {"srv6_cfg_query_comm_param", 16, count, false},
                                  {"srv6_cfg_query_trastat_key", 16, count, false},
                                  {"srv6_cfg_query_dfx_rec", 4, count, false},
                                  {"srv6_cfg_query_trastat_rec_info", 0, 32, false},
                                  {"srv6_vrf_class_data_chg", 0, count, true}};
    for (const compound &c : compounds) {
        const std::string elements_of = c.elements == 0 ? "" : std::to_string(c.elements) + "_";
        const std::string end = "_" + elements_of + c.name;
        const vorl::message &message = message_named(c.name);
        count_compound(record_set(message, pattern::dense, c.records, c.elements), "D" + end);
        if (c.zeros_too)
            count_compound(record_set(message, pattern::sparse, c.records, c.elements), "Z" + end);
    }
    return 0;
}
