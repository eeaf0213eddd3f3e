#include "faults.h"

#include <algorithm>
#include <string_view>

#include "inspect/printable.h"

namespace idlc {
namespace {

/// What a terminal is told before and after a part of a fault.
struct colours {
    const char *place;
    const char *error;
    const char *note;
    const char *mark;
    const char *off;
};
constexpr colours plain{"", "", "", "", ""};
constexpr colours terminal{"\033[1m", "\033[1;31m", "\033[1;36m", "\033[1;32m", "\033[0m"};

constexpr std::size_t widest = 120; ///< characters of a line that are shown

/// Finds lines in a text. Goes on from where it was: faults come in the order of their lines.
class line_finder {
  public:
    explicit line_finder(std::string_view text) : text_(text) {}

    std::string_view find(std::uint32_t line)
    {
        if (line < line_) {
            line_ = 1;
            at_ = 0;
        }
        for (; line_ < line; ++line_) {
            const std::size_t end = text_.find('\n', at_);
            at_ = end == std::string_view::npos ? text_.size() : end + 1;
        }
        std::string_view found = text_.substr(at_, text_.find('\n', at_) - at_);
        if (found.ends_with('\r'))
            found.remove_suffix(1);
        return found;
    }

  private:
    std::string_view text_;
    std::uint32_t line_ = 1;
    std::size_t at_ = 0;
};

std::string padded(const std::string &text, std::size_t width)
{
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

/// The line and, below it, what is marked. Tabs stay, so that both lines have the same stops. Of a
/// long line the part around the place is shown.
std::string marked(std::string_view line, const std::string &number, std::size_t column,
                   std::size_t length, const colours &in)
{
    const std::size_t place = std::min(column - 1, line.size());
    const std::size_t first = line.size() > widest && place > widest / 2 ? place - widest / 2 : 0;
    const std::size_t last = std::min(line.size(), first + widest);
    std::string above = first == 0 ? "" : "...";
    std::string below(above.size(), ' ');
    for (std::size_t i = first; i < last; ++i) {
        const bool is_shown = vorl::is_printable(line[i]) || line[i] == '\t';
        above += is_shown ? line[i] : '?';
        if (i < place)
            below += line[i] == '\t' ? '\t' : ' ';
    }
    above += last == line.size() ? "" : "...";
    const std::size_t room = std::max<std::size_t>(last - place, 1);
    const std::string mark = '^' + std::string(std::clamp<std::size_t>(length, 1, room) - 1, '~');
    const std::string margin = padded(number, 5) + " | ";
    return margin + above + "\n" + padded("| ", margin.size()) + below + in.mark + mark + in.off +
           "\n";
}

} // namespace

std::string faults::shown(std::span<const source> sources, bool in_colour) const
{
    const colours &in = in_colour ? terminal : plain;
    const auto index_of = [&sources](const std::string &file) {
        return std::find_if(sources.begin(), sources.end(),
                            [&file](const source &s) { return s.file == file; }) -
               sources.begin();
    };
    std::vector<const fault *> ordered;
    for (const fault &f : kept_)
        ordered.push_back(&f);
    std::stable_sort(ordered.begin(), ordered.end(), [&](const fault *a, const fault *b) {
        const auto of_a = index_of(a->file);
        const auto of_b = index_of(b->file);
        return of_a != of_b
                   ? of_a < of_b
                   : std::pair(a->at.line, a->at.column) < std::pair(b->at.line, b->at.column);
    });

    std::string out;
    line_finder lines{""};
    std::string lines_of; // which file they are of
    const auto show = [&](const fault &f, position at, std::size_t length, const char *colour,
                          const char *kind, const std::string &text) {
        out += in.place + vorl::printable(f.file) + ":" + std::to_string(at.line) + ":" +
               std::to_string(at.column) + ": " + in.off + colour + kind + ": " + in.off + text +
               "\n";
        const auto index = static_cast<std::size_t>(index_of(f.file));
        if (index == sources.size())
            return;
        if (lines_of != f.file) {
            lines = line_finder(sources[index].text);
            lines_of = f.file;
        }
        out += marked(lines.find(at.line), std::to_string(at.line), at.column, length, in);
    };
    for (const fault *f : ordered) {
        show(*f, f->at, f->length, in.error, "error", f->text);
        for (const fault::note &n : f->notes)
            show(*f, n.at, 1, in.note, "note", n.text);
    }
    if (const std::size_t others = count_ - kept_.size(); others > 0)
        out += std::to_string(others) + (others == 1 ? " more error" : " more errors") +
               "; --max-errors " + std::to_string(count_) + " shows " +
               (others == 1 ? "it" : "them") + ", too\n";
    return out;
}

} // namespace idlc
