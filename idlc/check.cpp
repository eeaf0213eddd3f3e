#include "check.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>

namespace idlc {
namespace {

constexpr std::uint64_t largest_u16 = 0xFFFF;
constexpr std::uint64_t largest_int32 = 0x7FFFFFFF;

[[noreturn]] void fail(const package &p, position at, const std::string &text)
{
    throw description_error(p.file, at, text);
}

std::string place(const package &p, position at) { return p.file + ":" + std::to_string(at.line); }

constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t to)
{
    return (value + to - 1) / to * to;
}

void check_names(const std::vector<package> &packages)
{
    std::map<std::string, std::string> package_at;
    std::map<std::string, std::string> message_at;
    for (const package &p : packages) {
        if (const auto [had, fresh] = package_at.emplace(p.name, place(p, p.name_at)); !fresh)
            fail(p, p.name_at,
                 "package '" + p.name + "' is already described in " + had->second +
                     "; merge the two");
        for (const message &m : p.messages) {
            if (m.name.rfind(p.name + "_", 0) != 0)
                fail(p, m.at,
                     "message '" + m.name + "' is not of package '" + p.name + "'; name it '" +
                         p.name + "_...'");
            if (const auto [had, fresh] = message_at.emplace(m.name, place(p, m.at)); !fresh)
                fail(p, m.at,
                     "duplicate message '" + m.name + "', first described in " + had->second +
                         "; rename one");
            for (std::size_t i = 0; i < m.slots.size(); ++i) {
                const slot &s = m.slots[i];
                const std::string name = "f" + std::to_string(i);
                const auto same = [&s](const slot &other) {
                    return &other != &s && other.name == s.name;
                };
                if (std::any_of(m.slots.begin(), m.slots.begin() + static_cast<std::ptrdiff_t>(i),
                                same))
                    fail(p, s.name_at,
                         "duplicate slot '" + s.name + "' in '" + m.name + "'; slot " +
                             std::to_string(i) + " is named '" + name + "'");
                if (s.name != name)
                    fail(p, s.name_at,
                         "slot " + std::to_string(i) + " of '" + m.name + "' is named '" + name +
                             "', not '" + s.name + "'; slots are numbered in vtable order");
            }
        }
    }
}

void resolve(package &p)
{
    std::map<std::string, const message *> by_name;
    for (const message &m : p.messages)
        by_name[m.name] = &m;
    for (message &m : p.messages) {
        for (slot &s : m.slots) {
            if (is_array(s.type) && s.count == 0)
                fail(p, s.count_at,
                     "an array of zero elements; give it at least one, or remove the slot");
            if (s.message_name.empty())
                continue;
            const auto found = by_name.find(s.message_name);
            if (found == by_name.end())
                fail(p, s.message_at,
                     "unknown type: there is no message '" + s.message_name + "' in package '" +
                         p.name + "'; describe it, or correct the name");
            s.refers_to = found->second;
        }
    }
}

// Depth first: a message is placed after all that it refers to. A message met again while it is
// still open closes a cycle.
void order(package &p)
{
    enum class state : std::uint8_t { fresh, open, placed };
    std::map<const message *, state> states;
    std::vector<const message *> path;
    const std::function<void(const message &, position)> visit = [&](const message &m,
                                                                     position from) {
        state &mine = states[&m];
        if (mine == state::placed)
            return;
        if (mine == state::open) {
            std::string cycle;
            for (auto at = std::find(path.begin(), path.end(), &m); at != path.end(); ++at)
                cycle += (*at)->name + " -> ";
            fail(p, from,
                 "forward cycle: " + cycle + m.name +
                     "; a message cannot hold itself, take one of these slots out");
        }
        mine = state::open;
        path.push_back(&m);
        for (const slot &s : m.slots) {
            if (s.refers_to)
                visit(*s.refers_to, s.message_at);
        }
        path.pop_back();
        mine = state::placed;
        p.by_dependency.push_back(&m);
    };
    for (const message &m : p.messages)
        visit(m, m.at);
}

void identify(std::vector<package> &packages)
{
    std::map<std::uint32_t, const message *> owners;
    for (package &p : packages) {
        for (message &m : p.messages) {
            m.msg_id = fnv1a(p.name + "." + m.name.substr(p.name.size() + 1));
            const auto [had, fresh] = owners.emplace(m.msg_id, &m);
            if (!fresh) {
                char id[16];
                std::snprintf(id, sizeof id, "0x%08X", m.msg_id);
                fail(p, m.at,
                     "'" + m.name + "' has the identifier " + id + " of '" + had->second->name +
                         "'; identifiers are hashes of the names, so rename one");
            }
        }
    }
}

struct extent {
    std::uint64_t size;
    std::uint64_t alignment;
};

extent member_of(const slot &s)
{
    switch (s.type) {
    case wire_type::uint8: return {1, 1};
    case wire_type::uint16: return {2, 2};
    case wire_type::uint32: return {4, 4};
    case wire_type::uint64: return {8, 8};
    case wire_type::array_uint8: return {s.count, 1};
    case wire_type::array_uint32: return {4 * s.count, 4};
    case wire_type::array_table:
        return {s.count * s.refers_to->record_size, s.refers_to->record_alignment};
    case wire_type::table: return {s.refers_to->record_size, s.refers_to->record_alignment};
    case wire_type::vector_uint8:
    case wire_type::vector_table: break;
    }
    return {8, 8}; // the pointer
}

// Bytes that a slot takes in a frame; out-of-line bodies lie in line there.
std::uint64_t frame_bytes_of(const slot &s)
{
    switch (s.type) {
    case wire_type::array_uint8: return 8 + s.count;
    case wire_type::array_uint32: return 8 + 4 * s.count;
    case wire_type::array_table:
        return 8 + s.count * (4 + std::uint64_t{s.refers_to->frame_length});
    case wire_type::table: return s.refers_to->frame_length;
    default: return member_of(s).size;
    }
}

void lay_out(const package &p, message &m)
{
    for (const slot &s : m.slots) {
        m.fixed_size =
            m.fixed_size && !is_vector(s.type) && (!s.refers_to || s.refers_to->fixed_size);
        const bool elements_own_memory =
            s.refers_to && s.type != wire_type::table && !s.refers_to->fixed_size;
        if (elements_own_memory)
            fail(p, s.message_at,
                 "elements are of fixed size, and '" + s.message_name +
                     "' holds a vector; use 'table " + s.message_name +
                     "', or an element without a vector");
    }

    // Record: members in slot order, each at its natural alignment.
    std::uint64_t record = 0;
    for (slot &s : m.slots) {
        if (is_vector(s.type)) {
            s.count_offset = static_cast<std::uint32_t>(round_up(record, 4));
            record = round_up(record, 4) + 4;
            m.record_alignment = std::max<std::uint32_t>(m.record_alignment, 4);
        }
        const extent member = member_of(s);
        record = round_up(record, member.alignment);
        s.record_offset = static_cast<std::uint32_t>(record);
        record += member.size;
        m.record_alignment =
            std::max(m.record_alignment, static_cast<std::uint32_t>(member.alignment));
        if (record > largest_int32)
            fail(p, s.at,
                 "the record of '" + m.name + "' passes 2^31 bytes here; make the array smaller");
    }
    m.record_size = static_cast<std::uint32_t>(round_up(record, m.record_alignment));

    // Offsets in a vtable are 16 bits wide. Packed, a field takes 8 bytes at most; in a frame,
    // bodies lie between fields.
    const std::uint64_t vtable_length = 4 + 2 * std::uint64_t{m.slots.size()};
    std::uint64_t table = 4;
    for (slot &s : m.slots) {
        if (table > largest_u16)
            fail(p, s.at,
                 "slot '" + s.name + "' of '" + m.name + "' would lie at offset " +
                     std::to_string(table) +
                     ", past the 16 bits of a vtable entry; move it up, or split the message");
        s.frame_offset = m.fixed_size ? static_cast<std::uint32_t>(table) : 0;
        table += m.fixed_size ? frame_bytes_of(s) : 8;
    }
    if (m.fixed_size && table > largest_u16)
        fail(p, m.slots.back().at,
             "the table of '" + m.name + "' would be " + std::to_string(table) +
                 " bytes long, past the 16 bits of a table length; split the message");
    if (m.fixed_size) {
        m.table_length = static_cast<std::uint32_t>(table);
        m.frame_length =
            static_cast<std::uint32_t>(round_up(round_up(4 + table, 4) + vtable_length, 8));
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

void check(std::vector<package> &packages)
{
    check_names(packages);
    for (package &p : packages) {
        resolve(p);
        order(p);
        for (const message *m : p.by_dependency)
            lay_out(p, const_cast<message &>(
                           *m)); // by_dependency points into p, which is ours to change
    }
    identify(packages);
}

} // namespace idlc
