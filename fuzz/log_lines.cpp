// Any bytes, as a log that vorl explain --log is given. They pass unchanged, in pieces of any size (the
// first byte says which), and what is said of a line is whole: a finding has a text that its entry's
// format gives, and sentences without a place that was not filled.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/finding.h"
#include "inspect/log_text.h"
#include "tools/vorl/log_filter.h"
#include "tools/vorl/log_format.h"

namespace {

using vorl::log_filter;
using vorl::fuzz::check;
namespace inspect = vorl::inspect;

std::string passed(std::string_view log, std::size_t piece)
{
    std::string out;
    log_filter filter(
        {}, [&out](std::string_view text) { out += text; },
        [](std::size_t, const std::string &) {});
    for (std::size_t at = 0; at < log.size(); at += piece)
        filter.feed(log.substr(at, piece));
    filter.finish();
    return out;
}

std::vector<std::string_view> lines_of(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (std::size_t end; (end = text.find('\n')) != std::string_view::npos;) {
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    lines.push_back(text);
    return lines;
}

/// Whether `out` is the log with lines put into it that begin with the mark.
bool holds(std::string_view out, std::string_view log)
{
    const std::vector<std::string_view> expected = lines_of(log);
    std::size_t next = 0;
    for (const std::string_view line : lines_of(out)) {
        if (next < expected.size() && line == expected[next])
            ++next;
        else if (!line.starts_with(vorl::explanation_mark))
            return false;
    }
    return next == expected.size();
}

void check_sentence(const std::string &text)
{
    for (const char c : text)
        check(c >= 0x20 && c < 0x7F && c != '{' && c != '}', "a sentence that is not whole");
}

void check_finding(const inspect::log_finding &finding, std::string_view line)
{
    check(finding.at < line.size(), "a finding outside of its line");
    if (finding.entry == nullptr) {
        check_sentence(finding.note);
        check(!finding.note.empty(), "a finding of nothing");
        return;
    }
    const auto filled = inspect::match(finding.text.find(",  ") == std::string::npos
                                           ? finding.entry->text
                                           : "[ZELKO]:Malloc unpack data unsuccess,                "
                                             "size(%u)",
                                       finding.text);
    check(filled && filled->length == finding.text.size(), "a text that is not its entry's");
    check(finding.entry->is_possible(filled->values), "a text that is never written");
    for (const std::string &text :
         {finding.where, finding.checked, finding.then, finding.cause, finding.next})
        check_sentence(text);
    for (const std::string &fact : finding.facts)
        check_sentence(fact);
    check(!vorl::to_json(finding, 1).empty(), "no JSON");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string log(reinterpret_cast<const char *>(data) + 1, size - 1);
    const std::string whole = passed(log, log.size() + 1);
    check(passed(log, std::size_t{data[0]} + 1) == whole, "pieces make a difference");
    check(holds(whole, log), "the log does not pass unchanged");
    for (const inspect::log_finding &finding : inspect::explain_log_line(log))
        check_finding(finding, log);
    return 0;
}
