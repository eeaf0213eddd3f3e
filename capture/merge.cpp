#include "capture/merge.h"

#include <algorithm>

namespace vorl::capture {

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
        ++found_;
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

/// How many frames are missing before this one. Numbers of threads that recorded at the same moment may
/// be in another order: what was missed too early is taken off again.
void ring_cursor::note_number(frame_facts &facts)
{
    if (facts.number < expected_) {
        ++out_of_turn_;
        return;
    }
    const std::uint64_t missing = facts.number - expected_;
    const std::uint64_t counted = std::min(missing, out_of_turn_);
    facts.lost = missing - counted;
    out_of_turn_ -= counted;
    expected_ = facts.number + 1;
}

void ring_cursor::take_next()
{
    current_.emplace();
    while (!late_.empty() && (!has_next_ || late_.back().time < next_in_order_.facts.time)) {
        const std::uint64_t at = late_.back().position;
        late_.pop_back();
        if (late_entries_.read(at, *current_)) {
            note_number(current_->facts);
            return;
        }
    }
    if (!has_next_) {
        current_.reset();
        return;
    }
    std::swap(*current_, next_in_order_);
    note_number(current_->facts);
    advance();
}

void ring_cursor::pop() { take_next(); }

counters ring_cursor::count() const
{
    const ring_facts &facts = in_order_.facts();
    const std::uint64_t there = found_ + facts.dropped;
    return {facts.seen, facts.seen > there ? facts.seen - there : 0, facts.dropped, 0};
}

merged_rings::merged_rings(const std::vector<std::string> &rings,
                           const std::function<void(const std::string &)> &note)
{
    for (const std::string &ring : rings) {
        try {
            rings_.push_back(std::make_unique<ring_cursor>(ring));
            if (!rings_.back()->damage().empty())
                note(rings_.back()->damage());
        } catch (const capture_error &error) {
            note(error.what());
        }
    }
    for (const auto &ring : rings_) {
        const ring_cursor *newest = ring.get();
        for (const auto &other : rings_) {
            if (other->facts().boot == ring->facts().boot &&
                other->facts().started > newest->facts().started)
                newest = other.get();
        }
        offsets_.push_back(newest->facts().offset);
    }
}

frame *merged_rings::next(std::size_t &ring)
{
    if (last_ != nullptr)
        last_->pop();
    last_ = nullptr;
    std::uint64_t earliest = 0;
    for (std::size_t i = 0; i < rings_.size(); ++i) {
        const frame *const front = rings_[i]->front();
        if (front == nullptr)
            continue;
        const std::uint64_t time = front->facts.time + static_cast<std::uint64_t>(offsets_[i]);
        if (last_ != nullptr && time >= earliest)
            continue;
        last_ = rings_[i].get();
        earliest = time;
        ring = i;
    }
    if (last_ == nullptr)
        return nullptr;
    last_->front()->facts.time = earliest;
    return last_->front();
}

} // namespace vorl::capture
