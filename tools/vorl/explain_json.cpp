#include "tools/vorl/explain_json.h"

#include <ostream>

#include <nlohmann/json.hpp>

#include "catalogue/catalogue.h"
#include "inspect/explain_lines.h"
#include "inspect/hex.h"

namespace vorl::json {
namespace {

using nlohmann::ordered_json;

ordered_json refusal(const inspect::damage &d)
{
    ordered_json object = {{"at", d.at},         {"size", d.size},   {"leads_to", d.leads_to},
                           {"path", d.member},   {"label", d.label}, {"rule", d.rule},
                           {"actual", d.actual}, {"least", d.least}, {"most", d.most},
                           {"text", d.what},     {"hint", d.hint},   {"log", nullptr}};
    if (d.log)
        object["log"] = {
            {"line", d.log->line}, {"function", d.log->function}, {"text", d.log->text}};
    return object;
}

} // namespace

// Part by part, so that a long message does not take many times its size.
void write_explanation(const inspect::explanation &e, const inspect::labels *names,
                       std::ostream &out)
{
    out << R"({"message":")" << name_of(*e.of) << R"(","bytes":)" << e.bytes.size()
        << R"(,"accepted":)" << (e.damages.empty() ? "true" : "false") << R"(,"parts":[)";
    const char *separator = "";
    inspect::for_each_line(e, names, [&](const inspect::explained_line &line) {
        ordered_json object = {{"at", line.at},
                               {"size", line.size},
                               {"hex", to_hex(e.bytes.data() + line.at, line.size)},
                               {"what", line.what},
                               {"path", line.path},
                               {"label", line.label},
                               {"text", line.text}};
        if (line.leads_to)
            object["leads_to"] = *line.leads_to;
        if (!line.value.empty())
            object["value"] = line.value;
        out << separator << object.dump();
        separator = ",";
    });
    out << R"(],"refusals":[)";
    separator = "";
    for (const inspect::damage &d : e.damages) {
        out << separator << refusal(d).dump();
        separator = ",";
    }
    out << R"(],"more_refusals":)" << e.more_damages << R"(,"is_cut":)"
        << (e.is_cut ? "true" : "false") << "}\n";
}

} // namespace vorl::json
