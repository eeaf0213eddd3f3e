#include "compat.h"

#include <algorithm>
#include <map>
#include <utility>

#include "check.h"
#include "compat_rules.h"
#include "words.h"

namespace idlc {
namespace {

/// A message and the package that describes it.
struct owned {
    const package *owner;
    const message *what;
};

std::string counted(std::size_t count, const std::string &what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// What a peer sees of what does not concern it.
const std::string no_news = "the same as before";
const std::string not_called = "the library is not called, and logs nothing";
const std::string follows = "the same as before: it follows the offsets in the message";

class comparison {
  public:
    comparison(const std::vector<package> &before, const std::vector<package> &after)
        : before_(before), after_(after)
    {
        for (const package &p : before)
            for (const message &m : p.messages)
                old_.emplace(m.name, owned{&p, &m});
        for (const package &p : after)
            for (const message &m : p.messages)
                new_.emplace(m.name, owned{&p, &m});
        find_renamed();
    }

    std::vector<difference> run()
    {
        for (const package &p : before_) {
            for (const message &m : p.messages)
                compare_message({&p, &m});
            if (find_package(after_, p.name) == nullptr)
                found_.push_back(
                    {&rule_of(rule_id::package_removed), p.file, p.name_at, true, "", "",
                     "package " + quoted(p.name) + " is removed, and with it its functions",
                     no_news, no_news});
        }
        for (const package &p : after_) {
            if (find_package(before_, p.name) == nullptr)
                found_.push_back({&rule_of(rule_id::package_added), p.file, p.name_at, false, "",
                                  "", "package " + quoted(p.name) + " is new", no_news, no_news});
            for (const message &m : p.messages) {
                if (old_.count(m.name) == 0 && renamed_from_.count(m.name) == 0)
                    add(rule_id::message_added, {&p, &m}, nullptr,
                        "message " + quoted(m.name) + " is new, " + hexadecimal(m.msg_id),
                        "its bus has nobody who takes it; " + not_called, "none from old peers");
            }
            compare_order(p);
        }
        return std::move(found_);
    }

  private:
    static const package *find_package(const std::vector<package> &among, const std::string &name)
    {
        for (const package &p : among) {
            if (p.name == name)
                return &p;
        }
        return nullptr;
    }

    /// `s`: the slot that changed; null: it is the message.
    void add(rule_id id, owned where, const slot *s, std::string text, std::string old_peer,
             std::string new_peer)
    {
        found_.push_back({&rule_of(id), where.owner->file, s == nullptr ? where.what->at : s->at,
                          is_old(where), where.what->name, s == nullptr ? "" : s->name,
                          std::move(text), std::move(old_peer), std::move(new_peer)});
    }
    bool is_old(owned where) const
    {
        const auto found = old_.find(where.what->name);
        return found != old_.end() && found->second.what == where.what;
    }

    // One slot in two versions: a nested message may have another name, its own slots are compared
    // where it stands.
    bool same_type(const slot &a, const slot &b) const
    {
        if (a.type != b.type || a.count != b.count)
            return false;
        if (a.message_name == b.message_name)
            return true;
        const auto renamed = renamed_.find(a.message_name);
        return renamed != renamed_.end() && renamed->second.what->name == b.message_name;
    }

    bool same_slots(const message &a, const message &b) const
    {
        return std::equal(a.slots.begin(), a.slots.end(), b.slots.begin(), b.slots.end(),
                          [this](const slot &x, const slot &y) { return same_type(x, y); });
    }

    // A message that is gone and one that is new, of the same slots, are taken for one that was
    // renamed: those at the same place of their packages first, then in the order of description.
    // What a message holds is placed before it, so by dependency.
    void find_renamed()
    {
        for (const package &p : before_) {
            for (const message *gone : p.by_dependency) {
                if (new_.count(gone->name) != 0)
                    continue;
                const owned *heir = nullptr;
                for (const package &q : after_) {
                    for (const message &m : q.messages) {
                        if (old_.count(m.name) != 0 || renamed_from_.count(m.name) != 0 ||
                            !same_slots(*gone, m))
                            continue;
                        const bool same_place =
                            gone - p.messages.data() == &m - q.messages.data() && p.name == q.name;
                        if (heir == nullptr || same_place)
                            heir = &new_.at(m.name);
                    }
                }
                if (heir != nullptr) {
                    renamed_.emplace(gone->name, *heir);
                    renamed_from_.emplace(heir->what->name, gone->name);
                }
            }
        }
    }

    void compare_message(owned was)
    {
        const std::string name = quoted(was.what->name);
        const std::string id = hexadecimal(was.what->msg_id);
        const auto another_id = [&](owned is) {
            return ": " + id + " becomes " + hexadecimal(is.what->msg_id);
        };
        const std::string lost = "nothing of it: neither has the other's identifier; " + not_called;
        if (const auto renamed = renamed_.find(was.what->name); renamed != renamed_.end()) {
            const owned is = renamed->second;
            return add(rule_id::message_renamed, is, nullptr,
                       "message " + name + " is renamed to " + quoted(is.what->name) +
                           another_id(is),
                       lost, lost);
        }
        const auto found = new_.find(was.what->name);
        if (found == new_.end())
            return add(rule_id::message_removed, was, nullptr,
                       "message " + name + " is removed, " + id, "no more of them",
                       "its bus has nobody who takes those that old peers send; " + not_called);
        const owned is = found->second;
        if (is.what->msg_id != was.what->msg_id)
            add(rule_id::message_moved, is, nullptr,
                "message " + name + " moves to package " + quoted(is.owner->name) + another_id(is),
                lost, lost);
        compare_slots(was, is);
        compare_record(*was.what, is);
        compare_frame(*was.what, is);
    }

    // What is the same from the front and from the back shows whether slots came or went between.
    void compare_slots(owned was, owned is)
    {
        const std::vector<slot> &a = was.what->slots;
        const std::vector<slot> &b = is.what->slots;
        const std::string of = " of " + quoted(is.what->name);
        const std::size_t shorter = std::min(a.size(), b.size());
        std::size_t front = 0;
        while (front < shorter && same_type(a[front], b[front]))
            ++front;
        std::size_t back = 0;
        while (back < shorter - front && same_type(a[a.size() - 1 - back], b[b.size() - 1 - back]))
            ++back;

        const bool only_moved = front < shorter && front + back == shorter && a.size() != b.size();
        const std::string by_number =
            "slots from there on by their numbers: each as what another is";
        if (only_moved && b.size() > a.size())
            return add(rule_id::slot_inserted, is, &b[front],
                       counted(b.size() - a.size(), "slot") + " inserted as " + b[front].name + of,
                       by_number, by_number);
        if (only_moved)
            return add(rule_id::slot_removed, was, &a[front],
                       counted(a.size() - b.size(), "slot") + " removed from " + a[front].name + of,
                       by_number, by_number);
        for (std::size_t i = 0; i < shorter; ++i) {
            if (!same_type(a[i], b[i]))
                add(rule_id::slot_type_changed, is, &b[i],
                    "slot " + b[i].name + of + " is " + spelling(b[i]) + ", was " + spelling(a[i]),
                    reading_of(a[i], b[i]), reading_of(b[i], a[i]));
            else if (a[i].malloc_text != b[i].malloc_text)
                add(rule_id::log_text_changed, is, &b[i],
                    "slot " + b[i].name + of + " has another text for the log", no_news, no_news);
        }
        for (std::size_t i = shorter; i < b.size(); ++i)
            add(rule_id::slot_appended, is, &b[i],
                "slot " + b[i].name + of + " is appended, " + spelling(b[i]),
                "all that it knows; it passes over the slot", empty_of(b[i]) + " in it");
        for (std::size_t i = shorter; i < a.size(); ++i)
            add(rule_id::slot_removed, was, &a[i],
                "slot " + a[i].name + of + " is removed, " + spelling(a[i]),
                empty_of(a[i]) + " in it", "all that it knows; it passes over the slot");
    }

    /// What a slot reads as that is not sent.
    static std::string empty_of(const slot &s)
    {
        return is_vector(s.type)                                ? "no elements"
               : is_array(s.type) || s.type == wire_type::table ? "zeros"
                                                                : "zero";
    }

    // Records do not travel.
    void compare_record(const message &was, owned is)
    {
        const message &now = *is.what;
        const std::string of = " of " + quoted(now.name);
        if (was.record_size != now.record_size)
            add(was.record_size < now.record_size && is_beginning(was, now)
                    ? rule_id::record_grown
                    : rule_id::record_changed,
                is, nullptr,
                "the record" + of + " has " + counted(now.record_size, "byte") + ", had " +
                    std::to_string(was.record_size),
                no_news, no_news);
        else if (!is_beginning(was, now) || was.slots.size() != now.slots.size())
            add(rule_id::record_changed, is, nullptr,
                "the record" + of + " has other members in the same " +
                    counted(now.record_size, "byte"),
                no_news, no_news);
        if (was.fixed_size && !now.fixed_size)
            add(rule_id::record_owns_memory, is, nullptr,
                "an unpacked record" + of + " owns memory, and did not", no_news, no_news);
    }

    /// Whether the old record's members are the new one's first.
    bool is_beginning(const message &was, const message &now) const
    {
        return was.slots.size() <= now.slots.size() &&
               std::equal(was.slots.begin(), was.slots.end(), now.slots.begin(),
                          [this](const slot &a, const slot &b) {
                              return a.record_offset == b.record_offset &&
                                     a.count_offset == b.count_offset && same_type(a, b);
                          });
    }

    // A frame leads its reader to every field, so what moves in it is not missed by anyone.
    void compare_frame(const message &was, owned is)
    {
        const message &now = *is.what;
        const std::string of = " of " + quoted(now.name);
        const auto changed = [&](const std::string &text) {
            add(rule_id::frame_changed, is, nullptr, text, follows, follows);
        };
        const auto same_place = [](const slot &a, const slot &b) {
            return a.frame_offset == b.frame_offset;
        };
        const std::size_t shorter = std::min(was.slots.size(), now.slots.size());
        if (was.fixed_size && !now.fixed_size)
            changed(quoted(now.name) + " is sent packed, was a frame of " +
                    counted(was.frame_length, "byte"));
        else if (!was.fixed_size && now.fixed_size)
            changed(quoted(now.name) + " is sent as a frame of " +
                    counted(now.frame_length, "byte") + ", was packed");
        else if (was.frame_length != now.frame_length)
            changed("the frame" + of + " has " + counted(now.frame_length, "byte") + ", had " +
                    std::to_string(was.frame_length));
        else if (!std::equal(was.slots.begin(),
                             was.slots.begin() + static_cast<std::ptrdiff_t>(shorter),
                             now.slots.begin(), same_place))
            changed("fields lie elsewhere in the frame" + of);
    }

    // Messages that both versions have: the first that another overtook. New ones that do not
    // stand at the end.
    void compare_order(const package &p)
    {
        const auto had = std::find_if(before_.begin(), before_.end(),
                                      [&p](const package &q) { return q.name == p.name; });
        if (had == before_.end())
            return;
        std::vector<std::string> was;
        for (const message &m : had->messages) {
            const auto renamed = renamed_.find(m.name);
            const std::string &name =
                renamed == renamed_.end() ? m.name : renamed->second.what->name;
            const auto kept = new_.find(name);
            if (kept != new_.end() && kept->second.owner == &p)
                was.push_back(name);
        }
        std::size_t next = 0;
        bool said_moved = false;
        for (const message &m : p.messages) {
            const owned here = {&p, &m};
            if (std::find(was.begin(), was.end(), m.name) == was.end()) {
                if (next < was.size())
                    add(rule_id::registration_order, here, nullptr,
                        "message " + quoted(m.name) + ", new, is registered before " +
                            quoted(was[next]),
                        no_news, no_news);
                continue;
            }
            if (m.name != was[next] && !said_moved) {
                said_moved = true;
                add(rule_id::registration_order, here, nullptr,
                    "message " + quoted(m.name) + " is registered before " + quoted(was[next]) +
                        ", was after it",
                    no_news, no_news);
            }
            ++next;
        }
    }

    const std::vector<package> &before_;
    const std::vector<package> &after_;
    std::map<std::string, owned> old_;
    std::map<std::string, owned> new_;
    std::map<std::string, owned> renamed_;            ///< old name -> its heir
    std::map<std::string, std::string> renamed_from_; ///< new name -> old name
    std::vector<difference> found_;
};

} // namespace

std::vector<difference> compare(const std::vector<package> &before,
                                const std::vector<package> &after)
{
    return comparison(before, after).run();
}

} // namespace idlc
