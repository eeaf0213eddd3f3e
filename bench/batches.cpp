// Batches of srv6_common_fwd, which srv6_common_fwd_update holds as a vector. Times are an element's.
//
//   batch/STATE/ZEROS/ELEMENTS   batches of 1 to 100,000 elements
//   sweep/ZEROS/BYTES            batches of a hundred, so many that their records have BYTES bytes:
//                                from the first cache to memory
#include <algorithm>
#include <cstring>
#include <vector>

#include "bench/contenders.h"
#include "bench/groups.h"
#include "bench/peers/peers.h"
#include "serial/wire.h"
#include "srv6.h"

namespace vorl::bench {
namespace {

constexpr uint32_t most_elements = 100000;

/// `count` batches of `elements` elements each.
const record_set &batches_of(group &g, pattern zeros, uint32_t count, uint32_t elements)
{
    auto &rows = g.keep<record_set>(message_named("srv6_common_fwd"), zeros, count * elements);
    auto &batches = g.keep<record_set>(message_named("srv6_common_fwd_update"), zeros, count, 0u);
    for (uint32_t i = 0; i < count; ++i) {
        auto &batch = *reinterpret_cast<srv6_common_fwd_update *>(batches.at(i));
        batch = {7, elements, reinterpret_cast<srv6_common_fwd *>(rows.at(i * elements))};
    }
    return batches;
}

/// The bytes that each element of the batches has in the encoding, one batch behind the other.
std::vector<uint32_t> element_lengths(const record_set &batches)
{
    const message_functions element = functions_of(message_named("srv6_common_fwd"));
    std::vector<uint32_t> lengths;
    for (uint32_t i = 0; i < batches.count(); ++i) {
        const auto &batch = *reinterpret_cast<const srv6_common_fwd_update *>(batches.at(i));
        for (uint32_t e = 0; e < batch.f1_count; ++e) {
            uint32_t size = UINT32_MAX;
            element.pack(batch.f1 + e, nullptr, &size);
            lengths.push_back(size - word_size); // alone it has a root offset, too
        }
    }
    return lengths;
}

/// One copy an element, called: `copy` with what it needs of the length. `stride`: of the places that
/// are written, 0 where they lie as close as what is read.
template <class Copy>
void copy_elements(uint8_t *to, const uint8_t *from, const uint32_t *lengths, uint32_t elements,
                   size_t stride, Copy copy)
{
    for (uint32_t e = 0; e < elements; ++e) {
        copy(to, from, lengths[e]);
        from += lengths[e];
        to += stride != 0 ? stride : lengths[e];
    }
}

/// Copies of all elements into a buffer, as packing writes them; and into a block of records that is
/// cleared first, as unpacking writes them. The latter's element is as long as its encoding where
/// that is the longer, and the next one begins on top of what is over.
void add_element_copies(group &g, const encodings &bytes, const std::vector<uint32_t> &of,
                        uint32_t elements, const ring &to)
{
    const auto &lengths = g.keep<std::vector<uint32_t>>(of);
    const size_t block_size = size_t{elements} * sizeof(srv6_common_fwd);
    auto &block = g.keep<pages>(block_size + 512, pages::away_from_sources);
    const auto add = [&](const std::string &end, auto copy) {
        g.add(
            "copy" + end, bytes.count(),
            [copy, bytes = bytes.view(), to = to.view(), lengths = lengths.data(),
             elements](uint64_t i) {
                copy_elements(to.at(i), bytes.at(i), lengths + i * elements, elements, 0, copy);
            },
            elements);
        g.add(
            "copy_cleared" + end, bytes.count(),
            [copy, clear = opaque(&memset), bytes = bytes.view(), block = block.begin(), block_size,
             lengths = lengths.data(), elements](uint64_t i) {
                clear(block, 0, block_size);
                copy_elements(block, bytes.at(i), lengths + i * elements, elements,
                              sizeof(srv6_common_fwd), copy);
            },
            elements);
    };
    add(".libc", [libc = opaque(&memcpy)](uint8_t *out, const uint8_t *in, uint32_t length) {
        libc(out, in, length);
    });
    const auto [shortest, longest] = std::minmax_element(lengths.begin(), lengths.end());
    if (*shortest != *longest)
        return;
    add(".constant", [constant = constant_copy(*longest)](uint8_t *out, const uint8_t *in,
                                                          uint32_t) { constant(out, in); });
}

void fill(group &g, pattern zeros, uint32_t count, uint32_t elements, uint32_t buffers)
{
    const vorl::message &message = message_named("srv6_common_fwd_update");
    const message_functions functions = functions_of(message);
    const record_set &batches = batches_of(g, zeros, count, elements);
    const auto &bytes = g.keep<encodings>(packed(batches));
    check_round_trip(batches, bytes);
    // Room for the largest such batch, as senders have that keep one buffer; peers get more.
    const record_set largest(message, pattern::dense, 1, elements);
    const uint32_t capacity = packed(largest).longest();
    const auto &to = g.keep<ring>(size_t{capacity}, buffers);
    const ring &records = record_outputs(g, sizeof(srv6_common_fwd_update), count);

    const auto per = static_cast<double>(elements);
    g.add(
        "pack", count,
        [pack = functions.pack, batches = batches.view(), to = to.view(), capacity](uint64_t i) {
            uint32_t size = capacity;
            pack(batches.at(i), to.at(i), &size);
        },
        per);
    g.add(
        "unpack", count,
        [functions, bytes = bytes.view(), records = records.view()](uint64_t i) {
            functions.unpack(bytes.at(i), static_cast<int32_t>(bytes.length(i)), records.at(i));
            functions.free_unpacked(records.at(i));
        },
        per);
    g.add(
        "copy_whole", count,
        [libc = opaque(&memcpy), bytes = bytes.view(), to = to.view()](uint64_t i) {
            libc(to.at(i), bytes.at(i), bytes.length(i));
        },
        per);
    add_element_copies(g, bytes, element_lengths(batches), elements, to);
    g.fact("bytes", bytes.mean_length() / per);
    g.fact("elements", static_cast<double>(count) * per);
    g.fact("record_bytes", sizeof(srv6_common_fwd));
    add_peers(g, {.records = batches,
                  .scratch_size = 65536 + size_t{elements} * 256,
                  .varied = zeros != pattern::dense,
                  .elements = per});
}

/// Enough batches for the state: dense ones few, for what is dense has no pattern to learn.
uint32_t batches_in(state s, pattern zeros, uint32_t elements, const settings &how)
{
    const uint32_t wanted = s == state::streaming     ? stream_of(sizeof(srv6_common_fwd), how)
                            : zeros == pattern::dense ? std::min(800u, how.distinct_records)
                                                      : how.distinct_records;
    return std::max((wanted + elements - 1) / elements, s == state::streaming ? 2u : 1u);
}

} // namespace

void register_batches(std::vector<registered> &groups)
{
    for (const state s : {state::warm, state::streaming}) {
        for (const named_pattern &p : compared_patterns) {
            for (uint32_t elements = 1; elements <= most_elements; elements *= 10) {
                const uint32_t buffers = elements <= 100 ? 32 : elements <= 1000 ? 2 : 1;
                groups.push_back({std::string("batch/") + name_of(s) + "/" + p.name + "/" +
                                      std::to_string(elements),
                                  s, [=](group &g, const settings &how) {
                                      fill(g, p.zeros, batches_in(s, p.zeros, elements, how),
                                           elements, buffers);
                                  }});
            }
        }
    }
    for (const named_pattern &p : compared_patterns) {
        if (p.zeros == pattern::patterns)
            continue;
        constexpr uint32_t elements = 100;
        constexpr size_t batch_size = elements * sizeof(srv6_common_fwd);
        for (size_t bytes = 16 << 10; bytes <= 64 << 20; bytes *= 4) {
            groups.push_back({std::string("sweep/") + p.name + "/" + std::to_string(bytes),
                              state::warm, [=](group &g, const settings &how) {
                                  const size_t most = 4 * how.streaming_bytes;
                                  const size_t wanted = std::min(bytes, most) / batch_size;
                                  fill(g, p.zeros,
                                       static_cast<uint32_t>(std::max<size_t>(wanted, 1)), elements,
                                       1);
                              }});
        }
    }
}

} // namespace vorl::bench
