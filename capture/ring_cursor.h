// One ring's frames in the order of their times.
#pragma once

#include <optional>
#include <vector>

#include "capture/ring_read.h"

namespace vorl::capture {

/// How many frames are missing between frames, by their numbers. Those of threads that recorded at the
/// same moment may be in another order: what was missed too early is taken off again.
class number_gaps {
  public:
    /// Right before the frame of that number.
    std::uint64_t before(std::uint64_t number);

  private:
    std::uint64_t expected_ = 0;
    std::uint64_t out_of_turn_ = 0;
};

/// What became of the frames of a ring of which so many were found.
counters count_of(const ring_facts &ring, std::uint64_t found);

/// One ring's frames, from its oldest to its newest at the time of the making, by time. A ring has its
/// entries in the order in which calls ended. Nearly all of them began in that order, too; of those
/// that did not the places are kept, 16 bytes each, and nothing else of the ring.
class ring_cursor {
  public:
    explicit ring_cursor(const std::string &ring);

    /// As they were when the cursor was made.
    const ring_facts &facts() const { return in_order_.facts(); }
    const std::string &damage() const { return in_order_.damage(); }

    /// The next frame, with its time of CLOCK_MONOTONIC; null: there is none.
    frame *front() { return current_ ? &*current_ : nullptr; }
    void pop();

    /// Once there is no frame any more: what became of all. `given` is zero: it is for whoever filters.
    counters count() const;

  private:
    void find_late();
    void advance();
    void take_next();
    void take_later();

    ring_reader in_order_;
    ring_reader late_entries_;
    std::vector<entry_place> late_; ///< by time, the latest first
    std::uint64_t position_;
    std::uint64_t end_;
    std::uint64_t newest_time_ = 0;
    std::uint64_t found_ = 0; ///< frames that were given
    number_gaps gaps_;
    frame next_in_order_;
    bool has_next_ = false;
    std::optional<frame> current_;
};

} // namespace vorl::capture
