// docs/messages.md: every message of every package, its slots and a picture of its frame, for people
// who hold a frame or write one.
#include "emit.h"

namespace idlc {
namespace {

constexpr const char *opening =
    R"(# The messages

Every message, with its slots and with the bytes that its sends hand to the bus. [format.md](format.md) says how a reader finds its
way through such bytes; `vorl explain` does it for bytes in hand.

What a slot *means* is not here, for it is not part of a description: that is between a message's sender and its receivers. A
[labels file](labels.md) gives slots names, units and forms for the tools; `vorl labels start` writes one to fill in.

The bytes of a *fixed-size* message have one layout, shown with the offset of each thing. `__pack` writes the same record more
compactly: without padding and without scalars that are zero. The bytes of a *variable-size* message are always those.

**record**: offset in the record; of a vector, of its count, with its pointer behind it. **frame**: offset of the field in a
frame.
)";

std::string line(std::uint64_t offset, const std::string &what)
{
    const std::string digits = std::to_string(offset);
    return std::string(digits.size() < 8 ? 8 - digits.size() : 0, ' ') + digits + "  " + what +
           "\n";
}

std::string bytes(std::uint64_t count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// What stands in a frame where a slot's field is. A frame's table begins at 4.
std::string field(const slot &s)
{
    const std::string what = s.name + "  " + spelling(s);
    const std::uint64_t at = std::uint64_t{4} + s.frame_offset;
    switch (s.type) {
    case wire_type::array_uint8:
    case wire_type::array_uint32:
        return line(at, what + ": offset, 4") +
               line(at + 4, "    count, " + std::to_string(s.count)) + line(at + 8, "    values");
    case wire_type::table:
        return line(at, what + ": its whole frame, " + bytes(s.refers_to->frame_length));
    case wire_type::array_table:
        return line(at, what + ": offset, 4") +
               line(at + 4, "    count, " + std::to_string(s.count)) +
               line(at + 8,
                    "    " + std::to_string(s.count) + " offsets, each to the table of its frame") +
               line(at + 8 + 4 * s.count, "    " + std::to_string(s.count) + " frames of " +
                                              bytes(s.refers_to->frame_length));
    default: return line(at, what);
    }
}

std::string frame_picture(const message &m)
{
    const std::uint64_t table_end = std::uint64_t{4} + m.table_length;
    const std::uint64_t vtable = (table_end + 3) / 4 * 4;
    const std::uint64_t vtable_length = 4 + 2 * m.slots.size();
    std::string out = line(0, "root offset, 4") +
                      line(4, "soffset, " + std::to_string(4 - static_cast<std::int64_t>(vtable)) +
                                  ": the vtable is at " + std::to_string(vtable));
    std::string entries;
    for (const slot &s : m.slots) {
        out += field(s);
        entries += ", " + std::to_string(s.frame_offset);
    }
    if (vtable != table_end)
        out += line(table_end, "padding, " + bytes(vtable - table_end));
    out += line(vtable, "vtable: " + std::to_string(vtable_length) + ", " +
                            std::to_string(m.table_length) + entries);
    if (vtable + vtable_length != m.frame_length)
        out += line(vtable + vtable_length,
                    "padding, " + bytes(m.frame_length - vtable - vtable_length));
    return out + line(m.frame_length, "end");
}

std::string packed_picture(const message &m)
{
    const std::uint64_t table = 8 + 2 * m.slots.size();
    std::string fields;
    for (const slot &s : m.slots)
        fields += (fields.empty() ? "" : ", ") + s.name;
    return line(0, "root offset, " + std::to_string(table)) +
           line(4, "vtable: " + std::to_string(table - 4) + ", table length, " +
                       std::to_string(m.slots.size()) +
                       (m.slots.size() == 1 ? " entry" : " entries")) +
           line(table, "soffset, " + std::to_string(table - 4)) +
           line(table + 4, "fields: " + fields +
                               "; none for a scalar that is zero or a vector that is empty") +
           "     ...  the bodies of arrays and vectors, then the tables that they lead to\n";
}

std::string section(const message &m)
{
    std::string out = "\n## " + m.name + "\n\n";
    if (!m.doc.empty())
        out += m.doc + "\n\n";
    out += "`" + hexadecimal(m.msg_id) + "` (" + std::to_string(m.msg_id) + "); record " +
           bytes(m.record_size) + "; " +
           (m.fixed_size ? "frame " + bytes(m.frame_length) : std::string("of variable size")) +
           ".\n\n| slot | wire type | record |";
    out += m.fixed_size ? " frame | |\n| --- | --- | --- | --- | --- |\n"
                        : " |\n| --- | --- | --- | --- |\n";
    for (const slot &s : m.slots) {
        out += "| " + s.name + " | " + spelling(s) + " | " +
               std::to_string(is_vector(s.type) ? s.count_offset : s.record_offset) + " |";
        if (m.fixed_size)
            out += " " + std::to_string(4 + s.frame_offset) + " |";
        out += (s.doc.empty() ? "" : " " + s.doc) + " |\n";
    }
    return out + "\n```text\n" + (m.fixed_size ? frame_picture(m) : packed_picture(m)) + "```\n";
}

} // namespace

std::string emit_page(const std::vector<package> &packages)
{
    std::string out =
        "<!-- Written by idlc from the descriptions in idl/. Do not edit; run ./dev regen. -->\n";
    out += opening;
    for (const package &p : packages) {
        out += "\n# Package " + p.name + "\n";
        for (const message &m : p.messages)
            out += section(m);
    }
    return out;
}

} // namespace idlc
