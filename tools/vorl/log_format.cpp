#include "tools/vorl/log_format.h"

#include <sstream>
#include <string_view>

#include <nlohmann/json.hpp>

#include "inspect/wrap.h"

namespace vorl {
namespace {

using inspect::log_finding;
using inspect::log_number;

constexpr std::size_t width = 94; // and the mark: a hundred columns
constexpr const char *colour_on = "\033[36m";
constexpr const char *colour_off = "\033[0m";

/// Puts the mark, and the colour, before each line.
std::string marked(const std::string &lines, bool in_colour)
{
    std::string out;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
        if (!out.empty())
            out += '\n';
        out += in_colour ? colour_on : "";
        out += explanation_mark + line;
        out += in_colour ? colour_off : "";
    }
    return out;
}

/// A row with a name before the text: "cause       The caller ...".
std::string row(const std::string &name, const std::string &text)
{
    constexpr std::size_t column = 12;
    const std::string first =
        name + std::string(name.size() < column ? column - name.size() : 1, ' ');
    return first + inspect::wrapped(text, std::string(column, ' '), width) + "\n";
}

std::string place_key(const log_finding &finding)
{
    return finding.is_one_of_two ? "perhaps" : "where";
}

} // namespace

std::string to_lines(const std::string &remark, bool in_colour)
{
    return marked(inspect::wrapped(remark, "", width) + "\n", in_colour);
}

std::string to_lines(const log_finding &finding, bool in_colour)
{
    if (finding.entry == nullptr)
        return to_lines(finding.note, in_colour);
    std::string out = row(place_key(finding), finding.where);
    for (const log_number &number : finding.numbers)
        out += row(number.value, number.meaning);
    out += row("checked", finding.checked);
    for (const std::string &fact : finding.facts)
        out += row("this tells", fact);
    out += row("then", finding.then);
    out += row("cause", finding.cause);
    out += row("next", finding.next);
    return marked(out, in_colour);
}

std::string to_json(const log_finding &finding, std::size_t line)
{
    using json = nlohmann::ordered_json;
    json numbers = json::array();
    for (const log_number &number : finding.numbers)
        numbers.push_back({{"value", number.value}, {"meaning", number.meaning}});
    json out = {{"line", line}, {"text", finding.text}, {"entry", finding.entry->text}};
    if (finding.of != nullptr)
        out["message"] = name_of(vorl::function_name::none, *finding.of);
    if (!finding.function.empty())
        out["function"] = finding.function;
    if (finding.place != nullptr && (!finding.place->plus_slot || finding.slot))
        out["place"] = finding.place->line + finding.slot.value_or(0);
    out[place_key(finding)] = finding.where;
    out["numbers"] = numbers;
    out["checked"] = finding.checked;
    out["tells"] = finding.facts;
    out["then"] = finding.then;
    out["cause"] = finding.cause;
    out["next"] = finding.next;
    return out.dump();
}

} // namespace vorl
