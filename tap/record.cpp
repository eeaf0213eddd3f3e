#include "tap/record.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace vorl::tap {
namespace {

[[gnu::tls_model("initial-exec")]] thread_local uint32_t this_thread = 0;

/// Two members of an entry, the first at the lower address.
constexpr uint64_t both(uint32_t first, uint32_t second) { return first | uint64_t{second} << 32; }

} // namespace

uint64_t now()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t); // answered without a system call
    return static_cast<uint64_t>(t.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(t.tv_nsec);
}

uint32_t thread_number()
{
    if (this_thread == 0) [[unlikely]]
        this_thread = static_cast<uint32_t>(syscall(SYS_gettid));
    return this_thread;
}

void forget_thread() { this_thread = 0; }

void record(ring::header &to, const seen_frame &f)
{
    const uint32_t most = to.largest_kept;
    const uint32_t kept = f.data == nullptr ? 0 : f.length < most ? f.length : most;
    const uint64_t number = to.seen.fetch_add(1, std::memory_order_relaxed);
    const uint64_t position =
        to.head.fetch_add(ring::size_of_entry(kept), std::memory_order_relaxed);

    const ring::entry_words words = {
        0,
        f.time,
        number,
        f.handle,
        both((thread_number() & ring::thread_mask) | f.flags, f.destination),
        both(f.identifier, f.result),
        both(f.length, kept),
        both(f.index, f.of_send)};
    const uint64_t word = ring::commit_word(to.key, position, words, f.data, kept);

    // A thread that was stopped for so long that the others came round again would write into theirs.
    const auto is_lapped = [&] {
        return to.head.load(std::memory_order_relaxed) - position > to.size;
    };
    if (is_lapped()) {
        to.dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    auto *const entries = reinterpret_cast<unsigned char *>(&to) + ring::entries_at;
    const uint64_t at = position & (to.size - 1);
    // The head does not go past the end, the bytes may.
    unsigned char *const head = entries + at;
    memcpy(head + sizeof words[0], words + 1, sizeof words - sizeof words[0]);
    const uint64_t bytes_at = (at + sizeof words) & (to.size - 1);
    const uint64_t room = to.size - bytes_at;
    const uint64_t first = kept < room ? kept : room;
    if (kept != 0) {
        const auto *const data = static_cast<const unsigned char *>(f.data);
        memcpy(entries + bytes_at, data, first);
        if (first < kept)
            memcpy(entries, data + first, kept - first);
    }
    if (is_lapped()) {
        to.dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    reinterpret_cast<ring::entry *>(head)->commit.store(word, std::memory_order_release);
}

} // namespace vorl::tap
