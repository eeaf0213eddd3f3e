#include "tools/vorl/replay/sends.h"

namespace vorl::replay {
namespace {

constexpr std::uint64_t longest_call = 1'000'000'000; // nanoseconds

/// A frame's place here, beside its bytes.
constexpr std::uint64_t overhead = sizeof(capture::captured) + 64;

} // namespace

bool send_queue::continues(const waiting &open, const capture::frame_facts &facts)
{
    const capture::frame_facts &last = open.last;
    return facts.way == capture::direction::sent && last.way == capture::direction::sent &&
           facts.time == last.time && facts.of_send == last.of_send && facts.index > last.index &&
           facts.destination == last.destination && facts.known == last.known &&
           facts.handle == last.handle;
}

void send_queue::close(waiting &w)
{
    if (!w.is_over)
        open_.erase(w.from);
    w.is_over = true;
}

send_queue::waiting &send_queue::send_of(const capture::frame_facts &facts)
{
    const sender from{facts.process, facts.thread};
    const auto open = open_.find(from);
    if (open != open_.end()) {
        if (continues(*open->second, facts))
            return *open->second;
        close(*open->second);
    }
    waiting &added = queue_.emplace_back();
    added.from = from;
    open_[from] = &added;
    added.size = sizeof(waiting) + 64;
    size_ += added.size;
    return added;
}

void send_queue::add(capture::captured &&frame, bool is_wanted)
{
    const capture::frame_facts facts = frame.found.facts;
    for (waiting &w : queue_) {
        if (w.is_over)
            continue;
        if (facts.time < w.last.time || facts.time - w.last.time < longest_call)
            break; // those behind it began later
        close(w);
    }
    waiting &to = send_of(facts);
    to.last = facts;
    if (is_wanted) {
        const std::uint64_t size = overhead + frame.found.kept.size();
        to.content.frames.push_back(std::move(frame));
        to.size += size;
        size_ += size;
    }
    if (facts.way == capture::direction::received || facts.index + 1 >= facts.of_send)
        close(to);
}

void send_queue::end()
{
    for (waiting &w : queue_)
        close(w);
}

std::optional<send> send_queue::next()
{
    while (!queue_.empty() && (queue_.front().is_over || size_ > most_bytes_)) {
        waiting &first = queue_.front();
        send found = std::move(first.content);
        found.is_part = !first.is_over;
        close(first);
        size_ -= first.size;
        queue_.pop_front();
        if (!found.frames.empty())
            return found;
    }
    return std::nullopt;
}

} // namespace vorl::replay
