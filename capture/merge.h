// The frames of several rings in the order of their times.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "capture/ring_read.h"

namespace vorl::capture {

/// One ring's frames, from its oldest to its newest at the time of the making, by time. A ring has its
/// entries in the order in which calls ended. Nearly all of them began in that order, too; of those
/// that did not the places are kept, 16 bytes each, and nothing else of the ring.
class ring_cursor {
  public:
    explicit ring_cursor(const std::string &ring);

    /// Throughout the process's ring. Its frames' times are of CLOCK_MONOTONIC.
    const ring_facts &facts() const { return in_order_.facts(); }
    const std::string &name() const { return in_order_.name(); }
    const std::string &damage() const { return in_order_.damage(); }

    /// The next frame; null: there is none.
    frame *front() { return current_ ? &*current_ : nullptr; }
    void pop();

    /// Of all frames so far, whoever wants them. `given` is for whoever knows.
    counters count() const;
    /// Where to go on: behind the newest.
    std::uint64_t end() const { return end_; }

  private:
    void find_late();
    void advance();
    void take_next();
    void note_number(frame_facts &facts);

    ring_reader in_order_;
    ring_reader late_entries_;
    std::vector<entry_place> late_; ///< by time, the latest first
    std::uint64_t position_;
    std::uint64_t end_;
    std::uint64_t newest_time_ = 0;
    std::uint64_t found_ = 0;
    std::uint64_t expected_ = 0; ///< number of the next frame
    std::uint64_t out_of_turn_ = 0;
    frame next_in_order_;
    bool has_next_ = false;
    std::optional<frame> current_;
};

class merged_rings {
  public:
    /// A ring that cannot be read is told to `note`, and left out.
    merged_rings(const std::vector<std::string> &rings,
                 const std::function<void(const std::string &)> &note);

    /// The next frame, its time in nanoseconds since 1970; null: there are no more. `ring` is the number
    /// of its ring.
    frame *next(std::size_t &ring);

    const std::vector<std::unique_ptr<ring_cursor>> &rings() const { return rings_; }

    /// To be added to a ring's times. Of the rings of one boot, the newest one's: clocks are set, and
    /// frames of several processes are to be in one order.
    std::int64_t offset(std::size_t ring) const { return offsets_[ring]; }

  private:
    std::vector<std::unique_ptr<ring_cursor>> rings_;
    std::vector<std::int64_t> offsets_;
    ring_cursor *last_ = nullptr;
};

} // namespace vorl::capture
