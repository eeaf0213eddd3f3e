// Reads a ring, of a process that runs, has ended or was killed. Nothing is taken that its checksum does
// not hold for, so it does not matter what is written meanwhile.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/frame.h"
#include "capture/packet.h"
#include "capture/ring.h"

namespace vorl::capture {

struct ring_facts {
    process_facts process;
    std::map<std::uint32_t, std::string> names; ///< of the functions that unpack an identifier
    std::string boot;                           ///< sixteen bytes
    std::int64_t offset = 0;                    ///< of times, as the ring has it
    std::uint64_t size = 0;                     ///< bytes of entries
    std::uint64_t started = 0;                  ///< the process: field 22 of /proc/PID/stat
    std::uint32_t largest_kept = 0;
    std::uint64_t head = 0; ///< this and those below as they were when it was last looked at
    std::uint64_t seen = 0;
    std::uint64_t dropped = 0;
    std::uint64_t wrapped = 0;
    std::uint64_t unwrapped = 0;
    bool is_on = false;
    bool is_running = false;
};

/// Where an entry is, and when.
struct entry_place {
    std::uint64_t position;
    std::uint64_t time; ///< of CLOCK_MONOTONIC
};

/// A ring that its process was making when it was looked at, or was killed in making.
class unfinished_ring : public capture_error {
    using capture_error::capture_error;
};

class ring_reader {
  public:
    /// Throws capture_error, or unfinished_ring: "NAME: what; what to do".
    explicit ring_reader(std::string name);
    ~ring_reader();
    ring_reader(const ring_reader &) = delete;
    ring_reader &operator=(const ring_reader &) = delete;

    const std::string &name() const { return name_; }
    const ring_facts &facts() const { return facts_; }
    /// What can be read in spite of it; empty: nothing is wrong.
    const std::string &damage() const { return damage_; }

    /// Whether the file has no name any more.
    bool is_removed() const;

    /// Looks at the counters again.
    void refresh();

    /// The place of the oldest entry that may be there.
    std::uint64_t oldest() const;

    /// The next entry from `position` on, before `end`; nothing: there is none. `f.facts.time` is of
    /// CLOCK_MONOTONIC. `position` is moved behind it, or to the end.
    std::optional<entry_place> next(std::uint64_t &position, std::uint64_t end, frame &f);

    /// The entry at that position; false: it is not there any more. For one entry here and one there:
    /// another reader is better for next.
    bool read(std::uint64_t position, frame &f);

  private:
    bool look_at(std::uint64_t position, std::uint64_t end);
    bool is_exhausted();
    bool is_whole(std::uint64_t position, std::uint64_t end);
    void take(frame &f) const;
    std::size_t read_ring(std::uint64_t position, std::size_t size, std::uint8_t *to) const;
    void fill(std::uint64_t position, std::size_t least, std::uint64_t end);
    const std::uint8_t *at(std::uint64_t position) const
    {
        return window_.data() + (position - window_at_);
    }

    std::string name_;
    int file_ = -1;
    ring_facts facts_;
    std::string damage_;
    std::uint64_t key_ = 0;
    bytes window_; ///< of the ring, from window_at_ on
    std::uint64_t window_at_ = 0;
    std::size_t reach_ = 1 << 18; ///< of the window
    std::uint64_t vain_ = 0; ///< bytes that were read, or summed up, for what then was no entry
    ring::entry head_{};     ///< of the entry that was looked at, and its bytes
    const std::uint8_t *kept_ = nullptr;
};

/// Rings of a directory, in the order of their names. Throws capture_error.
std::vector<std::string> rings_in(const std::string &directory);

/// The directory that the tap of this user writes to. Throws capture_error.
std::string tap_directory();

} // namespace vorl::capture
