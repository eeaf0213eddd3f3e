// The ring that a tapped process keeps in a file: what the tap writes and `vorl tap` reads
// (docs/capture.md has drawings). Of libc and headers alone, for the tap is loaded into any process.
#pragma once

#include <stdint.h>
#include <string.h>

#include <atomic>

namespace vorl::ring {

inline constexpr uint64_t magic = 0x474E49524C524F56; ///< "VORLRING"
inline constexpr uint32_t version = 1;

inline constexpr uint64_t dictionary_at = 4096;
inline constexpr uint64_t dictionary_size = 61440;
inline constexpr uint64_t entries_at = dictionary_at + dictionary_size;

/// An entry begins on a cache line, so that no two threads write to one.
inline constexpr uint64_t unit = 64;

inline constexpr uint64_t least_size = uint64_t{1} << 16;
inline constexpr uint64_t usual_size = uint64_t{1} << 24;
inline constexpr uint64_t most_size = uint64_t{1} << 32;

/// Of a frame, at most that part of the ring is kept.
inline constexpr uint64_t largest_part = 8;

/// What is recorded: all where a list is empty.
struct filter {
    static constexpr uint32_t room = 64;
    std::atomic<uint32_t> messages;
    std::atomic<uint32_t> destinations;
    std::atomic<uint32_t> message[room];
    std::atomic<uint32_t> destination[room];
};

/// What `vorl tap on` and `off` write, while the process runs. Of the two filters the one holds that
/// `which` says; the other is written, and then changed to.
struct control {
    std::atomic<uint32_t> on;
    std::atomic<uint32_t> which;
    filter filters[2];
};

struct header {
    std::atomic<uint64_t> magic; ///< written last
    uint32_t version;
    uint32_t process;
    uint64_t size;    ///< of the entries: a power of two
    uint64_t key;     ///< a random number, which is in each entry's commit word
    int64_t offset;   ///< nanoseconds since 1970 less those of CLOCK_MONOTONIC
    uint64_t started; ///< when the process did: field 22 of /proc/PID/stat
    uint8_t boot[16]; ///< /proc/sys/kernel/random/boot_id
    uint32_t largest_kept;

    alignas(128) control settings;

    /// How many bytes were ever reserved for entries: the next entry is at this modulo `size`.
    alignas(2048) std::atomic<uint64_t> head;
    std::atomic<uint64_t> seen;      ///< frames; each has its number of them
    std::atomic<uint64_t> dropped;   ///< of those, what could not be recorded
    std::atomic<uint64_t> wrapped;   ///< hooks
    std::atomic<uint64_t> unwrapped; ///< hooks that passed as they were, as there were too many
    std::atomic<uint64_t> dictionary_used;
};
static_assert(sizeof(header) <= dictionary_at);
static_assert(std::atomic<uint64_t>::is_always_lock_free);

/// Of the dictionary: `length` bytes in all, a multiple of 8, the text at the end.
struct dictionary_entry {
    enum kind_type : uint32_t { command = 1, message = 2 };
    uint32_t length;
    uint32_t kind;
    uint32_t identifier; ///< of a message
    uint32_t text;       ///< its length
};

/// Before the bytes that are kept.
struct entry {
    std::atomic<uint64_t> commit; ///< written last
    uint64_t time;                ///< of CLOCK_MONOTONIC
    uint64_t number;
    uint64_t handle;
    uint32_t thread_and_flags; ///< 24 bits of thread, then `known` (capture/frame.h), then received
    uint32_t destination;
    uint32_t identifier;
    uint32_t result;
    uint32_t length;
    uint32_t kept;
    uint32_t index;
    uint32_t of_send;
};
static_assert(sizeof(entry) == unit);

inline constexpr uint32_t thread_mask = 0x00FFFFFF;
inline constexpr unsigned known_shift = 24;
inline constexpr uint32_t received_flag = 0x80000000;

constexpr uint64_t size_of_entry(uint32_t kept)
{
    return (sizeof(entry) + kept + unit - 1) / unit * unit;
}

/// Over what is behind the commit word of an entry, and over the bytes.
class checksum {
  public:
    checksum(uint64_t key, uint64_t position) : lanes_{key, key + step, position, position + step}
    {}

    void add_block(uint64_t a, uint64_t b, uint64_t c, uint64_t d)
    {
        add_word(0, a);
        add_word(1, b);
        add_word(2, c);
        add_word(3, d);
    }

    /// The last call: what is missing to a multiple of 32 bytes is zero.
    void add(const void *from, size_t size)
    {
        const auto *at = static_cast<const unsigned char *>(from);
        for (; size >= block; at += block, size -= block)
            add_block(at);
        if (size != 0) {
            unsigned char last[block] = {};
            memcpy(last, at, size);
            add_block(last);
        }
    }

    uint32_t value() const
    {
        uint64_t all =
            lanes_[0] ^ rotated(lanes_[1], 16) ^ rotated(lanes_[2], 32) ^ rotated(lanes_[3], 48);
        all = (all ^ all >> 32) * step;
        return static_cast<uint32_t>(all >> 32);
    }

  private:
    static constexpr size_t block = 32;
    static constexpr uint64_t step = 0x9E3779B97F4A7C15; ///< odd

    static uint64_t rotated(uint64_t value, unsigned by)
    {
        return value << by | value >> (64 - by);
    }

    void add_word(int lane, uint64_t word)
    {
        lanes_[lane] = rotated(lanes_[lane] ^ word, 29) * step;
    }

    void add_block(const unsigned char *at)
    {
        uint64_t words[4];
        memcpy(words, at, block);
        add_block(words[0], words[1], words[2], words[3]);
    }

    uint64_t lanes_[4];
};

/// An entry as eight numbers: a processor that stores halves and loads wholes waits. The first, the commit
/// word, is zero.
using entry_words = uint64_t[sizeof(entry) / 8];

/// What an entry is committed with, over the entry and its bytes.
inline uint64_t commit_word(uint64_t key, uint64_t position, const entry_words &words,
                            const void *bytes, uint32_t kept)
{
    checksum sum(key, position);
    sum.add_block(words[0], words[1], words[2], words[3]);
    sum.add_block(words[4], words[5], words[6], words[7]);
    sum.add(bytes, kept);
    return ((position / unit ^ key >> 32) << 32) | sum.value();
}

/// Whether the word is of an entry at that position: of the half of it that is no checksum.
inline bool is_commit_of(uint64_t key, uint64_t position, uint64_t word)
{
    return word >> 32 == static_cast<uint32_t>(position / unit ^ key >> 32);
}

} // namespace vorl::ring
