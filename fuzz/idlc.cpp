// Any text, compiled as a description, or as two that share a bus (the second behind a byte 0x1C).
// What is accepted goes through all emitters, and is compared with itself and with an older version.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/finding.h"
#include "idlc/check.h"
#include "idlc/compat.h"
#include "idlc/emit.h"
#include "idlc/parse.h"

namespace {

using vorl::fuzz::check;

constexpr char separator = 0x1C;

std::vector<idlc::package> compiled(const std::string &text)
{
    std::vector<idlc::package> packages;
    const std::size_t cut = text.find(separator);
    packages.push_back(idlc::parse("first.idl", text.substr(0, cut)));
    if (cut != std::string::npos)
        packages.push_back(idlc::parse("second.idl", text.substr(cut + 1)));
    idlc::check(packages);
    return packages;
}

const std::vector<idlc::package> &older_version()
{
    static const auto packages = compiled("package srv6;\n"
                                          "message srv6_a { uint32 f0; array<uint8, 4> f1; }\n"
                                          "message srv6_b { vector<table srv6_a> f0; }\n");
    return packages;
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    try {
        const std::vector<idlc::package> packages = compiled(text);
        for (const idlc::package &p : packages)
            emit(p);
        check(idlc::compare(packages, compiled(text)).empty(), "differs from itself");
        for (const idlc::difference &d : idlc::compare(older_version(), packages))
            check(!idlc::report(d).empty(), "an empty report");
    } catch (const idlc::description_error &error) {
        const std::string report = error.what();
        check(report.find(".idl:") != std::string::npos &&
                  report.find(": error: ") != std::string::npos,
              "a report without a place");
        check(report.find('\n') == std::string::npos, "a report of more than one line");
    }
    return 0;
}
