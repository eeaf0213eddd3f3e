// The facts of a package as plain data (catalogue/catalogue.h), for programs that handle messages
// they do not know by name: the command-line tool, the tests. Nothing of it is in the library.
#include "emit.h"

namespace idlc {
namespace {

std::string kind_of(wire_type t)
{
    switch (t) {
    case wire_type::uint8: return "uint8";
    case wire_type::uint16: return "uint16";
    case wire_type::uint32: return "uint32";
    case wire_type::uint64: return "uint64";
    case wire_type::array_uint8: return "array_uint8";
    case wire_type::array_uint32: return "array_uint32";
    case wire_type::array_table: return "array_table";
    case wire_type::vector_uint8: return "vector_uint8";
    case wire_type::vector_table: return "vector_table";
    case wire_type::table: break;
    }
    return "table";
}

std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

void emit_message(std::string &out, const package &p, const message &m)
{
    out += "\nconstexpr slot_info " + m.name + "_slots[] = {\n";
    for (const slot &s : m.slots) {
        const std::string record = m.name + ", " + s.name;
        out += "    {" + quoted(s.name) + ", wire_type::" + kind_of(s.type) + ", " +
               quoted(spelling(s)) + ", " + std::to_string(s.count) + ", offsetof(" + record +
               "), " + (is_vector(s.type) ? "offsetof(" + record + "_count)" : "0") + ", " +
               std::to_string(s.frame_offset) + ", " +
               (s.refers_to ? "&" + s.message_name + "_info" : "nullptr") + ", " +
               (s.malloc_text.empty() ? "usual_malloc_text" : "\n     " + quoted(s.malloc_text)) +
               ", " + quoted(s.doc) + "},\n";
    }
    out += "};\nconstexpr message_info " + m.name + "_info = {\n    " + quoted(m.name) + ", " +
           quoted(p.name) + ", " + m.name + "_msg_id, sizeof(" + m.name + "), " +
           std::to_string(m.table_length) + ", " + std::to_string(m.frame_length) + ",\n    " +
           m.name + "_slots, functions_of<" + m.name + ", " + m.name + "__pack, " + m.name +
           "__unpack, " + m.name + "_free__unpacked,\n        " + m.name + "__sendsingle, " +
           m.name + "__sendbatch, " + m.name + "__sendmsg, " + m.name + "__sendtomsg>,\n    " +
           quoted(m.doc) + "};\n";
}

} // namespace

std::string emit_catalogue(const package &p)
{
    std::string notice = generated_notice(p, "the facts of package " + p.name + " as data.");
    notice.insert(notice.find('\n') + 1, "// ");
    std::string out = "// " + notice +
                      "\n#include <cstddef>\n\n#include \"catalogue/catalogue.h\"\n#include \"" +
                      p.name + ".h\"\n\nnamespace vorl::catalogue {\nnamespace {\n";
    for (const message *m : p.by_dependency)
        emit_message(out, p, *m);
    out += "\nconstexpr const message_info *messages_in_order[] = {\n";
    for (const message &m : p.messages)
        out += "    &" + m.name + "_info,\n";
    out += "};\n\n}  // namespace\n\nconst package_info " + p.name + "_package = {\n    " +
           quoted(p.name) + ", messages_in_order, " + p.name + "_recv_init, " + p.name +
           "_send_init, " + p.name + "__send_resource_clean};\n\n}  // namespace vorl::catalogue\n";
    return out;
}

} // namespace idlc
