#include "tools/vorl/log_filter.h"

#include <algorithm>

#include "tools/vorl/log_format.h"

namespace vorl {

void log_filter::feed(std::string_view bytes)
{
    std::size_t written = 0; // what is before is passed on
    std::size_t line = 0;    // where the line begins, or what of it is in these bytes
    const auto pass_on = [&](std::size_t end) {
        if (!style_.as_json && end > written)
            out_(bytes.substr(written, end - written));
        written = end;
    };
    for (std::size_t end; (end = bytes.find('\n', line)) != std::string_view::npos;
         line = end + 1) {
        const std::string_view part = bytes.substr(line, end - line);
        if (held_.empty() && part.size() <= window) {
            look(part, 0, part.size());
        } else {
            hold(part);
            look(held_, from_, held_.size());
        }
        if (!found_.empty())
            pass_on(end + 1);
        end_line(true);
    }
    pass_on(bytes.size());
    hold(bytes.substr(line));
}

void log_filter::finish()
{
    look(held_, from_, held_.size());
    end_line(false);
}

void log_filter::hold(std::string_view part)
{
    while (!part.empty()) {
        const std::size_t taken = std::min(part.size(), window - held_.size());
        held_ += part.substr(0, taken);
        part.remove_prefix(taken);
        if (held_.size() < window)
            return;
        look(held_, from_, window - overlap / 2);
        held_.erase(0, window - overlap);
        from_ = overlap / 2;
    }
}

void log_filter::look(std::string_view line, std::size_t from, std::size_t to)
{
    for (inspect::log_finding &finding : inspect::explain_log_line(line)) {
        if (finding.at < from || finding.at >= to)
            continue;
        explained_ += finding.entry != nullptr ? 1 : 0;
        if (found_.size() < most_explanations)
            found_.push_back(std::move(finding));
        else
            has_more_ = true;
    }
}

void log_filter::end_line(bool has_newline)
{
    for (const inspect::log_finding &finding : found_) {
        if (!style_.as_json)
            write_below(to_lines(finding, style_.in_colour), has_newline);
        else if (finding.entry != nullptr)
            out_(to_json(finding, line_) + "\n");
        else
            remark_(line_, finding.note);
    }
    if (has_more_) {
        const std::string text = "more than " + std::to_string(most_explanations) +
                                 " texts are in this line; those behind are not explained";
        if (style_.as_json)
            remark_(line_, text);
        else
            write_below(to_lines(text, style_.in_colour), has_newline);
    }
    found_.clear();
    has_more_ = false;
    held_.clear();
    from_ = 0;
    ++line_;
}

/// A log that ends without a newline ends without one then, too: without the lines that begin with
/// the mark, what comes out is always what came in.
void log_filter::write_below(const std::string &lines, bool has_newline)
{
    out_(has_newline ? lines + "\n" : "\n" + lines);
}

} // namespace vorl
