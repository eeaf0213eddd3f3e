// Each message of a package as data (serial/slot.h): what the codecs, the exported functions and
// the catalogue all work from.
#include "emit.h"

namespace idlc {
namespace {

// The members of a slot in designated initialisers: ".shape = slot_shape::scalar, .width = 4".
std::string initialisers(const message &m, const slot &s)
{
    const auto offset = [&m](const std::string &member) {
        return "offsetof(" + m.name + ", " + member + ")";
    };
    const auto shape = [](const std::string &name) { return ".shape = slot_shape::" + name; };
    const auto width = [](int bytes) { return ", .width = " + std::to_string(bytes); };
    const std::string count = ", .count = " + std::to_string(s.count);
    const std::string at = ", .record_at = " + offset(s.name);
    const std::string counted_at = at + ", .count_at = " + offset(s.name + "_count");
    const std::string nested = ", .nested = &" + s.message_name + "_message";
    switch (s.type) {
    case wire_type::uint8: return shape("scalar") + width(1) + at;
    case wire_type::uint16: return shape("scalar") + width(2) + at;
    case wire_type::uint32: return shape("scalar") + width(4) + at;
    case wire_type::uint64: return shape("scalar") + width(8) + at;
    case wire_type::array_uint8: return shape("array") + width(1) + count + at;
    case wire_type::array_uint32: return shape("array") + width(4) + count + at;
    case wire_type::array_table: return shape("table_array") + count + at + nested;
    case wire_type::vector_uint8: return shape("byte_vector") + width(1) + counted_at;
    case wire_type::vector_table:
        return shape("table_vector") + counted_at + nested +
               (s.malloc_text.empty() ? "" : ",\n     .malloc_text = \"" + s.malloc_text + "\"");
    case wire_type::table: break;
    }
    return shape("table") + at + nested;
}

void emit_message(std::string &out, const package &p, const message &m)
{
    out += "\nconstexpr slot " + m.name + "_slots[] = {\n";
    for (const slot &s : m.slots)
        out += "    {" + initialisers(m, s) + "},\n";
    out += "};\nconstexpr message " + m.name + "_message = {\n";
    out += "    .names = VORL_NAMES(\"" + m.name + "\"),\n";
    out += "    .name_length = sizeof \"" + m.name + "\" - 1,\n";
    out += "    .msg_id = " + hexadecimal(m.msg_id) + ",\n";
    out += "    .owner = package::" + p.name + ",\n";
    out += "    .record_size = sizeof(" + m.name + "),\n";
    out += "    .slots = " + m.name + "_slots,\n};\n";
    out += "static_assert(sizeof(" + m.name + ") == " + std::to_string(m.record_size) + ");\n";
    if (m.fixed_size)
        out += "static_assert(frame_layout_of(" + m.name +
               "_message).length == " + std::to_string(m.frame_length) + ");\n";
}

} // namespace

std::string emit_messages(const package &p)
{
    std::string notice = generated_notice(p, "the messages of package " + p.name + " as data.");
    notice.insert(notice.find('\n') + 1, "// ");
    std::string out = "// " + notice + "\n#pragma once\n\n#include <stddef.h>\n\n#include \"" +
                      p.name +
                      ".h\"\n#include \"serial/layout.h\"\n#include \"serial/slot.h\"\n\n"
                      "namespace vorl {\n";
    for (const message *m : p.by_dependency)
        emit_message(out, p, *m);
    out += "\n}  // namespace vorl\n";
    return out;
}

} // namespace idlc
