#include "check.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string_view>

namespace idlc {
namespace {

constexpr std::uint64_t largest_u16 = 0xFFFF;
constexpr std::uint64_t largest_int32 = 0x7FFFFFFF;

// What a compiler takes of the generated sources: clang folds 256 operands, and a level of nesting
// costs several levels of templates, of which there are 900 or more.
constexpr std::size_t most_slots = 256;
constexpr std::size_t largest_depth = 32;

[[noreturn]] void fail(const package &p, position at, const std::string &text)
{
    throw description_error(p.file, at, text);
}

std::string place(const package &p, position at) { return p.file + ":" + std::to_string(at.line); }

constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t to)
{
    return (value + to - 1) / to * to;
}

// A package is an enumerator and a message a type, so neither has a name that C or C++ keeps.
void refuse_reserved(const package &p, position at, const std::string &name)
{
    static constexpr std::string_view words =
        " alignas alignof and and_eq asm auto bitand bitor bool break case catch char char16_t"
        " char32_t char8_t class co_await co_return co_yield compl concept const const_cast"
        " consteval constexpr constinit continue decltype default delete do double dynamic_cast"
        " else enum explicit export extern false float for friend goto if inline int int16_t"
        " int32_t int64_t int8_t long mutable namespace new noexcept not not_eq nullptr operator"
        " or or_eq private protected public register reinterpret_cast requires restrict return"
        " short signed size_t sizeof static static_assert static_cast struct switch template"
        " this thread_local throw true try typedef typeid typename typeof uint16_t uint32_t"
        " uint64_t uint8_t union unsigned using virtual void volatile wchar_t while xor xor_eq ";
    if (words.find(" " + name + " ") != std::string_view::npos)
        fail(p, at, "'" + name + "' is a word of C or C++; choose another name");
    if (name[0] == '_')
        fail(p, at, "'" + name + "' begins with an underscore; begin names with a letter");
}

void check_names(const std::vector<package> &packages)
{
    std::map<std::string, std::string> package_at;
    std::map<std::string, std::string> message_at;
    for (const package &p : packages) {
        refuse_reserved(p, p.name_at, p.name);
        if (const auto [had, fresh] = package_at.emplace(p.name, place(p, p.name_at)); !fresh)
            fail(p, p.name_at,
                 "package '" + p.name + "' is already described in " + had->second +
                     "; merge the two");
        for (const message &m : p.messages) {
            refuse_reserved(p, m.at, m.name);
            if (m.name.rfind(p.name + "_", 0) != 0 || m.name.size() == p.name.size() + 1)
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
                if (s.name == name)
                    continue;
                const auto same = [&s](const slot &other) { return other.name == s.name; };
                if (std::any_of(m.slots.begin(), m.slots.begin() + static_cast<std::ptrdiff_t>(i),
                                same))
                    fail(p, s.name_at,
                         "duplicate slot '" + s.name + "' in '" + m.name + "'; slot " +
                             std::to_string(i) + " is named '" + name + "'");
                fail(p, s.name_at,
                     "slot " + std::to_string(i) + " of '" + m.name + "' is named '" + name +
                         "', not '" + s.name + "'; slots are numbered in vtable order");
            }
        }
    }
}

void resolve(package &p)
{
    std::map<std::string, message *> by_name;
    for (message &m : p.messages)
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
// still open closes a cycle. A depth is known once the message is placed, and 0 until then; neither
// it nor the path passes largest_depth, which also bounds the recursion.
void order(package &p)
{
    std::map<const message *, std::size_t> depths;
    std::vector<const message *> path;
    const std::function<std::size_t(message &, position)> visit = [&](message &m, position from) {
        const auto [known, fresh] = depths.emplace(&m, 0);
        if (!fresh && known->second != 0)
            return known->second;
        if (!fresh) {
            std::string cycle;
            for (auto at = std::find(path.begin(), path.end(), &m); at != path.end(); ++at)
                cycle += (*at)->name + " -> ";
            fail(p, from,
                 "forward cycle: " + cycle + m.name +
                     "; a message cannot hold itself, take one of these slots out");
        }
        const auto refuse_beyond_limit = [&](std::size_t depth, position at) {
            if (depth > largest_depth)
                fail(p, at,
                     "messages nest deeper than " + std::to_string(largest_depth) +
                         " levels here; hold fewer within one another");
        };
        path.push_back(&m);
        refuse_beyond_limit(path.size(), from);
        std::size_t depth = 1;
        for (const slot &s : m.slots) {
            if (!s.refers_to)
                continue;
            depth = std::max(depth, 1 + visit(*s.refers_to, s.message_at));
            refuse_beyond_limit(depth, s.message_at);
        }
        path.pop_back();
        known->second = depth;
        p.by_dependency.push_back(&m);
        return depth;
    };
    for (message &m : p.messages)
        visit(m, m.at);
}

// No two things may bring one identifier into the generated files, nor two packages one file.
void check_generated_names(const std::vector<package> &packages)
{
    std::map<std::string, std::string> brought_by;
    const auto bring = [&](const package &p, position at, const std::string &by,
                           const std::string &name) {
        const auto [had, fresh] = brought_by.emplace(name, by);
        if (!fresh)
            fail(p, at,
                 by + " brings the name '" + name + "', and so does " + had->second +
                     "; rename one");
    };
    for (const package &p : packages) {
        for (const char *ending :
             {"", "_catalogue", "_package", "_recv_init", "_send_init", "__send_resource_clean"})
            bring(p, p.name_at, "package '" + p.name + "'", p.name + ending);
        for (const message *m : p.by_dependency) {
            const std::string by = "message '" + m->name + "'";
            for (const char *ending :
                 {"", "_msg_id", "_message", "__pack", "__unpack", "_free__unpacked",
                  "__sendsingle", "__sendbatch", "__sendmsg", "__sendtomsg"})
                bring(p, m->at, by, m->name + ending);
            // Among the messages this hides a record of its name from there on, but not before.
            brought_by.emplace(m->name + "_slots", by);
        }
    }
}

void identify(std::vector<package> &packages)
{
    std::map<std::uint32_t, const message *> owners;
    for (package &p : packages) {
        for (message &m : p.messages) {
            m.msg_id = fnv1a(p.name + "." + m.name.substr(p.name.size() + 1));
            const auto [had, fresh] = owners.emplace(m.msg_id, &m);
            if (!fresh) {
                fail(p, m.at,
                     "'" + m.name + "' has the identifier " + hexadecimal(m.msg_id) + " of '" +
                         had->second->name +
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
    if (m.slots.size() > most_slots)
        fail(p, m.slots[most_slots].at,
             "'" + m.name + "' has more than " + std::to_string(most_slots) +
                 " slots; nest some of them in a table, or split the message");
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

void check(std::vector<package> &packages)
{
    check_names(packages);
    for (package &p : packages) {
        resolve(p);
        order(p);
        for (message *m : p.by_dependency)
            lay_out(p, *m);
    }
    check_generated_names(packages);
    identify(packages);
}

} // namespace idlc
