// Rings while they are written: what has come since the last look, of all rings by time.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>

#include "capture/sources.h"

namespace vorl::capture {

class followed_rings {
  public:
    using take_frame = std::function<void(const frame &, const process_facts &)>;

    /// Rings, and directories, in which rings are found as they come. What cannot be read is told to
    /// `note` once, and left out.
    followed_rings(std::vector<std::string> names, merged_sources::take_note note)
        : names_(std::move(names)), note_(std::move(note))
    {}

    /// Times are in nanoseconds since 1970. False: nothing had come. Of a call that began before others
    /// and ended after them, the frame comes after theirs.
    bool take_new(const take_frame &take);

    std::vector<process_total> totals() const;

  private:
    using clock = std::chrono::steady_clock;

    struct followed {
        explicit followed(const std::string &name) : reader(name), position(reader.oldest()) {}

        ring_reader reader;
        std::uint64_t position;
        std::uint64_t found = 0;
        number_gaps gaps;
        std::uint64_t waits_at = ~std::uint64_t{0}; ///< for an entry that is not committed
        clock::time_point waits_since;
        std::vector<frame> frames; ///< read, and not given yet
        bool has_more = false;
        bool is_damage_told = false;
    };

    void find_rings();
    void forget_removed();
    void tell_damage(followed &ring);
    static process_total total_of(followed &ring);
    void read(followed &ring);
    bool is_awaited(followed &ring, std::uint64_t position);

    std::vector<std::string> names_;
    merged_sources::take_note note_;
    std::map<std::string, std::unique_ptr<followed>> rings_; ///< null: cannot be read
    std::vector<process_total> removed_; ///< of rings that are not there any more
    boot_offsets offsets_;
};

} // namespace vorl::capture
