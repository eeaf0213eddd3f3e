// What labels say that types do not: that a slot means something else, though it has the same type.
#include <algorithm>

#include "compat.h"
#include "compat_rules.h"
#include "words.h"

namespace idlc {
namespace {

const message *find_message(const std::vector<package> &among, const std::string &name,
                            const package *&owner)
{
    for (const package &p : among) {
        for (const message &m : p.messages) {
            if (m.name == name) {
                owner = &p;
                return &m;
            }
        }
    }
    return nullptr;
}

const std::string silent = "; nothing is refused or logged";

bool has_name(const std::map<std::uint64_t, std::string> &values, const std::string &name)
{
    return std::any_of(values.begin(), values.end(),
                       [&name](const auto &value) { return value.second == name; });
}

class label_comparison {
  public:
    label_comparison(const package &p, const message &was, const message &is,
                     const labels &old_ones, const labels &new_ones, std::vector<difference> &found)
        : package_(p), is_(is), found_(found)
    {
        for (std::size_t i = 0; i < std::min(was.slots.size(), is.slots.size()); ++i) {
            old_.push_back(old_ones(was, i).value_or(slot_label()));
            comparable_.push_back(spelling(was.slots[i]) == spelling(is.slots[i]));
        }
        for (std::size_t i = 0; i < is.slots.size(); ++i)
            new_.push_back(new_ones(is, i).value_or(slot_label()));
    }

    void run()
    {
        for (std::size_t i = 0; i < old_.size(); ++i) {
            if (!comparable_[i])
                continue;
            if (old_[i].name == new_[i].name)
                compare_meaning(i);
            else if (!old_[i].name.empty() && new_[i].name.empty())
                look_for(i);
            else if (!old_[i].name.empty())
                compare_names(i);
        }
    }

  private:
    void add(rule_id id, std::size_t at, const std::string &text, const std::string &old_peer,
             const std::string &new_peer)
    {
        const slot &s = is_.slots[at];
        found_.push_back({&rule_of(id), package_.file, s.at, false, is_.name, s.name,
                          text + ", in " + quoted(is_.name), old_peer, new_peer});
    }

    static std::size_t place_of(const std::vector<slot_label> &among, const std::string &name)
    {
        const auto found = std::find_if(among.begin(), among.end(),
                                        [&name](const slot_label &l) { return l.name == name; });
        return static_cast<std::size_t>(found - among.begin());
    }

    /// A name that its slot has lost.
    void look_for(std::size_t i)
    {
        const std::string was = quoted(old_[i].name);
        const std::size_t went_to = place_of(new_, old_[i].name);
        if (went_to == new_.size())
            return;
        add(rule_id::slot_moved, i,
            "slot " + is_.slots[i].name + " has no label, was " + was + ", which is " +
                is_.slots[went_to].name,
            "nothing for " + was + " that is known" + silent,
            was + " for what it has no label for" + silent);
    }

    void compare_names(std::size_t i)
    {
        const std::string &was = old_[i].name;
        const std::string &now = new_[i].name;
        const std::size_t went_to = place_of(new_, was);
        const std::size_t came_from = place_of(old_, now);
        const std::string slot = is_.slots[i].name;
        if (went_to != new_.size() && went_to == came_from && comparable_[came_from]) {
            if (i < went_to)
                add(rule_id::slots_exchanged, i,
                    "slots " + slot + " and " + is_.slots[went_to].name + ", " + quoted(was) +
                        " and " + quoted(now) + ", are exchanged",
                    "each for the other" + silent, "each for the other" + silent);
        } else if (went_to != new_.size() || came_from != old_.size()) {
            add(rule_id::slot_moved, i,
                "slot " + slot + " is " + quoted(now) + ", was " + quoted(was),
                quoted(now) + " for " + quoted(was) + silent,
                quoted(was) + " for " + quoted(now) + silent);
        } else {
            add(rule_id::slot_relabelled, i,
                "slot " + slot + " is labelled " + quoted(now) + ", was " + quoted(was),
                "the same bytes as before", "the same bytes as before");
        }
    }

    void compare_meaning(std::size_t i)
    {
        const slot_label &was = old_[i];
        const slot_label &now = new_[i];
        const std::string slot = is_.slots[i].name;
        if (was.unit != now.unit && !was.unit.empty() && !now.unit.empty())
            add(rule_id::slot_unit_changed, i,
                "slot " + slot + " counts " + quoted(now.unit) + ", was " + quoted(was.unit),
                "numbers of " + quoted(now.unit) + " for " + quoted(was.unit) + silent,
                "numbers of " + quoted(was.unit) + " for " + quoted(now.unit) + silent);
        for (const auto &[number, name] : was.values) {
            const auto same = now.values.find(number);
            if (same == now.values.end() || same->second == name)
                continue;
            // Otherwise the name alone is another.
            const bool is_another =
                has_name(now.values, name) || has_name(was.values, same->second);
            const std::string value = std::to_string(number);
            add(is_another ? rule_id::slot_values_changed : rule_id::slot_relabelled, i,
                "value " + value + " of slot " + slot + " is " + quoted(same->second) + ", was " +
                    quoted(name),
                quoted(name) + " for " + quoted(same->second) + silent,
                quoted(same->second) + " for " + quoted(name) + silent);
        }
    }

    const package &package_;
    const message &is_;
    std::vector<difference> &found_;
    std::vector<slot_label> old_;
    std::vector<slot_label> new_;
    std::vector<bool> comparable_; ///< slots of one type in both versions
};

} // namespace

std::vector<difference> compare_labels(const std::vector<package> &before,
                                       const std::vector<package> &after, const labels &was,
                                       const labels &is)
{
    std::vector<difference> found;
    for (const package &p : before) {
        for (const message &m : p.messages) {
            const package *owner = nullptr;
            if (const message *const now = find_message(after, m.name, owner))
                label_comparison(*owner, m, *now, was, is, found).run();
        }
    }
    return found;
}

} // namespace idlc
