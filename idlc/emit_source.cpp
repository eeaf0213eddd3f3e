// The library's side of a package: each message's slots as types, its seven exports, the package's
// registration table.
#include "emit.h"

#include <cinttypes>
#include <cstdio>

namespace idlc {
namespace {

std::string member(const std::string &name) { return "offsetof(record, " + name + ")"; }

// A slot as serial/schema.h has it: "scalar<uint32_t, offsetof(record, f0)>".
std::string schema_of(const slot &s)
{
    const std::string at = member(s.name);
    const std::string count_at = member(s.name + "_count");
    const std::string counted = std::to_string(s.count) + ", " + at + ">";
    switch (s.type) {
    case wire_type::uint8: return "scalar<uint8_t, " + at + ">";
    case wire_type::uint16: return "scalar<uint16_t, " + at + ">";
    case wire_type::uint32: return "scalar<uint32_t, " + at + ">";
    case wire_type::uint64: return "scalar<uint64_t, " + at + ">";
    case wire_type::array_uint8: return "array<uint8_t, " + counted;
    case wire_type::array_uint32: return "array<uint32_t, " + counted;
    case wire_type::array_table: return "table_array<" + s.message_name + "_message, " + counted;
    case wire_type::vector_uint8: return "byte_vector<" + count_at + ", " + at + ">";
    case wire_type::vector_table:
        return "table_vector<" + s.message_name + "_message, " + count_at + ", " + at +
               (s.malloc_text.empty() ? "" : ", " + s.name + "_malloc_text") + ">";
    case wire_type::table: break;
    }
    return "table<" + s.message_name + "_message, " + at + ">";
}

void emit_schema(std::string &out, const package &p, const message &m)
{
    char id[16];
    std::snprintf(id, sizeof id, "0x%08" PRIX32, m.msg_id);
    out += "\nstruct " + m.name + "_message {\n    using record = ::" + m.name + ";\n";
    out += "    static constexpr char name[] = \"" + m.name + "\";\n";
    out += "    static constexpr uint32_t msg_id = " + std::string(id) + ";\n";
    out += "    static constexpr package owner = package::" + p.name + ";\n";
    for (const slot &s : m.slots) {
        if (!s.malloc_text.empty())
            out += "    static constexpr char " + s.name + "_malloc_text[] =\n        \"" +
                   s.malloc_text + "\";\n";
    }
    out += "    using slots = slot_list<\n";
    for (const slot &s : m.slots)
        out += "        " + schema_of(s) + (&s == &m.slots.back() ? ">;\n" : ",\n");
    out += "};\n";
    out += "static_assert(sizeof(" + m.name + ") == " + std::to_string(m.record_size) + ");\n";
    if (m.fixed_size)
        out += "static_assert(frame_layout<" + m.name +
               "_message>::length == " + std::to_string(m.frame_length) + ");\n";
}

void emit_exports(std::string &out, const message &m)
{
    const std::string &n = m.name;
    const std::string call = "    return message<" + n + "_message>::";
    out += "\nuint32_t " + n + "__pack(const " + n + " *in, void *buf, uint32_t *inout_len)\n{\n" +
           call + "pack(in, buf, inout_len);\n}\n";
    out += "uint32_t " + n + "__unpack(const void *buf, int32_t len, void *out)\n{\n" + call +
           "unpack(buf, len, out);\n}\n";
    out += "void " + n + "_free__unpacked(void *rec)\n{\n" + call + "free_unpacked(rec);\n}\n";
    const auto send = [&](const std::string &how, const std::string &records,
                          const std::string &parameters, const std::string &arguments) {
        out += "uint32_t " + n + "__" + how + "(uint32_t dest, const " + n + " *" + records + ", " +
               parameters + ")\n{\n" + call + how + "(dest, " + records + arguments + ");\n}\n";
    };
    send("sendsingle", "rec", "uint32_t, uint64_t to", ", to");
    send("sendbatch", "recs", "uint32_t count, uint64_t to", ", count, to");
    send("sendmsg", "recs", "uint32_t count", ", count");
    send("sendtomsg", "recs", "uint32_t count, uint64_t to", ", count, to");
}

} // namespace

std::string emit_source(const package &p)
{
    std::string notice = generated_notice(p, "what the library knows of package " + p.name + ".");
    notice.insert(notice.find('\n') + 1, "// ");
    std::string out = "// " + notice +
                      "\n#include <stddef.h>\n\n"
                      "#pragma GCC visibility push(default)\n#include \"" +
                      p.name +
                      ".h\"\n#pragma GCC visibility pop\n\n"
                      "#include \"api/message.h\"\n#include \"api/registration.h\"\n\n"
                      "namespace vorl {\nnamespace {\n";
    for (const message *m : p.by_dependency)
        emit_schema(out, p, *m);
    out += "\n}  // namespace\n}  // namespace vorl\n\nusing namespace vorl;\n";
    for (const message &m : p.messages)
        emit_exports(out, m);
    out += "\nuint32_t " + p.name +
           "_recv_init(void)\n{\n    static constexpr registration messages[] = {\n";
    for (const message &m : p.messages)
        out += "        {" + m.name + "_msg_id, " + m.name + "__unpack, " + m.name +
               "_free__unpacked},\n";
    out += "    };\n    return register_receiver(messages);\n}\n";
    out += "uint32_t " + p.name + "_send_init(void)\n{\n    return register_sender(" + p.name +
           "__send_resource_clean);\n}\n";
    out += "void " + p.name + "__send_resource_clean(void) {}\n";
    return out;
}

} // namespace idlc
