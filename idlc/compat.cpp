#include "compat.h"

#include <algorithm>
#include <map>

namespace idlc {
namespace {

/// A message and the package that describes it.
struct owned {
    const package *owner;
    const message *what;
};

std::string quoted(const std::string &text) { return "'" + text + "'"; }

std::string counted(std::size_t count, const std::string &what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

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
        }
        for (const package &p : after_) {
            for (const message &m : p.messages) {
                if (old_.count(m.name) == 0 && renamed_from_.count(m.name) == 0)
                    add({&p, &m}, m.at, aspect::identifier, false,
                        "message " + quoted(m.name) + " is new, " + hexadecimal(m.msg_id) +
                            "; deployed peers do not know it");
            }
            compare_order(p);
        }
        return std::move(found_);
    }

  private:
    void add(owned where, position at, aspect what, bool breaks, std::string text)
    {
        found_.push_back({where.owner->file, at, what, breaks, std::move(text)});
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
        if (const auto renamed = renamed_.find(was.what->name); renamed != renamed_.end()) {
            const owned is = renamed->second;
            add(is, is.what->at, aspect::identifier, true,
                "message " + name + " is renamed to " + quoted(is.what->name) + ": " + id +
                    " becomes " + hexadecimal(is.what->msg_id) + ", which deployed peers refuse");
            return;
        }
        const auto found = new_.find(was.what->name);
        if (found == new_.end()) {
            add(was, was.what->at, aspect::identifier, true,
                "message " + name + " is removed: " + id + ", which deployed peers still send");
            return;
        }
        const owned is = found->second;
        if (is.what->msg_id != was.what->msg_id)
            add(is, is.what->at, aspect::identifier, true,
                "message " + name + " moves to package " + quoted(is.owner->name) + ": " + id +
                    " becomes " + hexadecimal(is.what->msg_id) + ", which deployed peers refuse");
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
        if (only_moved && b.size() > a.size()) {
            add(is, b[front].at, aspect::wire, true,
                counted(b.size() - a.size(), "slot") + " inserted as " + b[front].name + of +
                    ": deployed peers read those behind by their old numbers; append instead");
            return;
        }
        if (only_moved) {
            add(was, a[front].at, aspect::wire, true,
                counted(a.size() - b.size(), "slot") + " removed from " + a[front].name + of +
                    ": deployed peers read those behind by their old numbers; leave the slot");
            return;
        }
        for (std::size_t i = front; i < shorter; ++i) {
            if (!same_type(a[i], b[i]))
                add(is, b[i].at, aspect::wire, true,
                    "slot " + b[i].name + of + " is " + spelling(b[i]) + ", was " + spelling(a[i]) +
                        "; append a slot of the new type instead");
        }
        for (std::size_t i = shorter; i < b.size(); ++i)
            add(is, b[i].at, aspect::wire, false,
                "slot " + b[i].name + of + " is appended, " + spelling(b[i]) +
                    "; deployed peers pass over it, and what they send reads as zero");
        for (std::size_t i = shorter; i < a.size(); ++i)
            add(was, a[i].at, aspect::wire, true,
                "slot " + a[i].name + of + " is removed, " + spelling(a[i]) +
                    "; deployed peers read it as zero; leave the slot");
    }

    void compare_record(const message &was, owned is)
    {
        const message &now = *is.what;
        const std::string of = " of " + quoted(now.name);
        const std::string then = "; programs must be compiled anew";
        if (was.record_size != now.record_size) {
            add(is, now.at, aspect::record, false,
                "the record" + of + " has " + counted(now.record_size, "byte") + ", had " +
                    counted(was.record_size, "byte") + then);
            return;
        }
        const std::size_t shorter = std::min(was.slots.size(), now.slots.size());
        for (std::size_t i = 0; i < shorter; ++i) {
            const slot &a = was.slots[i];
            const slot &b = now.slots[i];
            if (a.record_offset == b.record_offset && a.count_offset == b.count_offset &&
                same_type(a, b))
                continue;
            add(is, b.at, aspect::record, false,
                "member " + b.name + of + " is " + spelling(b) + " at byte " +
                    std::to_string(b.record_offset) + ", was " + spelling(a) + " at byte " +
                    std::to_string(a.record_offset) + then);
            return;
        }
        if (was.slots.size() != now.slots.size())
            add(is, now.at, aspect::record, false,
                "the record" + of + " has other members in the same " +
                    counted(now.record_size, "byte") + then);
    }

    // A frame leads its reader to every field, so what moves in it is not missed by anyone.
    void compare_frame(const message &was, owned is)
    {
        const message &now = *is.what;
        const std::string of = " of " + quoted(now.name);
        if (was.fixed_size && !now.fixed_size) {
            add(is, now.at, aspect::frame, false,
                quoted(now.name) +
                    " is no longer of fixed size: sent packed, where its frame had " +
                    counted(was.frame_length, "byte"));
        } else if (!was.fixed_size && now.fixed_size) {
            add(is, now.at, aspect::frame, false,
                quoted(now.name) + " is of fixed size now: sent as a frame of " +
                    counted(now.frame_length, "byte") + ", was sent packed");
        } else if (was.frame_length != now.frame_length) {
            add(is, now.at, aspect::frame, false,
                "the frame" + of + " has " + counted(now.frame_length, "byte") + ", had " +
                    counted(was.frame_length, "byte") + "; readers follow its offsets");
        } else {
            const std::size_t shorter = std::min(was.slots.size(), now.slots.size());
            for (std::size_t i = 0; i < shorter; ++i) {
                if (was.slots[i].frame_offset == now.slots[i].frame_offset)
                    continue;
                add(is, now.slots[i].at, aspect::frame, false,
                    "slot " + now.slots[i].name + of + " lies at byte " +
                        std::to_string(now.slots[i].frame_offset) +
                        " of its table in the frame, lay at " +
                        std::to_string(was.slots[i].frame_offset) + "; readers follow its offsets");
                return;
            }
        }
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
                    add(here, m.at, aspect::order, false,
                        "message " + quoted(m.name) + " is registered before " + quoted(was[next]) +
                            "; new messages stand at the end");
                continue;
            }
            if (m.name != was[next] && !said_moved) {
                said_moved = true;
                add(here, m.at, aspect::order, false,
                    "message " + quoted(m.name) + " is registered before " + quoted(was[next]) +
                        ", was after it; the bus goes by identifier");
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

const char *name_of(aspect what)
{
    switch (what) {
    case aspect::wire: return "wire";
    case aspect::record: return "record";
    case aspect::frame: return "frame";
    case aspect::identifier: return "identifier";
    case aspect::order: break;
    }
    return "order";
}

} // namespace

std::vector<difference> compare(const std::vector<package> &before,
                                const std::vector<package> &after)
{
    return comparison(before, after).run();
}

std::string report(const difference &d)
{
    return d.file + ":" + std::to_string(d.at.line) + ":" + std::to_string(d.at.column) + ": " +
           (d.breaks ? "breaks" : "keeps") + ": " + name_of(d.what) + ": " + d.text;
}

} // namespace idlc
