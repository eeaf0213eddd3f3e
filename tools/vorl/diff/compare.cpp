#include "tools/vorl/diff/compare.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "catalogue/catalogue.h"
#include "tools/vorl/record_slots.h"

namespace vorl::diff {
namespace {

/// One side of a table.
struct side {
    const std::uint8_t *record;
    given members;
};

class comparison {
  public:
    comparison(bool is_strict, const inspect::labels *names) : is_strict_(is_strict), names_(names)
    {}

    void tables(const message &m, const side &a, const side &b, const std::string &path)
    {
        for (std::size_t slot = 0; slot < m.slots.size; ++slot)
            member(m, slot, a, b, path + name_of_slot(m, slot));
        // What these say is not known. The frames are not the same, so that these may not be, either.
        const auto more_a = a.members.unknown_slots(m), more_b = b.members.unknown_slots(m);
        std::set<std::size_t> all(more_a.begin(), more_a.end());
        all.insert(more_b.begin(), more_b.end());
        for (const std::size_t slot : all) {
            found.push_back(
                {path + "f" + std::to_string(slot), unknown(more_a, slot), unknown(more_b, slot)});
        }
    }

    std::vector<difference> found;

  private:
    std::string name_of_slot(const message &m, std::size_t slot) const
    {
        const inspect::label *const as = names_ == nullptr ? nullptr : names_->label_of(m, slot);
        return as == nullptr || as->name.empty() ? catalogue::info_of(m).slots[slot].name
                                                 : as->name;
    }

    static state unknown(const std::vector<std::size_t> &slots, std::size_t slot)
    {
        if (std::find(slots.begin(), slots.end(), slot) == slots.end())
            return {};
        return {state::kind::unknown, "a slot that this vorl does not know"};
    }

    state state_of(const message &m, std::size_t slot, const side &s) const
    {
        if (!s.members.has(m, slot))
            return {};
        return {is_zero_slot(m.slots[slot], s.record) ? state::kind::zero : state::kind::value,
                json::format_member(m, s.record, slot, names_)};
    }

    void add(const message &m, std::size_t slot, const side &a, const side &b,
             const std::string &path)
    {
        found.push_back({path, state_of(m, slot, a), state_of(m, slot, b)});
    }

    void member(const message &m, std::size_t slot, const side &a, const side &b,
                const std::string &path)
    {
        const vorl::slot &s = m.slots[slot];
        if (is_strict_ && a.members.has(m, slot) != b.members.has(m, slot)) {
            add(m, slot, a, b, path);
            return;
        }
        const slot_content in_a = content_of(s, a.record), in_b = content_of(s, b.record);
        if (s.nested == nullptr) {
            if (in_a.count != in_b.count ||
                (in_a.count != 0 && std::memcmp(in_a.data, in_b.data, in_a.count * s.width) != 0))
                add(m, slot, a, b, path);
            return;
        }
        const std::size_t size = s.nested->record_size;
        for (std::size_t i = 0; i < std::max(in_a.count, in_b.count); ++i) {
            const std::string inner =
                s.shape == slot_shape::table ? path : path + "[" + std::to_string(i) + "]";
            if (i < in_a.count && i < in_b.count)
                tables(*s.nested, {in_a.data + i * size, a.members.table(m, slot, i)},
                       {in_b.data + i * size, b.members.table(m, slot, i)}, inner + ".");
            else
                found.push_back({inner, element(*s.nested, in_a, i), element(*s.nested, in_b, i)});
        }
    }

    /// Of a vector that may be shorter.
    state element(const message &m, const slot_content &in, std::size_t i) const
    {
        if (i >= in.count)
            return {};
        const std::uint8_t *const record = in.data + i * m.record_size;
        return {is_zero(record, m.record_size) ? state::kind::zero : state::kind::value,
                json::format_record(m, record, json::zeros::omit, names_)};
    }

    bool is_strict_;
    const inspect::labels *names_;
};

/// Of a frame that is no record.
state whole(const opened &o)
{
    if (o.record() != nullptr)
        return {state::kind::value,
                std::to_string(o.from().length) + " bytes that a receiver accepts"};
    return {state::kind::unknown, o.why_not()};
}

} // namespace

const char *name_of(state::kind k)
{
    switch (k) {
    case state::kind::absent: return "absent";
    case state::kind::zero: return "zero";
    case state::kind::value: return "value";
    case state::kind::unknown: break;
    }
    return "unknown";
}

opened::opened(const item &from, const inspect::labels *names) : from_(from)
{
    const catalogue::message_info *const info = catalogue::find_message(from.identifier);
    type_ = info == nullptr ? nullptr : &info->data;
    if (from.is_text) {
        object_ = json::parse_json(from.content);
        parsed_.emplace(json::parse_record(from.content, names));
        record_ = parsed_->data();
        members_ = given(object_, names);
        return;
    }
    const std::string size = std::to_string(from.length) + " bytes";
    if (type_ == nullptr) {
        why_not_ = size + " of a message that nobody knows";
    } else if (from.content.size() < from.length) {
        why_not_ = "cut: " + std::to_string(from.content.size()) + " of " + size;
    } else {
        decoded_ = std::make_unique<decoded_record>(*type_);
        const auto *const at = reinterpret_cast<const std::uint8_t *>(from.content.data());
        if (const auto why = decoded_->read({at, from.content.size()})) {
            why_not_ = size + ", refused at " + to_text(*why);
        } else {
            record_ = decoded_->data();
            members_ = given(std::string_view(from.content));
        }
    }
}

bool is_same(const item &a, const item &b)
{
    return a.is_text == b.is_text && a.length == b.length && a.content == b.content;
}

std::vector<difference> compare(const opened &a, const opened &b, bool is_strict,
                                const inspect::labels *names)
{
    if (is_same(a.from(), b.from()))
        return {};
    if (a.record() == nullptr || b.record() == nullptr)
        return {{"", whole(a), whole(b)}};
    comparison both(is_strict, names);
    both.tables(*a.type(), {a.record(), a.members()}, {b.record(), b.members()}, "");
    return both.found;
}

} // namespace vorl::diff
