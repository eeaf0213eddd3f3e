#include "tools/vorl/diff/report.h"

#include <cstdio>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"

namespace vorl::diff {
namespace {

std::string quoted(const std::string &text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string message_name(const opened &of)
{
    return of.type() == nullptr ? identifier_text(of.from().identifier)
                                : std::string(vorl::name_of(*of.type()));
}

const char *way_text(capture::direction way)
{
    return way == capture::direction::sent ? "sent" : "received";
}

/// `{"is":"value","value":48}`
std::string state_json(const state &s)
{
    std::string text = std::string("{\"is\":\"") + name_of(s.is) + '"';
    if (s.is == state::kind::unknown)
        text += ",\"why\":" + quoted(s.text);
    else if (s.is != state::kind::absent)
        text += ",\"value\":" + s.text;
    return text + '}';
}

std::string state_text(const state &s)
{
    switch (s.is) {
    case state::kind::absent: return "absent";
    case state::kind::unknown: return "unknown (" + s.text + ")";
    default: return s.text;
    }
}

std::string comma_and(const std::string &text) { return text.empty() ? "" : ", " + text; }

} // namespace

void report::write(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw std::runtime_error("vorl diff: standard output cannot be written");
}

void report::begin()
{
    if (!as_json_ && !has_begun_)
        write("--- " + name_a_ + "\n+++ " + name_b_ + "\n");
    has_begun_ = true;
}

std::vector<keys::part> report::key_of(const opened &of) const
{
    if (of.record() == nullptr || !keys_.has(of.from().identifier))
        return {};
    return keys_.parts_of(*of.type(), of.record());
}

/// "srv6_localsid_fwd, sent by sender 1, f0=1001"
std::string report::title(const lane &in, const opened &of) const
{
    std::string text = message_name(of);
    if (in.sender != 0)
        text += std::string(", ") + way_text(in.way) + " by process " + std::to_string(in.sender);
    for (const keys::part &part : key_of(of))
        text += ", " + part.member + "=" + part.value;
    return text;
}

/// The same as the first members of a JSON object.
std::string report::head(const lane &in, const opened &of) const
{
    std::string text = "{\"message\":" + quoted(message_name(of));
    if (in.sender != 0)
        text += ",\"sender\":" + std::to_string(in.sender) + ",\"direction\":\"" +
                way_text(in.way) + '"';
    const std::vector<keys::part> parts = key_of(of);
    for (std::size_t i = 0; i < parts.size(); ++i)
        text += (i == 0 ? ",\"key\":{" : ",") + quoted(parts[i].member) + ":" + parts[i].value;
    return text + (parts.empty() ? "" : "}");
}

std::string report::content_of(const opened &of) const
{
    if (of.record() != nullptr)
        return json::format_record(*of.type(), of.record(), json::zeros::omit, names_);
    return quoted(of.why_not());
}

void report::different(const lane &in, const opened &a, const opened &b,
                       const std::vector<difference> &where)
{
    begin();
    if (!as_json_) {
        std::string text = "@@ " + title(in, a) + comma_and(a.from().place) +
                           (a.from().place == b.from().place ? "" : comma_and(b.from().place)) +
                           " @@\n";
        for (const difference &d : where) {
            const std::string member = d.member.empty() ? "the frame" : d.member;
            text += "-" + member + ": " + state_text(d.a) + "\n+" + member + ": " +
                    state_text(d.b) + "\n";
        }
        write(text);
        return;
    }
    std::string text = head(in, a) + ",\"a\":" + quoted(a.from().place) +
                       ",\"b\":" + quoted(b.from().place) + ",\"members\":[";
    for (std::size_t i = 0; i < where.size(); ++i)
        text += std::string(i == 0 ? "" : ",") + "{\"member\":" + quoted(where[i].member) +
                ",\"a\":" + state_json(where[i].a) + ",\"b\":" + state_json(where[i].b) + "}";
    write(text + "]}\n");
}

void report::only(const lane &in, const opened &there, bool is_in_a)
{
    begin();
    if (!as_json_) {
        write("@@ " + title(in, there) + ", only in " + (is_in_a ? name_a_ : name_b_) +
              comma_and(there.from().place) + " @@\n" + (is_in_a ? "-" : "+") + content_of(there) +
              "\n");
        return;
    }
    const std::string place = is_in_a ? "a" : "b";
    write(head(in, there) + ",\"only\":\"" + place + "\",\"" + place +
          "\":" + quoted(there.from().place) +
          (there.record() != nullptr ? ",\"record\":" : ",\"why\":") + content_of(there) + "}\n");
}

void report::finish(const totals &counted)
{
    if (as_json_)
        write("{\"compared\":" + std::to_string(counted.compared) + ",\"different\":" +
              std::to_string(counted.different) + ",\"only_a\":" + std::to_string(counted.only_a) +
              ",\"only_b\":" + std::to_string(counted.only_b) +
              ",\"not_compared\":" + std::to_string(counted.not_compared) + "}\n");
    if (std::fflush(stdout) != 0)
        throw std::runtime_error("vorl diff: standard output cannot be written");
    std::string text = "vorl diff: " + std::to_string(counted.compared) + " compared, " +
                       std::to_string(counted.different) + " different, " +
                       std::to_string(counted.only_a) + " only in " + name_a_ + ", " +
                       std::to_string(counted.only_b) + " only in " + name_b_;
    if (counted.not_compared != 0)
        text += ", " + std::to_string(counted.not_compared) +
                " not compared, because the other input ends in damage";
    std::fprintf(stderr, "%s\n", text.c_str());
}

} // namespace vorl::diff
