#include "capture/same_message.h"

#include <set>

#include "inspect/printable.h"

namespace vorl::capture {
namespace {

std::string slot_text(const described_slot &s)
{
    return "shape " + std::to_string(static_cast<unsigned>(s.shape)) + ", width " +
           std::to_string(s.width) + ", count " + std::to_string(s.count);
}

bool is_same(const described_slot &a, const described_slot &b)
{
    return a.shape == b.shape && a.width == b.width && a.count == b.count && a.nested == b.nested;
}

std::string difference_of_one(const description &there, const catalogue::message_info &info)
{
    const description here = describe(info, nullptr);
    const std::string name = printable(here.name);
    if (there.name != here.name)
        return name + " is called " + printable(there.name) + " in the capture";
    if (there.slots.size() != here.slots.size())
        return name + " has " + std::to_string(here.slots.size()) + " slots here, and " +
               std::to_string(there.slots.size()) + " in the capture";
    for (std::size_t i = 0; i < here.slots.size(); ++i) {
        if (!is_same(here.slots[i], there.slots[i]))
            return name + "." + here.slots[i].name + " is of another type in the capture (" +
                   slot_text(there.slots[i]) + "; here " + slot_text(here.slots[i]) + ")";
    }
    return {};
}

} // namespace

std::string difference_from_catalogue(std::uint32_t identifier,
                                      const std::map<std::uint32_t, description> &described)
{
    std::set<std::uint32_t> seen;
    std::vector<std::uint32_t> to_look_at = {identifier};
    while (!to_look_at.empty()) {
        const std::uint32_t next = to_look_at.back();
        to_look_at.pop_back();
        const auto there = described.find(next);
        const catalogue::message_info *const info = catalogue::find_message(next);
        if (there == described.end() || info == nullptr || !seen.insert(next).second)
            continue;
        if (std::string why = difference_of_one(there->second, *info); !why.empty())
            return why;
        for (const described_slot &s : there->second.slots) {
            if (s.nested != 0)
                to_look_at.push_back(s.nested);
        }
    }
    return {};
}

} // namespace vorl::capture
