#include "capture/ring_cursor.h"

#include <algorithm>

namespace vorl::capture {

std::uint64_t number_gaps::before(std::uint64_t number)
{
    if (number < expected_) {
        ++out_of_turn_;
        return 0;
    }
    const std::uint64_t missing = number - expected_;
    const std::uint64_t counted = std::min(missing, out_of_turn_);
    out_of_turn_ -= counted;
    expected_ = number + 1;
    return missing - counted;
}

counters count_of(const ring_facts &ring, std::uint64_t found)
{
    const std::uint64_t there = found + ring.dropped;
    return {ring.seen, ring.seen > there ? ring.seen - there : 0, ring.dropped, 0};
}

ring_cursor::ring_cursor(const std::string &ring)
    : in_order_(ring), late_entries_(ring), position_(in_order_.oldest()),
      end_(in_order_.facts().head)
{
    find_late();
    advance();
    take_next();
}

void ring_cursor::find_late()
{
    frame ignored;
    std::uint64_t newest = 0;
    for (std::uint64_t at = position_; const auto found = in_order_.next(at, end_, ignored);) {
        if (found->time < newest)
            late_.push_back(*found);
        newest = std::max(newest, found->time);
    }
    const auto is_later = [](const entry_place &a, const entry_place &b) {
        return a.time != b.time ? a.time > b.time : a.position > b.position;
    };
    std::sort(late_.begin(), late_.end(), is_later);
}

/// To the next entry that is in order.
void ring_cursor::advance()
{
    has_next_ = false;
    while (const auto found = in_order_.next(position_, end_, next_in_order_)) {
        if (found->time >= newest_time_) {
            newest_time_ = found->time;
            has_next_ = true;
            return;
        }
    }
}

void ring_cursor::take_next()
{
    take_later();
    if (!current_)
        return;
    ++found_;
    current_->facts.lost = gaps_.before(current_->facts.number);
}

void ring_cursor::take_later()
{
    current_.emplace();
    while (!late_.empty() && (!has_next_ || late_.back().time < next_in_order_.facts.time)) {
        const std::uint64_t at = late_.back().position;
        late_.pop_back();
        if (late_entries_.read(at, *current_))
            return;
    }
    if (!has_next_) {
        current_.reset();
        return;
    }
    std::swap(*current_, next_in_order_);
    advance();
}

void ring_cursor::pop() { take_next(); }

counters ring_cursor::count() const { return count_of(in_order_.facts(), found_); }

} // namespace vorl::capture
