#include "check.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "check_names.h"
#include "layout.h"
#include "words.h"

namespace idlc {
namespace {

// A level of nesting costs a compiler several levels of templates, of which there are 900 or more.
constexpr std::size_t largest_depth = 32;

using packages_by_message = std::map<std::string_view, const package *>;

/// Where the message is that a slot holds, in words.
std::string instead_of_message(const slot &s, const package &p, const packages_by_message &all)
{
    if (const auto other = all.find(s.message_name); other != all.end())
        return "it is of package " + quoted(other->second->name) +
               ", and a table holds messages of its own package; describe one here";
    std::vector<std::string_view> names;
    for (const message &m : p.messages)
        names.emplace_back(m.name);
    if (is_type_word(s.message_name))
        return "a table holds a message; write 'array<...>' or 'vector<...>' for elements";
    return meant(s.message_name, names, "describe it, or correct the name");
}

void resolve(package &p, const packages_by_message &all, faults &to)
{
    std::map<std::string_view, message *> by_name;
    for (message &m : p.messages)
        by_name.emplace(m.name, &m);
    for (message &m : p.messages) {
        for (slot &s : m.slots) {
            m.is_faulty = m.is_faulty || s.is_faulty;
            if (s.is_faulty)
                continue;
            if (is_array(s.type) && s.count == 0) {
                to.add(p.file, s.count_at, s.count_length,
                       "an array of zero elements; give it at least one, or remove the slot");
                m.is_faulty = true;
            }
            if (s.message_name.empty())
                continue;
            if (const auto found = by_name.find(s.message_name); found != by_name.end()) {
                s.refers_to = found->second;
                continue;
            }
            to.add(p.file, s.message_at, s.message_length,
                   "unknown type: there is no message " + quoted(s.message_name) + " in package " +
                       quoted(p.name) + "; " + (to.is_full() ? "" : instead_of_message(s, p, all)));
            m.is_faulty = true;
        }
    }
}

// Depth first: a message is placed after all that it refers to. A message met again while it is
// still open closes a cycle. What holds a faulty message is faulty, and nothing more is said of it.
class ordering {
  public:
    ordering(package &p, faults &to) : package_(p), faults_(to) {}

    void run()
    {
        for (message &m : package_.messages)
            visit(m, m.at, m.name.size());
    }

  private:
    /// Its depth; it is known once the message is placed, and 0 until then. Neither it nor the path
    /// passes largest_depth, which also bounds the recursion.
    std::size_t visit(message &m, position from, std::size_t length)
    {
        if (is_too_deep_)
            return 0;
        const auto [known, fresh] = depths_.emplace(&m, 0);
        if (!fresh && known->second != 0)
            return known->second;
        if (!fresh) {
            refuse_cycle(m, from, length);
            return 0;
        }
        path_.push_back(&m);
        std::size_t depth = 1;
        refuse_beyond_limit(path_.size(), from, length);
        for (const slot &s : m.slots) {
            if (is_too_deep_ || !s.refers_to)
                continue;
            depth = std::max(depth, 1 + visit(*s.refers_to, s.message_at, s.message_length));
            m.is_faulty = m.is_faulty || s.refers_to->is_faulty;
            refuse_beyond_limit(depth, s.message_at, s.message_length);
        }
        path_.pop_back();
        known->second = depth;
        package_.by_dependency.push_back(&m);
        return depth;
    }

    // One is enough: what lies behind is deeper still.
    void refuse_beyond_limit(std::size_t depth, position at, std::size_t length)
    {
        if (depth <= largest_depth || is_too_deep_)
            return;
        is_too_deep_ = true;
        faults_.add(package_.file, at, length,
                    "messages nest deeper than " + std::to_string(largest_depth) +
                        " levels here; hold fewer within one another");
        for (message &m : package_.messages)
            m.is_faulty = true;
    }

    void refuse_cycle(const message &m, position from, std::size_t length)
    {
        std::string cycle;
        for (auto at = std::find(path_.begin(), path_.end(), &m); at != path_.end(); ++at) {
            cycle += (*at)->name + " -> ";
            (*at)->is_faulty = true;
        }
        faults_.add(package_.file, from, length,
                    "forward cycle: " + cycle + m.name +
                        "; a message cannot hold itself, take one of these slots out");
    }

    package &package_;
    faults &faults_;
    std::map<const message *, std::size_t> depths_;
    std::vector<message *> path_;
    bool is_too_deep_ = false;
};

void identify(std::vector<package> &packages, faults &to)
{
    std::map<std::uint32_t, const message *> owners;
    for (package &p : packages) {
        for (message &m : p.messages) {
            if (!is_of(p, m))
                continue;
            m.msg_id = fnv1a(p.name + "." + m.name.substr(p.name.size() + 1));
            const auto [had, fresh] = owners.emplace(m.msg_id, &m);
            if (!fresh && had->second->name != m.name)
                to.add(p.file, m.at, m.name.size(),
                       quoted(m.name) + " has the identifier " + hexadecimal(m.msg_id) + " of " +
                           quoted(had->second->name) +
                           "; identifiers are hashes of the names, so rename one");
        }
    }
}

} // namespace

std::uint32_t fnv1a(const std::string &text)
{
    std::uint32_t hash = 0x811C9DC5;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x01000193;
    return hash;
}

std::string hexadecimal(std::uint32_t id)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", id);
    return text;
}

std::string spelling(const slot &s)
{
    switch (s.type) {
    case wire_type::uint8: return "uint8";
    case wire_type::uint16: return "uint16";
    case wire_type::uint32: return "uint32";
    case wire_type::uint64: return "uint64";
    case wire_type::array_uint8: return "array<uint8, " + std::to_string(s.count) + ">";
    case wire_type::array_uint32: return "array<uint32, " + std::to_string(s.count) + ">";
    case wire_type::array_table:
        return "array<table " + s.message_name + ", " + std::to_string(s.count) + ">";
    case wire_type::vector_uint8: return "vector<uint8>";
    case wire_type::vector_table: return "vector<table " + s.message_name + ">";
    case wire_type::table: break;
    }
    return "table " + s.message_name;
}

void check(std::vector<package> &packages, faults &to)
{
    check_names(packages, to);
    packages_by_message all;
    for (const package &p : packages)
        for (const message &m : p.messages)
            all.emplace(m.name, &p);
    for (package &p : packages) {
        resolve(p, all, to);
        ordering(p, to).run();
        for (message *m : p.by_dependency) {
            const bool holds_faulty =
                std::any_of(m->slots.begin(), m->slots.end(),
                            [](const slot &s) { return s.refers_to && s.refers_to->is_faulty; });
            m->is_faulty = m->is_faulty || holds_faulty;
            if (!m->is_faulty)
                lay_out(p, *m, to);
        }
    }
    check_generated_names(packages, to);
    identify(packages, to);
}

} // namespace idlc
