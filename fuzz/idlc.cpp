// Any text, compiled as a description, or as two that share a bus (the second behind a byte 0x1C).
// What is accepted goes through all emitters, is formatted, and is compared with itself and with an
// older version.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/finding.h"
#include "idlc/check.h"
#include "idlc/compat.h"
#include "idlc/compat_report.h"
#include "idlc/emit.h"
#include "idlc/format.h"
#include "idlc/parse.h"

namespace {

using vorl::fuzz::check;

constexpr char separator = 0x1C;

/// What a text is: the descriptions in it, and what is made of them.
struct compilation {
    std::vector<idlc::source> sources;
    idlc::faults found;
    std::vector<idlc::package> packages;

    explicit compilation(const std::string &text)
    {
        const std::size_t cut = text.find(separator);
        sources.push_back({"first.idl", text.substr(0, cut)});
        if (cut != std::string::npos)
            sources.push_back({"second.idl", text.substr(cut + 1)});
        for (const idlc::source &s : sources)
            packages.push_back(idlc::parse(s, found));
        idlc::check(packages, found);
    }
};

const std::vector<idlc::package> &older_version()
{
    static const compilation older("package srv6;\n"
                                   "message srv6_a { uint32 f0; array<uint8, 4> f1; }\n"
                                   "message srv6_b { vector<table srv6_a> f0; }\n");
    return older.packages;
}

void emit(const idlc::package &p)
{
    const std::string header = idlc::emit_header(p);
    const std::string source = idlc::emit_source(p);
    const std::string catalogue = idlc::emit_catalogue(p);
    for (const idlc::message &m : p.messages) {
        check(header.find(m.name + "__unpack") != std::string::npos, "missing in the header");
        check(source.find(m.name) != std::string::npos, "missing in the source");
        check(catalogue.find(m.name) != std::string::npos, "missing in the catalogue");
    }
}

/// The format keeps what is generated, and is its own format.
void format(const compilation &made)
{
    if (made.sources.size() != 1)
        return;
    const std::string once = idlc::formatted(made.sources[0]);
    const compilation again(once);
    check(again.found.none(), "a format that is faulty");
    check(idlc::formatted(again.sources[0]) == once, "a format that has another");
    check(idlc::emit_header(again.packages[0]) == idlc::emit_header(made.packages[0]),
          "a format that says something else");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const compilation made(text);
    const std::string shown = made.found.shown(made.sources, false);
    check(made.found.none() == shown.empty(), "errors that are not shown");
    check(shown.empty() || shown.find(".idl:") != std::string::npos, "errors without a place");
    if (!made.found.none())
        return 0;
    for (const idlc::package &p : made.packages)
        emit(p);
    format(made);
    check(idlc::compare(made.packages, compilation(text).packages).empty(), "differs from itself");
    for (const idlc::difference &d : idlc::compare(older_version(), made.packages))
        check(!idlc::report(d).empty(), "an empty report");
    return 0;
}
