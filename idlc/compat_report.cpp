#include "compat_report.h"

#include <algorithm>
#include <cstdio>

#include "compat_rules.h"
#include "inspect/printable.h"

namespace idlc {
namespace {

const char *name_of(level l)
{
    return l == level::wire ? "wire" : l == level::api ? "api" : "none";
}

std::string json(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (vorl::is_printable(c)) {
            out += c;
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
            out += escaped;
        }
    }
    return out + '"';
}

std::string json(bool value) { return value ? "true" : "false"; }

} // namespace

bool is_break(const difference &d, strictness strict)
{
    switch (strict) {
    case strictness::wire: return d.of->breaks == level::wire;
    case strictness::api: return d.of->breaks != level::none;
    case strictness::all: break;
    }
    // What was there is as it was.
    return d.of != &rule_of(rule_id::message_added) && d.of != &rule_of(rule_id::package_added) &&
           d.of != &rule_of(rule_id::slot_appended);
}

std::string report(const difference &d)
{
    const std::string verdict =
        d.of->breaks == level::none ? "keeps" : std::string("breaks ") + name_of(d.of->breaks);
    std::string out = vorl::printable(d.file) + ":" + std::to_string(d.at.line) + ":" +
                      std::to_string(d.at.column) + ": " + verdict + ": " + d.of->name + ": " +
                      d.text + "\n    old peer: " + d.old_peer + "\n    new peer: " + d.new_peer +
                      "\n";
    if (*d.of->remedy != '\0')
        out += std::string("    to do: ") + d.of->remedy + "\n";
    return out;
}

std::string report_json(const std::vector<difference> &found, strictness strict)
{
    const auto count = [&found](level l) {
        return std::to_string(std::count_if(
            found.begin(), found.end(), [l](const difference &d) { return d.of->breaks == l; }));
    };
    const bool breaks = std::any_of(found.begin(), found.end(),
                                    [strict](const difference &d) { return is_break(d, strict); });
    std::string out = "{\"version\":1,\"strict\":" +
                      json(std::string(strict == strictness::wire  ? "wire"
                                       : strict == strictness::api ? "api"
                                                                   : "all")) +
                      ",\"breaks\":" + json(breaks) + ",\"wire\":" + count(level::wire) +
                      ",\"api\":" + count(level::api) + ",\"none\":" + count(level::none) +
                      ",\"changes\":[";
    bool is_first = true;
    for (const difference &d : found) {
        out += std::string(is_first ? "\n" : ",\n") + "{\"rule\":" + json(std::string(d.of->name)) +
               ",\"breaks\":" + json(std::string(name_of(d.of->breaks))) +
               ",\"is_break\":" + json(is_break(d, strict)) + ",\"file\":" + json(d.file) +
               ",\"line\":" + std::to_string(d.at.line) +
               ",\"column\":" + std::to_string(d.at.column) +
               ",\"in\":" + (d.is_in_old ? "\"old\"" : "\"new\"") +
               ",\"message\":" + json(d.message) + ",\"slot\":" + json(d.slot) +
               ",\"text\":" + json(d.text) + ",\"old_peer\":" + json(d.old_peer) +
               ",\"new_peer\":" + json(d.new_peer) +
               ",\"to_do\":" + json(std::string(d.of->remedy)) + "}";
        is_first = false;
    }
    return out + (is_first ? "" : "\n") + "]}\n";
}

} // namespace idlc
