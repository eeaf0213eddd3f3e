#include "capture/frame_filter.h"

#include <algorithm>

#include "inspect/decoded_record.h"
#include "inspect/explain.h"

namespace vorl::capture {
namespace {

bool passes(const std::set<std::uint32_t> &wanted, bool is_known, std::uint32_t value)
{
    return wanted.empty() || (is_known && wanted.contains(value));
}

/// Whether the frame's record has all those values. One that a receiver refuses has none.
bool holds(const std::vector<field_filter> &fields, const frame &f, const message &m)
{
    decoded_record record(m);
    return !record.read(f.kept) &&
           std::all_of(fields.begin(), fields.end(),
                       [&](const field_filter &field) { return field.holds(m, record.data()); });
}

} // namespace

verdict judge(const frame &f)
{
    verdict found;
    const catalogue::message_info *const info =
        f.facts.knows(identifier_known) ? catalogue::find_message(f.facts.identifier) : nullptr;
    if (info == nullptr)
        return found;
    found.of = &info->data;
    if (f.kept.size() < f.facts.length) {
        found.is = verdict::kind::cut;
        return found;
    }
    found.why = inspect::first_damage(info->data, f.kept);
    found.is = found.why ? verdict::kind::refused : verdict::kind::accepted;
    return found;
}

const char *name_of(verdict::kind k)
{
    switch (k) {
    case verdict::kind::accepted: return "accepted";
    case verdict::kind::refused: return "refused";
    case verdict::kind::cut: return "cut";
    case verdict::kind::unknown: break;
    }
    return "unknown";
}

bool frame_filter::wants(const frame &f, const verdict &judged) const
{
    const frame_facts &facts = f.facts;
    return passes(messages, facts.knows(identifier_known), facts.identifier) &&
           passes(destinations, facts.knows(destination_known), facts.destination) &&
           passes(processes, true, facts.process) &&
           passes(results, facts.knows(result_known), facts.result) &&
           (!way || facts.way == *way) && (!outcome || judged.is == *outcome) &&
           facts.time >= since && facts.time <= until &&
           (fields.empty() ||
            (judged.is == verdict::kind::accepted && holds(fields, f, *judged.of)));
}

} // namespace vorl::capture
