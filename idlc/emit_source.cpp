// The library's side of a package: a line that exports each message, and the package's
// registration.
#include "emit.h"

namespace idlc {

std::string emit_source(const package &p)
{
    std::string notice = generated_notice(p, "what the library exports of package " + p.name + ".");
    notice.insert(notice.find('\n') + 1, "// ");
    std::string out = "// " + notice + "\n#pragma GCC visibility push(default)\n#include \"" +
                      p.name + ".h\"\n#pragma GCC visibility pop\n\n#include \"" + p.name +
                      "_messages.h\"\n\n#include \"api/exports.h\"\n\n";
    for (const message &m : p.messages)
        out += "VORL_EXPORT_MESSAGE(" + m.name + ")\n";
    out += "\nVORL_EXPORT_PACKAGE(" + p.name + ",\n";
    for (const message &m : p.messages)
        out += "    VORL_REGISTER(" + m.name + (&m == &p.messages.back() ? "))\n" : "),\n");
    return out;
}

} // namespace idlc
