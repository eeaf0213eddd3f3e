// The public C header: the contract once, then every message with its picture, its record and its
// functions.
#include "emit.h"

#include <cinttypes>
#include <cstdio>
#include <algorithm>
#include <string_view>

namespace idlc {
namespace {

// %P stands for the package. Lines of the contract name a message M.
constexpr std::string_view contract = R"( *
 * The seven functions of a message M. Lengths and capacities are bytes. Any thread may call any
 * function at any time; a record, a buffer or a length that two threads touch at once is theirs
 * to guard.
 *
 *   uint32_t M__pack(const M *in, void *buf, uint32_t *inout_len)
 *       Encodes *in into buf, compactly: zero scalars take no room. *inout_len is the capacity of
 *       buf on entry and the encoded size on success; it must not be null. Returns 0, or
 *       0xFFFFFFFF with buf and *inout_len untouched when in is null, the capacity is too small,
 *       a vector of the record has a count but no pointer, or the size passes 32 bits. Measuring:
 *       with a null buf and enough capacity (0xFFFFFFFF, say) it returns 0 with the size in
 *       *inout_len; it writes one "Param invalid" line to the log as it does so.
 *
 *   uint32_t M__unpack(const void *buf, int32_t len, void *out)
 *       Decodes len bytes at buf into *out, an M of the caller's. Always returns sizeof(M),
 *       failed or not. buf may hold any bytes at any alignment: every offset is checked before it
 *       is followed. What a failed call leaves in *out:
 *         - null buf, null out or len < 4: *out untouched; logged.
 *         - the root table fails a check: *out untouched where M has a table, a vector or an
 *           array of tables, all zero otherwise; logged.
 *         - a field fails a check: what was read before it, zero after it; not logged.
 *         - an element array or byte run cannot be had or read: its count may stay, its pointer
 *           is null. So test the pointer of a vector, never the count alone.
 *       A record that holds a vector is to be zeroed before its first M__unpack, because a call
 *       that leaves it untouched leaves its pointers, too. It owns memory after the call: pass it
 *       to M_free__unpacked before it is refilled or dropped. An absent slot reads as zero, so a
 *       record of zeros may be a message of zeros or a refused one. The log tells when a table
 *       was refused; of a refused field nothing does.
 *       What hostile bytes cost: an element of a vector of tables takes 4 bytes of buf, its
 *       offset, because elements may share a table, and a whole record of memory. So memory can
 *       grow to many times len, and time as it does; how many times stands with each message that
 *       has a vector, and no other allocates. No block reaches 4 GiB. To keep below a limit of
 *       your own, bound len before the call or let the cache allocator refuse.
 *
 *   void M_free__unpacked(void *rec)
 *       Releases what M__unpack made the M at rec own, and sets its pointers to null; counts
 *       stay. A second call, a null rec or an M without vectors does nothing. Never for a record
 *       that the caller filled: its memory is not ours.
 *
 *   uint32_t M__sendsingle(uint32_t dest, const M *rec, uint32_t ignored, uint64_t to)
 *   uint32_t M__sendbatch(uint32_t dest, const M *recs, uint32_t count, uint64_t to)
 *   uint32_t M__sendmsg(uint32_t dest, const M *recs, uint32_t count)
 *   uint32_t M__sendtomsg(uint32_t dest, const M *recs, uint32_t count, uint64_t to)
 *       Encode each record into a frame and hand all frames to the bus in one call: to bus
 *       destination dest, or to the explicit destination handle to where that is not 0. Records
 *       stay the caller's, and may go as soon as the call returns. Return the bus's result (0:
 *       accepted), or 0xFFFFFFFF with nothing sent: no memory; count 0 (__sendmsg, __sendtomsg);
 *       a record that cannot be packed. A batch of a variable-size message holds 65536 bytes of
 *       frames in all; one byte more is refused whole. rec and recs of a fixed-size message must
 *       not be null unless count is 0.
 *
 * M__unpack and M_free__unpacked take void * because the bus calls them through the hooks that
 * %P_recv_init registers.
 *
 * Failures write one line to the platform's log where it has one. Memory of unpacked vectors
 * comes from the platform's cache allocator, frames from its main allocator; both from malloc
 * where the platform has none.
)";

std::string replaced(std::string text, std::string_view what, const std::string &by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

std::string padded(const std::string &text, std::size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string right(std::uint64_t value, std::size_t width)
{
    const std::string digits = std::to_string(value);
    return digits.size() < width ? std::string(width - digits.size(), ' ') + digits : digits;
}

std::string id_of(const message &m)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08" PRIX32, m.msg_id);
    return text;
}

// The declaration of a slot's member: "uint32_t f6[4]".
std::string member_of(const slot &s)
{
    const std::string counted = s.name + "[" + std::to_string(s.count) + "]";
    switch (s.type) {
    case wire_type::uint8: return "uint8_t " + s.name;
    case wire_type::uint16: return "uint16_t " + s.name;
    case wire_type::uint32: return "uint32_t " + s.name;
    case wire_type::uint64: return "uint64_t " + s.name;
    case wire_type::array_uint8: return "uint8_t " + counted;
    case wire_type::array_uint32: return "uint32_t " + counted;
    case wire_type::array_table: return s.message_name + " " + counted;
    case wire_type::vector_uint8: return "uint8_t *" + s.name;
    case wire_type::vector_table: return s.message_name + " *" + s.name;
    case wire_type::table: break;
    }
    return s.message_name + " " + s.name;
}

// The most that __unpack allocates for every 4 bytes that it is given. Elements are read by offsets
// of 4 bytes each, which may all lead to one table, and vectors may lie over each other.
std::uint64_t memory_per_word(const message &m)
{
    std::uint64_t sum = 0;
    for (const slot &s : m.slots) {
        if (s.type == wire_type::vector_uint8)
            sum += 4;
        else if (s.type == wire_type::vector_table)
            sum += s.refers_to->record_size; // elements hold no vectors
        else if (s.type == wire_type::table)
            sum += memory_per_word(*s.refers_to);
    }
    return sum;
}

void emit_picture(std::string &out, const message &m)
{
    out += "\n/*\n * " + m.name + "\n *\n";
    if (!m.doc.empty())
        out += " * " + replaced(m.doc, "\n", "\n * ") + "\n *\n";
    out += " * msg_id " + id_of(m) + " (" + std::to_string(m.msg_id) + "); record " +
           std::to_string(m.record_size) + " bytes; " +
           (m.fixed_size ? "frame " + std::to_string(m.frame_length) + " bytes, fixed size"
                         : "frame measured per record, variable size") +
           "\n *\n";
    if (!m.fixed_size)
        out += " * Of hostile bytes every 4 make __unpack allocate up to " +
               std::to_string(memory_per_word(m)) + " bytes.\n *\n";
    std::size_t width = 9;
    for (const slot &s : m.slots)
        width = std::max(width, spelling(s).size());
    out += " *   slot  " + padded("wire type", width) + "  record" +
           (m.fixed_size ? "   table" : "") + "\n";
    for (std::size_t i = 0; i < m.slots.size(); ++i) {
        const slot &s = m.slots[i];
        out += " *   " + right(i, 4) + "  " + padded(spelling(s), width) + "  " +
               right(is_vector(s.type) ? s.count_offset : s.record_offset, 6);
        if (m.fixed_size)
            out += "  " + right(s.frame_offset, 6);
        if (!s.doc.empty())
            out += "   " + replaced(s.doc, "\n", " ");
        out += "\n";
    }
    out += " */\n";
}

void emit_record(std::string &out, const message &m)
{
    out += "typedef struct " + m.name + " {\n";
    for (const slot &s : m.slots) {
        if (is_vector(s.type))
            out += "    uint32_t " + s.name + "_count;\n";
        out += "    " + member_of(s) + ";\n";
    }
    out += "} " + m.name + ";\n\n";
}

void emit_prototypes(std::string &out, const message &m)
{
    const std::string &n = m.name;
    out += "#define " + n + "_msg_id UINT32_C(" + id_of(m) + ")\n\n";
    out += "uint32_t " + n + "__pack(const " + n + " *in, void *buf, uint32_t *inout_len);\n";
    out += "uint32_t " + n + "__unpack(const void *buf, int32_t len, void *out);\n";
    out += "void " + n + "_free__unpacked(void *rec);\n";
    const auto send = [&out, &n](const std::string &how, const std::string &after_records) {
        const std::string record = how == "sendsingle" ? " *rec" : " *recs";
        const std::string head = "uint32_t " + n + "__" + how + "(";
        out += head + "uint32_t dest, const " + n + record + ",\n" + std::string(head.size(), ' ') +
               after_records + ");\n";
    };
    send("sendsingle", "uint32_t ignored, uint64_t to");
    send("sendbatch", "uint32_t count, uint64_t to");
    send("sendmsg", "uint32_t count");
    send("sendtomsg", "uint32_t count, uint64_t to");
}

} // namespace

std::string generated_notice(const package &p, const std::string &what)
{
    return "Generated by idlc from " + p.name + ".idl: " + what +
           "\nDo not edit; change the description and run ./dev regen.";
}

std::string emit_header(const package &p)
{
    std::string out =
        "/*\n * " +
        replaced(generated_notice(p, "the messages of package " + p.name + ", for C and C++."),
                 "\n", "\n * ") +
        "\n";
    out += replaced(std::string(contract), "%P", p.name);
    out += " */\n#pragma once\n\n#include <stdint.h>\n\n#ifdef __cplusplus\nextern \"C\" "
           "{\n#endif\n\n";
    out += "/*\n"
           " * A process that receives messages of the package calls " +
           p.name +
           "_recv_init once. It registers each\n"
           " * of the " +
           std::to_string(p.messages.size()) +
           " messages with the bus and returns 0, or stops at the first refusal and returns the\n"
           " * bus's code; what was registered before it stays. A process that sends calls\n"
           " * " +
           p.name +
           "_send_init once; it returns the bus's code, 0 for success. What it registers is\n"
           " * " +
           p.name +
           "__send_resource_clean, which returns at once: sends keep nothing between calls.\n"
           " */\n";
    out += "uint32_t " + p.name + "_recv_init(void);\n";
    out += "uint32_t " + p.name + "_send_init(void);\n";
    out += "void " + p.name + "__send_resource_clean(void);\n\n";
    out += "/*\n"
           " * The messages. Members are named by slot: f<slot>; the count of a vector stands just "
           "before its\n"
           " * pointer, as f<slot>_count. In the tables below, 'record' is the member's offset in "
           "the record (of\n"
           " * the count, for a vector) and 'table' the field's offset from the table's start in a "
           "frame, which\n"
           " * lies 4 bytes into the frame.\n"
           " */\n";
    for (const message *m : p.by_dependency) {
        emit_picture(out, *m);
        emit_record(out, *m);
        emit_prototypes(out, *m);
    }
    out += "\n#ifdef __cplusplus\n}\n#endif\n";
    return out;
}

} // namespace idlc
