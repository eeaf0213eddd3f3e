#include "check_names.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "words.h"

namespace idlc {
namespace {

std::string place(const package &p, position at) { return p.file + ":" + std::to_string(at.line); }

class names {
  public:
    explicit names(faults &to) : faults_(to) {}

    void check(package &p)
    {
        if (!p.name.empty()) {
            refuse_reserved(p, p.name_at, p.name, 0);
            if (p.name.ends_with('_'))
                refuse(p, p.name_at, p.name.size(),
                       quoted(p.name) + " ends in an underscore, which comes before the message; "
                                        "remove it");
            if (const auto [had, fresh] = package_at_.emplace(p.name, place(p, p.name_at)); !fresh)
                refuse(p, p.name_at, p.name.size(),
                       "package " + quoted(p.name) + " is already described in " + had->second +
                           "; merge the two");
        }
        for (message &m : p.messages) {
            if (!m.name.empty())
                check(p, m);
            check_slots(p, m);
        }
    }

  private:
    void refuse(const package &p, position at, std::size_t length, const std::string &text)
    {
        faults_.add(p.file, at, length, text);
    }

    /// `checked` are the name's first characters, of which everything is said.
    bool refuse_reserved(const package &p, position at, const std::string &name,
                         std::size_t checked)
    {
        const std::size_t before = faults_.count();
        if (is_reserved(name))
            refuse(p, at, name.size(),
                   quoted(name) + " is a word of C or C++; choose another name");
        else if (name[0] == '_' && checked == 0)
            refuse(p, at, name.size(),
                   quoted(name) + " begins with an underscore; begin names with a letter");
        else if (name.find("__", checked) != std::string::npos)
            refuse(p, at, name.size(),
                   quoted(name) + " has two underscores in a row, which is kept for what is "
                                  "generated, as in 'srv6_a__pack'; write one");
        return faults_.count() != before;
    }

    void check(package &p, message &m)
    {
        if (refuse_reserved(p, m.at, m.name, is_of(p, m) ? p.name.size() : 0))
            m.is_faulty = true;
        else if (!is_of(p, m) && !p.name.empty() && !p.name.ends_with('_')) {
            m.is_faulty = true;
            refuse(p, m.at, m.name.size(),
                   "message " + quoted(m.name) + " is not of package " + quoted(p.name) +
                       "; name it '" + p.name + "_...'");
        }
        if (const auto [had, fresh] = message_at_.emplace(m.name, place(p, m.at)); !fresh) {
            m.is_faulty = true;
            refuse(p, m.at, m.name.size(),
                   "duplicate message " + quoted(m.name) + ", first described in " + had->second +
                       "; rename one");
        }
    }

    // A slot's name is its number. A wrong one may be a slip, or the first of a run that is counted
    // otherwise; the slot behind it tells which, so that each is one fault. One that fills a gap
    // before it belongs to the fault that the gap is.
    void check_slots(const package &p, const message &m)
    {
        std::set<std::size_t> seen;
        std::size_t next = 0;
        bool is_known = true; // whether the slot before this one has a number
        for (std::size_t i = 0; i < m.slots.size(); ++i) {
            const slot &s = m.slots[i];
            std::size_t number = 0;
            const bool has_number = is_slot_name(s.name, number);
            const bool is_faulty = s.is_faulty || s.name.empty();
            if (is_faulty || (has_number && (!is_known || number == next))) {
                next = has_number && !is_faulty ? number + 1 : next + 1;
                is_known = !is_faulty;
                if (has_number && !is_faulty)
                    seen.insert(number);
                continue;
            }
            const bool is_duplicate = has_number && seen.count(number) != 0;
            const std::string wanted = "f" + std::to_string(next);
            if (is_duplicate)
                refuse(p, s.name_at, s.name_length,
                       "duplicate slot " + quoted(s.name) + " in " + quoted(m.name) + "; slot " +
                           std::to_string(next) + " is named " + quoted(wanted));
            else if (!has_number || number > next)
                refuse(p, s.name_at, s.name_length,
                       "slot " + std::to_string(next) + " of " + quoted(m.name) + " is named " +
                           quoted(wanted) + ", not " + quoted(s.name) +
                           "; slots are numbered in vtable order");
            std::size_t behind = 0;
            const bool is_slip = i + 1 == m.slots.size() ||
                                 (is_slot_name(m.slots[i + 1].name, behind) && behind == next + 1);
            if (!has_number || is_slip) {
                ++next;
            } else if (!is_duplicate) {
                seen.insert(number);
                next = std::max(next, number + 1);
            }
        }
    }

    faults &faults_;
    std::map<std::string, std::string> package_at_;
    std::map<std::string, std::string> message_at_;
};

} // namespace

bool is_of(const package &p, const message &m)
{
    return m.name.size() > p.name.size() + 1 && m.name.starts_with(p.name) &&
           m.name[p.name.size()] == '_' && !p.name.empty();
}

void check_names(std::vector<package> &packages, faults &to)
{
    names all(to);
    for (package &p : packages)
        all.check(p);
}

void check_generated_names(const std::vector<package> &packages, faults &to)
{
    std::map<std::string, std::string> brought_by;
    const auto bring = [&](const package &p, position at, std::size_t length, const std::string &by,
                           const std::string &name) {
        const auto [had, fresh] = brought_by.emplace(name, by);
        if (!fresh && had->second != by)
            to.add(p.file, at, length,
                   by + " brings the name " + quoted(name) + ", and so does " + had->second +
                       "; rename one");
        return fresh || had->second == by;
    };
    for (const package &p : packages) {
        if (p.name.empty())
            continue;
        for (const char *ending : {"", "_catalogue", "_package", "_recv_init", "_send_init"}) {
            if (!bring(p, p.name_at, p.name.size(), "package " + quoted(p.name), p.name + ending))
                break;
        }
        for (const message *m : p.by_dependency) {
            if (m->name.empty())
                continue;
            const std::string by = "message " + quoted(m->name);
            // Other endings have two underscores in a row, and names have not.
            for (const char *ending : {"", "_msg_id", "_message"}) {
                if (!bring(p, m->at, m->name.size(), by, m->name + ending))
                    break;
            }
            // Among the messages this hides a record of its name from there on, but not before.
            brought_by.emplace(m->name + "_slots", by);
        }
    }
}

} // namespace idlc
