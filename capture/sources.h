// Frames of rings and captures, of any number of them, in the order of their times.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "capture/capture_read.h"
#include "capture/ring_cursor.h"

namespace vorl::capture {

/// Files as they are named, and the rings of directories. Throws capture_error.
std::vector<std::string> files_of(const std::vector<std::string> &names);

struct process_total {
    process_facts process;
    counters counted;
};

class source {
  public:
    source() = default;
    source(const source &) = delete;
    source &operator=(const source &) = delete;
    virtual ~source() = default;

    /// The frame that comes next, its time in nanoseconds since 1970; null: there is none.
    virtual frame *front() = 0;
    virtual void pop() = 0;
    /// What is known of the process of that frame.
    virtual process_facts process() const = 0;
    /// Once there is none: what became of the frames of its processes.
    virtual std::vector<process_total> totals() const = 0;
    /// What it says of messages; null: nothing.
    virtual const std::map<std::uint32_t, description> *descriptions() const { return nullptr; }
};

/// Where rings and captures are. `note` is told of what cannot be read, which is left out.
class merged_sources {
  public:
    using take_note = std::function<void(const std::string &)>;

    /// Files, and directories of rings. Throws capture_error where there is nothing to read.
    merged_sources(const std::vector<std::string> &names, const take_note &note);

    /// The source whose frame comes next; null: there is none. The frame of the call before is over.
    source *next();

    std::vector<process_total> totals() const;

  private:
    std::vector<std::unique_ptr<source>> sources_;
    source *last_ = nullptr;
};

/// To be added to the times of rings, by boot: of the rings of one boot, the newest one's offset. Clocks
/// are set, and frames of several processes are to be in one order.
class boot_offsets {
  public:
    void add(const ring_facts &ring)
    {
        auto &[started, offset] = of_boot_[ring.boot];
        if (offset == 0 || ring.started > started) {
            started = ring.started;
            offset = ring.offset;
        }
    }
    std::int64_t of(const ring_facts &ring) const { return of_boot_.at(ring.boot).second; }

  private:
    std::map<std::string, std::pair<std::uint64_t, std::int64_t>> of_boot_;
};

} // namespace vorl::capture
