// The texts beside the messages of a package (catalogue/catalogue.h), for programs that handle
// messages they do not know by name: the command-line tool, the tests. Nothing of it is in the
// library.
#include "emit.h"

namespace idlc {
namespace {

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

void emit_slots(std::string &out, const message &m)
{
    out += "\nconstexpr slot_text " + m.name + "_texts[] = {\n";
    for (const slot &s : m.slots)
        out += "    {.name = " + quoted(s.name) + ", .doc = " + quoted(s.doc) + "},\n";
    out += "};\n";
}

void emit_message(std::string &out, const message &m)
{
    out += "    {.data = " + m.name + "_message,\n     .doc = " + quoted(m.doc) +
           ",\n     .slots = " + m.name + "_texts},\n";
}

} // namespace

std::string emit_catalogue(const package &p)
{
    std::string notice =
        generated_notice(p, "the texts beside the messages of package " + p.name + ".");
    notice.insert(notice.find('\n') + 1, "// ");
    std::string out = "// " + notice + "\n#include \"catalogue/catalogue.h\"\n#include \"" +
                      p.name + "_messages.h\"\n\nnamespace vorl::catalogue {\nnamespace {\n";
    for (const message &m : p.messages)
        emit_slots(out, m);
    out += "\nconstexpr message_info messages_in_order[] = {\n";
    for (const message &m : p.messages)
        emit_message(out, m);
    out += "};\n\n}  // namespace\n\nconst package_info " + p.name +
           "_package = {.name = " + quoted(p.name) +
           ", .messages = messages_in_order};\n\n}  // namespace vorl::catalogue\n";
    return out;
}

} // namespace idlc
