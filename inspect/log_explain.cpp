#include "inspect/log_explain.h"

#include <algorithm>

#include "catalogue/catalogue.h"
#include "inspect/log_around.h"
#include "inspect/log_message.h"
#include "inspect/log_plain.h"
#include "inspect/log_text.h"

namespace vorl::inspect {
namespace {

/// Of a function, where the line does not tell it.
const std::string any_message = "<message>";

/// A format that the library logs, and the entry that explains it.
struct known_text {
    const char *format;
    const log_entry *entry;
    const message *of; ///< the only message that has the text; null: all may have it
};

const std::vector<known_text> &known_texts()
{
    static const std::vector<known_text> all = [] {
        std::vector<known_text> texts;
        for (const log_entry &entry : log_entries())
            texts.push_back({entry.text, &entry, nullptr});
        const log_entry &no_memory = log_entries().back();
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const catalogue::message_info &info : package->messages) {
                for (const slot &s : info.data.slots) {
                    if (s.malloc_text != nullptr)
                        texts.push_back({s.malloc_text, &no_memory, &info.data});
                }
            }
        }
        return texts;
    }();
    return all;
}

/// What a text may be, and where it may come from.
struct reading {
    const known_text *known;
    filled_text filled;
    const log_place *place = nullptr;
    named_function function = {};
    std::optional<std::uint32_t> line = std::nullopt;
};

std::vector<reading> readings_of(std::string_view text)
{
    std::vector<reading> all;
    for (const known_text &known : known_texts()) {
        if (std::optional<filled_text> filled = match(known.format, text))
            all.push_back({&known, *std::move(filled)});
    }
    return all;
}

bool is_possible(const reading &r) { return r.known->entry->is_possible(r.filled.values); }

/// The slots of a message have numbers of their own behind that of the place.
bool has_number(const log_place &place, std::uint32_t number)
{
    constexpr std::uint32_t most_slots = 256;
    return number >= place.line && number - place.line < (place.plus_slot ? most_slots : 1);
}

/// The readings that come from the function or from the line; none: nothing does.
std::vector<reading> readings_from(const std::vector<reading> &all, const named_function *function,
                                   std::optional<std::uint32_t> line)
{
    std::vector<reading> chosen;
    for (reading r : all) {
        if (function != nullptr && r.known->of != nullptr && r.known->of != function->of)
            continue;
        for (const log_place &place : r.known->entry->places) {
            const bool fits =
                function != nullptr ? function->suffix == place.function : has_number(place, *line);
            if (!fits)
                continue;
            r.place = &place;
            r.line = line;
            if (function != nullptr)
                r.function = *function;
            chosen.push_back(r);
        }
    }
    return chosen;
}

/// Chooses among the readings by what stands around the text.
std::vector<reading> placed(std::vector<reading> all, std::string_view before,
                            std::string_view behind)
{
    const std::optional<std::uint32_t> line = line_number_around(before, behind);
    for (const named_function &function : functions_around(before, behind)) {
        std::vector<reading> chosen =
            readings_from(all, &function, function.line ? function.line : line);
        if (!chosen.empty())
            return chosen;
    }
    if (line) {
        std::vector<reading> chosen = readings_from(all, nullptr, line);
        if (!chosen.empty())
            return chosen;
    }
    for (reading &r : all) {
        // The text alone tells a place that is the only one, and that of the message's own text.
        if (r.known->entry->places.size() == 1 || r.known->of != nullptr)
            r.place = &r.known->entry->places.front();
    }
    return all;
}

/// "`srv6_localsid_fwd_unpack`, line 10" or, where the line does not tell, all that it can be.
std::string place_text(const reading &r, const std::string &function,
                       std::optional<std::uint32_t> slot)
{
    const auto text = [&slot](const std::string &name, const log_place &place) {
        return name + ", line " +
               (!place.plus_slot ? std::to_string(place.line)
                : slot           ? std::to_string(place.line + *slot)
                                 : std::to_string(place.line) + " + slot");
    };
    if (r.place != nullptr)
        return text(function.empty() ? any_message + r.place->function : function, *r.place);
    std::string all;
    for (const log_place &place : r.known->entry->places)
        all += (all.empty() ? "" : ", or ") + text(any_message + place.function, place);
    return all;
}

std::string then_text(const log_entry &entry, const log_place *known)
{
    std::string all = entry.then;
    for (const log_place &place : entry.places) {
        if (place.then.empty() || (known != nullptr && known != &place))
            continue;
        all += known != nullptr ? " " : " Logged as " + any_message + place.function + ": ";
        all += place.then;
    }
    return all;
}

/// Facts of the table that hold; one of them may be the cause.
void add_facts(const log_entry &entry, const log_values &values, log_finding &to)
{
    to.cause = fill(entry.cause, values);
    to.next = fill(entry.next, values);
    for (const log_fact &fact : entry.facts) {
        const std::optional<std::uint64_t> derived = fact.derive(values);
        if (!derived)
            continue;
        const std::string sentence = fill(fact.sentence, values, *derived);
        if (fact.next == nullptr) {
            to.facts.push_back(sentence);
            continue;
        }
        to.cause = sentence;
        to.next = fill(fact.next, values, *derived);
    }
}

log_finding explained(const reading &r, std::string_view text)
{
    const log_entry &entry = *r.known->entry;
    const log_values &values = r.filled.values;
    log_finding out{};
    out.entry = &entry;
    out.text = text.substr(0, r.filled.length);
    out.place = r.place;
    out.of = r.function.of != nullptr ? r.function.of : r.known->of;
    out.function = r.function.name;
    if (out.function.empty() && out.of != nullptr)
        out.function = std::string(name_of(*out.of)) + r.place->function;
    add_facts(entry, values, out);

    std::string what = r.place != nullptr ? r.place->what : "";
    if (const std::optional<table_check> check = table_check_of(entry)) {
        const table_line line{*check, values, out.of, r.place};
        what = table_of(line).text;
        for (std::string &fact : facts_of(line))
            out.facts.push_back(std::move(fact));
    } else if (r.place != nullptr && r.place->plus_slot && out.of != nullptr) {
        out.slot = vector_slot(*out.of, *r.place, r.line);
        if (out.slot) {
            what = "the memory of " + vector_text(*out.of, *out.slot);
            out.facts.push_back(memory_fact(*out.of, *out.slot, values));
        }
    }
    out.where = place_text(r, out.function, out.slot);
    if (!what.empty())
        out.where += ": " + what;
    out.where += ".";
    if (!r.function.name.empty() && r.function.of == nullptr)
        out.where += " This version has no such message.";
    for (std::size_t i = 0; i < values.size(); ++i)
        out.numbers.push_back({values[i].text, meaning_of(entry, values, i)});
    out.checked = fill(entry.checked, values);
    out.then = then_text(entry, r.place);
    return out;
}

log_finding not_ours(const std::vector<reading> &impossible)
{
    log_finding out{};
    out.note = "not a text that this version writes";
    if (!impossible.empty()) {
        const reading &r = impossible.front();
        out.note += ": " + fill(r.known->entry->impossible, r.filled.values);
    }
    return out;
}

/// What the text at the beginning of `text` says.
std::vector<log_finding> explain_text(std::string_view text, std::string_view before,
                                      std::string_view behind)
{
    std::vector<reading> all = readings_of(text);
    const auto impossible = std::stable_partition(all.begin(), all.end(), is_possible);
    if (impossible == all.begin())
        return {not_ours(all)};
    all.erase(impossible, all.end());
    const std::vector<reading> chosen = placed(std::move(all), before, behind);
    std::vector<log_finding> found;
    for (const reading &r : chosen) {
        found.push_back(explained(r, text));
        found.back().is_one_of_two = chosen.size() > 1;
    }
    return found;
}

} // namespace

std::vector<log_finding> explain_log_line(std::string_view line)
{
    constexpr std::string_view word = "ZELKO";
    // Of a million lines most are not ours: they cost this search.
    if (line.find(word) == std::string_view::npos && !has_codes(line))
        return {};
    const plain_line clean = plain(line);
    const std::string_view text = clean.text;
    std::vector<log_finding> all;
    std::size_t before = 0;
    for (std::size_t at = text.find(log_tag); at != std::string_view::npos;) {
        const std::size_t next = text.find(log_tag, at + log_tag.size());
        const std::string_view own =
            text.substr(at, next == std::string_view::npos ? next : next - at);
        std::size_t end = at + log_tag.size();
        for (log_finding &found : explain_text(own, text.substr(before, at - before), own)) {
            found.at = clean.at[at];
            end = std::max(end, at + found.text.size());
            all.push_back(std::move(found));
        }
        before = end;
        at = next;
    }
    return all;
}

} // namespace vorl::inspect
