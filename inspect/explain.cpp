#include "inspect/explain.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"
#include "inspect/reading.h"
#include "serial/layout.h"

namespace vorl::inspect {
namespace {

// How many bytes the hex column has, and how many bytes of a body are shown.
constexpr std::size_t bytes_a_line = 8;
constexpr std::size_t bytes_shown = 64;

/// A reading that writes a line for each of its steps.
class explanation : public reading {
  public:
    explanation(std::span<const std::uint8_t> bytes, std::ostream &out)
        : reading(bytes, records::forget), out_(out), visited_(bytes.size())
    {}

    void show_unvisited()
    {
        const auto end = visited_.end();
        for (auto from = std::find(visited_.begin(), end, false); from != end;) {
            const auto to = std::find(from, end, true);
            const auto at = static_cast<std::uint32_t>(from - visited_.begin());
            const auto stray = content().subspan(at, static_cast<std::size_t>(to - from));
            const bool is_padding = std::all_of(stray.begin(), stray.end(),
                                                [](std::uint8_t byte) { return byte == 0; });
            show(at, stray.size(), is_padding ? "padding" : "nothing leads to these bytes");
            from = std::find(to, end, false);
        }
    }

  protected:
    void hear_root(std::uint32_t to) override
    {
        show(0, word_size, "root offset: the table is at " + offset_text(to));
    }

    void hear(const reading_step &step) override
    {
        using kind = reading_step::kind;
        switch (step.what) {
        case kind::table:
            show_table(step.at);
            show_vtable(step);
            break;
        case kind::field: show_field(step); break;
        case kind::body:
            show_count(step.slot, step.at);
            if (current().nested == nullptr && step.size != 0)
                show(static_cast<std::uint32_t>(step.to), std::size_t{step.size} * current().width,
                     member_path(step.slot) + " = " + body_text(step));
            break;
        case kind::element: show_element(step); break;
        case kind::leave: break;
        case kind::refused:
            if (step.check == field_check::elements || step.check == field_check::count)
                show_count(step.slot, step.at);
            else if (step.check == field_check::position)
                show_element(step);
            break;
        }
    }

    void hear_refused(table_check check, std::uint32_t at) override
    {
        if (check != table_check::position)
            show_table(at);
    }

  private:
    /// Writes one line, or several for more bytes. The bytes lie inside the message.
    void show(std::uint32_t at, std::size_t count, const std::string &meaning)
    {
        std::fill_n(visited_.begin() + at, count, true);
        std::size_t shown = 0;
        do {
            const std::size_t part = std::min(count - shown, bytes_a_line);
            const std::string hex = to_hex(content().data() + at + shown, part, " ");
            out_ << "  " << offset_text(at + shown) << "  " << hex;
            if (shown == 0)
                out_ << std::string(3 * bytes_a_line - hex.size(), ' ') << meaning;
            out_ << '\n';
            shown += part;
        } while (shown < count && shown < bytes_shown);
        if (shown < count)
            out_ << "          ... " << count - shown << " more bytes\n";
    }

    void show_table(std::uint32_t at)
    {
        const std::string path = table_path();
        const std::uint32_t soffset = word(at);
        show(at, word_size,
             (path.empty() ? "table of " : path + ": table of ") + name_of(table_message()) +
                 ", soffset " + std::to_string(static_cast<std::int32_t>(soffset)) +
                 ": the vtable is at " + offset_text(at - soffset));
    }

    void show_vtable(const reading_step &table)
    {
        const message &m = table_message();
        const auto vtable = static_cast<std::uint32_t>(table.to);
        const std::uint32_t entries =
            table.size < vtable_length(0U) ? 0 : table.size / entry_size - 2;
        show(vtable, entry_size,
             "vtable length " + std::to_string(table.size) + ": " + std::to_string(entries) +
                 " entries");
        show(vtable + entry_size, entry_size,
             "table length " + std::to_string(integer(vtable + entry_size, entry_size)) +
                 " (not checked by readers)");
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint64_t entry = integer(vtable + entry_at(i), entry_size);
            const std::string name = i < m.slots.size ? member_path(i)
                                                      : "slot " + std::to_string(i) + ", which " +
                                                            name_of(m) + " does not have";
            show(vtable + entry_at(i), entry_size,
                 name +
                     (entry == 0 ? " is absent: zero" : " is at " + offset_text(table.at + entry)));
        }
    }

    void show_field(const reading_step &step)
    {
        const std::string text = member_path(step.slot) + " " + catalogue::type_text(current());
        if (current().shape == slot_shape::scalar)
            show(step.at, step.size, text + " = " + std::to_string(integer(step.at, step.size)));
        else
            show_offset(step.at, text);
    }

    void show_element(const reading_step &step)
    {
        // The word that leads to a nested table is its field, which has been shown.
        if (current().shape != slot_shape::table)
            show_offset(step.at, element_path(step.size));
    }

    void show_offset(std::uint32_t at, const std::string &what)
    {
        const std::uint32_t offset = word(at);
        show(at, word_size,
             what + ", offset " + std::to_string(offset) + ": it is at " +
                 offset_text(std::uint64_t{at} + offset));
    }

    void show_count(std::uint32_t slot, std::uint32_t at)
    {
        show(at, word_size, member_path(slot) + ": count " + std::to_string(word(at)));
    }

    std::string body_text(const reading_step &body) const
    {
        const auto at = static_cast<std::uint32_t>(body.to);
        if (current().width == 1)
            return std::to_string(body.size) + " bytes";
        if (body.size == 4) {
            std::array<char, INET6_ADDRSTRLEN> text{};
            inet_ntop(AF_INET6, content().data() + at, text.data(), text.size());
            return text.data();
        }
        std::string text;
        for (std::uint32_t i = 0; i < body.size; ++i)
            text += (i == 0 ? "" : " ") + std::to_string(word(at + i * word_size));
        return text;
    }

    std::ostream &out_;
    std::vector<bool> visited_; ///< one for each byte
};

} // namespace

std::optional<refusal> explain(const message &m, std::span<const std::uint8_t> bytes,
                               std::ostream *out)
{
    std::vector<std::uint64_t> record((m.record_size + 7) / 8);
    auto *const to = reinterpret_cast<std::uint8_t *>(record.data());
    std::optional<refusal> why;
    if (out == nullptr) {
        why = reading(bytes, reading::records::forget).read(m, to);
    } else {
        *out << name_of(m) << ", " << bytes.size() << " bytes\n";
        explanation lines(bytes, *out);
        why = lines.read(m, to);
        if (why)
            *out << "  refused at " << to_text(*why) << '\n';
        else
            lines.show_unvisited();
    }
    if (!why)
        release(m, record.data());
    return why;
}

} // namespace vorl::inspect
