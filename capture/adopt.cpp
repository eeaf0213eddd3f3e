#include "capture/adopt.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>

namespace vorl::capture {
namespace {

constexpr std::uint64_t largest_record = 1 << 24;
/// Of a table in a vector: four bytes of a frame may cost that much memory. The largest known has 16,576.
constexpr std::uint64_t largest_element = 1 << 16;
constexpr unsigned most_levels = 32; // docs/format.md, "Limits"
constexpr std::size_t most_messages = 4096;

/// What a message consists of, for as long as the program runs.
struct adopted_message {
    std::string names;
    std::deque<std::string> slot_names;
    std::vector<slot> slots;
    std::vector<catalogue::slot_text> texts;
    std::optional<message> data;
    std::optional<catalogue::message_info> info;
};

/// What decides where tables of a message may stand.
struct nesting {
    unsigned levels = 1;      ///< of tables within each other, the message's own included
    bool owns_memory = false; ///< a record of it, or a table within, has a vector
};

/// By identifier: each message is looked at once, however many lead to it.
const nesting &nesting_of(const message &m)
{
    static std::map<std::uint32_t, nesting> known;
    const auto found = known.find(m.msg_id);
    if (found != known.end())
        return found->second;
    nesting all;
    for (const slot &s : m.slots) {
        all.owns_memory |= s.is_vector();
        if (s.nested == nullptr)
            continue;
        const nesting &within = nesting_of(*s.nested);
        all.levels = std::max(all.levels, within.levels + 1);
        all.owns_memory |= within.owns_memory;
    }
    return known.emplace(m.msg_id, all).first->second;
}

/// Whether a slot may have tables of that message: elements own no memory (docs/idl.md), so that the cost of
/// a frame is in proportion to its length, whatever leads to the same bytes.
bool may_hold(const described_slot &s, const message &nested)
{
    const nesting &within = nesting_of(nested);
    if (within.levels >= most_levels)
        return false;
    if (s.shape == slot_shape::table)
        return true;
    return !within.owns_memory &&
           (s.shape != slot_shape::table_vector || nested.record_size <= largest_element);
}

/// As VORL_NAMES writes them.
std::string names_of(const std::string &name)
{
    std::string all;
    for (const char *suffix : {"", "_unpack", "_unpack_non_root", "_pack", "_free_unpacked",
                               "__sendsingle", "__sendbatch"})
        all += name + suffix + '\0';
    return all;
}

/// Slots of a record that nobody but this program has, each at a multiple of 8. False: it is too large.
bool lay_out(const description &d, adopted_message &to, std::uint64_t &size)
{
    size = 0;
    for (const described_slot &described : d.slots) {
        slot s = {.shape = described.shape, .record_at = static_cast<std::uint32_t>(size)};
        s.width = described.width;
        s.count = described.count;
        std::uint64_t element = described.width;
        if (described.width == 0) {
            const catalogue::message_info *const nested = catalogue::find_message(described.nested);
            if (nested == nullptr || !may_hold(described, nested->data))
                return false;
            s.nested = &nested->data;
            element = nested->data.record_size;
        }
        if (s.is_vector()) {
            s.count_at = s.record_at + static_cast<std::uint32_t>(sizeof(void *));
            size += 2 * sizeof(void *);
        } else {
            size += (element * std::max<std::uint64_t>(s.count, 1) + 7) / 8 * 8;
        }
        if (size > largest_record)
            return false;
        to.slots.push_back(s);
        to.slot_names.push_back(described.name);
        to.texts.push_back({to.slot_names.back().c_str(), ""});
    }
    return !to.slots.empty();
}

/// Letters, digits and underscores, of which a line of JSON has no doubt.
bool is_name(const std::string &name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_';
    });
}

} // namespace

void adopt(const description &d)
{
    static std::deque<adopted_message> all;
    std::uint64_t size = 0;
    adopted_message made;
    if (catalogue::find_message(d.identifier) != nullptr || all.size() == most_messages ||
        !is_name(d.name) ||
        !std::all_of(d.slots.begin(), d.slots.end(),
                     [](const described_slot &s) { return is_name(s.name); }) ||
        !lay_out(d, made, size))
        return;
    adopted_message &kept = all.emplace_back(std::move(made));
    kept.names = names_of(d.name);
    const slot none[] = {kept.slots[0]};
    slot_list slots(none);
    slots.first = kept.slots.data();
    slots.size = static_cast<std::uint32_t>(kept.slots.size());
    kept.data.emplace(message{kept.names.c_str(), static_cast<std::uint32_t>(d.name.size()),
                              d.identifier, package::srv6, static_cast<std::uint32_t>(size),
                              slots});
    kept.info.emplace(catalogue::message_info{*kept.data, "", kept.texts});
    catalogue::adopt(*kept.info);
}

} // namespace vorl::capture
