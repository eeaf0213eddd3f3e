#include "inspect/explain_text.h"

#include <algorithm>
#include <ostream>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/explain_lines.h"
#include "inspect/hex.h"

namespace vorl::inspect {
namespace {

// How many bytes the hex column has, and how many bytes of a body are shown.
constexpr std::size_t bytes_a_line = 8;
constexpr std::size_t bytes_shown = 64;
constexpr const char *indent = "          ";

class text_writer {
  public:
    text_writer(const explanation &e, std::ostream &out, colours use, const labels *names)
        : e_(e), out_(out), has_colours_(use == colours::terminal), names_(names)
    {
        for (const damage &d : e.damages)
            pending_.push_back(&d);
        std::stable_sort(pending_.begin(), pending_.end(),
                         [](const damage *a, const damage *b) { return a->at < b->at; });
    }

    void write()
    {
        out_ << name_of(*e_.of) << ", " << e_.bytes.size() << " bytes\n";
        for_each_line(e_, names_, [this](const explained_line &line) {
            stray_ += std::string_view(line.what) == "stray" ? line.size : 0;
            write_line(line);
            write_damages(std::uint64_t{line.at} + line.size);
        });
        write_damages(UINT64_MAX);
        if (e_.more_damages != 0)
            out_ << "  " << e_.more_damages << " more refusals are not shown\n";
        if (e_.is_cut)
            out_ << "  the bytes lead to more than 4000000 things; those behind are not shown\n";
        if (e_.damages.empty())
            out_ << "  accepted; values are not checked\n";
        if (e_.damages.empty() && stray_ != 0)
            out_ << coloured(red, "  but " + std::to_string(stray_) + " of " +
                                      std::to_string(e_.bytes.size()) +
                                      " bytes are nothing of this message; --guess lists what "
                                      "else they can be")
                 << '\n';
        if (!e_.damages.empty())
            out_ << coloured(red, "  refused at " + to_text(e_.damages[0])) << '\n';
    }

  private:
    static constexpr const char *red = "31;1";
    static constexpr const char *dim = "2";
    static constexpr const char *bold = "1";

    std::string coloured(const char *colour, const std::string &text) const
    {
        return has_colours_ ? std::string("\033[") + colour + "m" + text + "\033[0m" : text;
    }

    void write_line(const explained_line &line)
    {
        const std::string what = line.what;
        const bool is_value = !line.value.empty();
        const bool is_background = what == "padding";
        std::size_t shown = 0;
        do {
            const std::size_t part = std::min<std::size_t>(line.size - shown, bytes_a_line);
            const std::string hex = to_hex(e_.bytes.data() + line.at + shown, part, " ");
            out_ << "  " << coloured(dim, offset_text(line.at + shown)) << "  " << hex;
            if (shown == 0)
                out_ << std::string(3 * bytes_a_line - hex.size(), ' ')
                     << (is_value        ? coloured(bold, line.text)
                         : is_background ? coloured(dim, line.text)
                                         : line.text);
            out_ << '\n';
            shown += part;
        } while (shown < line.size && shown < bytes_shown);
        if (shown < line.size)
            out_ << indent << "... " << line.size - shown << " more bytes\n";
    }

    /// Those whose bytes begin before `end`, and were not written yet.
    void write_damages(std::uint64_t end)
    {
        for (; next_ < pending_.size() && pending_[next_]->at < end; ++next_) {
            const damage &d = *pending_[next_];
            // A receiver gets no further than the first, in the order of reading.
            const bool is_first = &d == e_.damages.data();
            out_ << coloured(red,
                             "  >>>>>>  " + std::string(is_first ? "refused: " : "refused, too: ") +
                                 (d.member.empty() ? "" : path_text(d.member, d.label) + ": ") +
                                 d.what)
                 << '\n'
                 << indent << d.measured << ": " << d.actual << ", where "
                 << (d.least == d.most ? std::to_string(d.most)
                                       : std::to_string(d.least) + " to " + std::to_string(d.most))
                 << " is accepted; " << offset_text(d.at);
            if (d.leads_to != d.at)
                out_ << " leads to " << offset_text(d.leads_to);
            out_ << '\n';
            if (!d.hint.empty())
                out_ << indent << d.hint << '\n';
            if (!is_first)
                continue;
            out_ << indent << "a receiver stops here, and logs ";
            if (d.log)
                out_ << d.log->text << " (line " << d.log->line << ", " << d.log->function << ")\n";
            else
                out_ << "nothing\n";
            out_ << indent
                 << (d.leaves_the_record ? "its record stays as it was\n"
                                         : "its record keeps what was read before; all else is "
                                           "zero, and vectors are released\n");
        }
    }

    const explanation &e_;
    std::ostream &out_;
    bool has_colours_;
    const labels *names_;
    std::vector<const damage *> pending_; ///< by offset
    std::size_t next_ = 0;
    std::uint64_t stray_ = 0; ///< bytes that nothing leads to
};

} // namespace

void write_text(const explanation &e, std::ostream &out, colours use, const labels *names)
{
    text_writer(e, out, use, names).write();
}

} // namespace vorl::inspect
