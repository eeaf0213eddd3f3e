#include "capture/follow.h"

#include <algorithm>
#include <filesystem>

namespace vorl::capture {
namespace {

constexpr std::size_t most_frames = 4096; ///< of a ring at once, and bytes
constexpr std::size_t most_bytes = std::size_t{4} << 20;
constexpr auto patience = std::chrono::seconds(1);

} // namespace

void followed_rings::find_rings()
{
    for (const std::string &file : files_of(names_)) {
        if (rings_.contains(file))
            continue;
        try {
            auto ring = std::make_unique<followed>(file);
            offsets_.add(ring->reader.facts());
            rings_.emplace(file, std::move(ring));
        } catch (const unfinished_ring &) {
            // It can be read the next time.
        } catch (const capture_error &error) {
            note_(error.what());
            rings_.emplace(file, nullptr);
        }
    }
}

/// A ring that 'vorl tap clean' removed takes room as long as it is open, and another process of the same
/// number may make one of the same name.
void followed_rings::forget_removed()
{
    std::erase_if(rings_, [this](auto &entry) {
        auto &[name, ring] = entry;
        if (ring == nullptr)
            return !std::filesystem::exists(name);
        const bool is_over = ring->reader.is_removed() && ring->frames.empty() &&
                             ring->position >= ring->reader.facts().head &&
                             !ring->reader.facts().is_running;
        if (is_over)
            removed_.push_back(total_of(*ring));
        return is_over;
    });
}

void followed_rings::tell_damage(followed &ring)
{
    if (ring.reader.damage().empty() || ring.is_damage_told)
        return;
    ring.is_damage_told = true;
    note_(ring.reader.damage());
}

/// Whether the entry there may yet be committed: its writer is at it, or was stopped. One that was killed
/// is not waited for.
bool followed_rings::is_awaited(followed &ring, std::uint64_t position)
{
    if (!ring.reader.facts().is_running)
        return false;
    if (ring.waits_at != position) {
        ring.waits_at = position;
        ring.waits_since = clock::now();
    }
    return clock::now() - ring.waits_since < patience;
}

void followed_rings::read(followed &ring)
{
    ring.reader.refresh();
    const std::uint64_t end = ring.reader.facts().head;
    bool is_overtaken = ring.position < ring.reader.oldest();
    if (is_overtaken)
        ring.position = ring.reader.oldest();
    std::size_t size = 0;
    for (const frame &f : ring.frames)
        size += f.kept.size();
    ring.has_more = false;
    while (ring.position < end) {
        if (ring.frames.size() == most_frames || size >= most_bytes) {
            ring.has_more = true;
            return;
        }
        const std::uint64_t before = ring.position;
        frame f;
        const auto found = ring.reader.next(ring.position, end, f);
        const bool has_hole = found ? found->position != before : before != end;
        if (has_hole && !is_overtaken && is_awaited(ring, before)) {
            ring.position = before;
            return;
        }
        if (!found)
            return;
        is_overtaken = false;
        ++ring.found;
        f.facts.lost = ring.gaps.before(f.facts.number);
        f.facts.time += static_cast<std::uint64_t>(offsets_.of(ring.reader.facts()));
        size += f.kept.size();
        ring.frames.push_back(std::move(f));
    }
}

bool followed_rings::take_new(const take_frame &take)
{
    forget_removed();
    find_rings();
    // Up to where every ring has been read.
    std::uint64_t horizon = ~std::uint64_t{0};
    std::vector<std::pair<const frame *, const process_facts *>> ready;
    for (const auto &[name, ring] : rings_) {
        if (ring == nullptr)
            continue;
        read(*ring);
        tell_damage(*ring);
        if (ring->has_more)
            horizon = std::min(horizon, ring->frames.back().facts.time);
    }
    for (const auto &[name, ring] : rings_) {
        if (ring == nullptr)
            continue;
        for (const frame &f : ring->frames) {
            if (f.facts.time <= horizon)
                ready.emplace_back(&f, &ring->reader.facts().process);
        }
    }
    std::stable_sort(ready.begin(), ready.end(), [](const auto &a, const auto &b) {
        return a.first->facts.time < b.first->facts.time;
    });
    for (const auto &[f, process] : ready)
        take(*f, *process);
    for (const auto &[name, ring] : rings_) {
        if (ring != nullptr)
            std::erase_if(ring->frames,
                          [horizon](const frame &f) { return f.facts.time <= horizon; });
    }
    return !ready.empty();
}

process_total followed_rings::total_of(followed &ring)
{
    ring.reader.refresh();
    return {ring.reader.facts().process, count_of(ring.reader.facts(), ring.found)};
}

std::vector<process_total> followed_rings::totals() const
{
    std::vector<process_total> all = removed_;
    for (const auto &[name, ring] : rings_) {
        if (ring != nullptr)
            all.push_back(total_of(*ring));
    }
    return all;
}

} // namespace vorl::capture
