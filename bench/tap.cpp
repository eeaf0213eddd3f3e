// tap/BYTES: what the tap adds to a send of a frame of so many bytes. The tap's own sends and its own
// recording, with a ring in memory instead of a file, and the benchmark's bus behind them.
#include <sys/mman.h>

#include <cstring>
#include <stdexcept>

#include "bench/contenders.h"
#include "bench/groups.h"
#include "capture/ring.h"
#include "runtime/bus.h"
#include "tap/process_ring.h"

// The tap's sends, under names of their own (CMakeLists.txt): a program has one VORL_SendMsg.
extern "C" uint32_t vorl_bench_tapped_SendMsg(uint32_t dest, const vorl::frame_desc *descs,
                                              uint32_t count);

namespace vorl::tap {

std::atomic<ring::header *> process_ring{nullptr};

/// There is one before the first send.
ring::header *make_ring() { return nullptr; }

void *find_behind(const char *name)
{
    return strcmp(name, "VORL_SendMsg") == 0 ? reinterpret_cast<void *>(&VORL_SendMsg) : nullptr;
}

} // namespace vorl::tap

namespace vorl::bench {
namespace {

/// Memory that has been touched, as a process's ring has after its first round.
uint8_t *memory_of(size_t size)
{
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for a ring");
    return static_cast<uint8_t *>(memory);
}

/// As large as it is where nobody says otherwise, so that it does not stay in the nearest caches.
vorl::ring::header *ring_of_this_process()
{
    static vorl::ring::header *const made = [] {
        auto *const header =
            new (memory_of(vorl::ring::entries_at + vorl::ring::usual_size)) vorl::ring::header{};
        header->size = vorl::ring::usual_size;
        header->key = 0x123456789ABCDEF;
        header->largest_kept =
            static_cast<uint32_t>(vorl::ring::usual_size / vorl::ring::largest_part);
        tap::process_ring.store(header, std::memory_order_release);
        return header;
    }();
    return made;
}

/// Where copies go: to the next place of as large a memory, as entries of the ring do.
uint8_t *next_place(uint32_t bytes)
{
    static uint8_t *const begin = memory_of(vorl::ring::usual_size);
    static uint64_t at = 0;
    at = (at + vorl::ring::size_of_entry(bytes)) & (vorl::ring::usual_size - 1);
    return begin + (at + bytes <= vorl::ring::usual_size ? at : at = 0);
}

constexpr uint64_t calls = 1000;

void fill(group &g, uint32_t bytes)
{
    const auto &frame = g.keep<std::vector<uint8_t>>(bytes, uint8_t{7});
    const frame_desc desc = {frame.data(), 0xB7B345A9, bytes};
    std::atomic<uint32_t> &is_on = ring_of_this_process()->settings.on;

    // Whether the tap is on is stored before each call, for contenders run in turn.
    const auto tapped = [&](const char *name, uint32_t on) {
        g.add(name, calls, [&is_on, on, desc, send = opaque(&vorl_bench_tapped_SendMsg)](uint64_t) {
            is_on.store(on, std::memory_order_relaxed);
            send(1, &desc, 1);
        });
    };
    g.add("bus", calls, [desc, send = opaque(&VORL_SendMsg)](uint64_t) { send(1, &desc, 1); });
    tapped("off", 0);
    tapped("on", 1);
    g.add("copy", calls, [bytes, from = frame.data(), copy = opaque(&memcpy)](uint64_t) {
        copy(next_place(bytes), from, bytes);
    });
}

} // namespace

void register_tap(std::vector<registered> &groups)
{
    for (const uint32_t bytes : {32U, 104U, 1024U})
        groups.push_back({"tap/" + std::to_string(bytes), state::warm,
                          [bytes](group &g, const settings &) { fill(g, bytes); }});
}

} // namespace vorl::bench
