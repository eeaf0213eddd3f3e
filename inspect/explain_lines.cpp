#include "inspect/explain_lines.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

#include "catalogue/catalogue.h"
#include "serial/layout.h"

namespace vorl::inspect {
namespace {

// In a frame zeros fill up to a multiple of 4 before the vtable, and to one of 8 behind it.
constexpr std::size_t most_before_vtable = 3;
constexpr std::size_t most_behind_vtable = 7;

class lines {
  public:
    lines(const explanation &e, const std::function<void(const explained_line &)> &take)
        : e_(e), take_(take)
    {}

    void tell()
    {
        for (const part &p : e_.parts) {
            if (p.what == part::kind::soffset)
                tell_own_root(p);
            tell_gap(p.at, p.what == part::kind::vtable);
            tell(p);
            is_behind_vtable_ = p.what == part::kind::vtable;
        }
        tell_gap(static_cast<std::uint32_t>(e_.bytes.size()));
    }

  private:
    void tell(const part &p)
    {
        switch (p.what) {
        case part::kind::root_offset:
            line(p, "root offset", "", "root offset: the table is at " + offset_text(p.leads_to));
            break;
        case part::kind::soffset: tell_soffset(p); break;
        case part::kind::vtable: tell_vtable(p); break;
        case part::kind::vtable_length:
            line(p, "vtable length", table_path(e_, p.table),
                 "vtable length " + std::to_string(number(p.at, p.size)));
            break;
        case part::kind::value: {
            const std::string value = std::to_string(number(p.at, p.size));
            line(p, "value", path(p), path(p) + " " + type(p) + " = " + value, value);
            break;
        }
        case part::kind::offset:
            line(p, "offset", path(p), path(p) + " " + type(p) + ", " + lead(p));
            break;
        case part::kind::count:
            line(p, "count", path(p), path(p) + ": count " + std::to_string(number(p.at, p.size)));
            break;
        case part::kind::values: {
            const std::string value = values_text(p);
            line(p, "values", path(p), path(p) + " = " + value, value);
            break;
        }
        case part::kind::element: {
            const std::string element = element_path(e_, p.table, p.slot, p.element);
            line(p, "element", element, element + ", " + lead(p));
            break;
        }
        }
    }

    void tell_soffset(const part &p)
    {
        const std::string table = table_path(e_, p.table);
        const auto soffset = static_cast<std::int32_t>(number(p.at, p.size));
        line(p, "soffset", table,
             (table.empty() ? "table of " : table + ": table of ") +
                 name_of(*e_.tables[p.table].of) + ", soffset " + std::to_string(soffset) +
                 ": the vtable is at " + offset_text(p.leads_to));
    }

    void tell_vtable(const part &p)
    {
        const found_table &table = e_.tables[p.table];
        const std::string path = table_path(e_, p.table);
        const auto length = static_cast<std::uint32_t>(number(p.at, entry_size));
        const std::uint32_t entries = length < vtable_length(0U) ? 0 : length / entry_size - 2;
        part two = p;
        two.size = entry_size;
        line(two, "vtable length", path,
             "vtable length " + std::to_string(length) + ": " + std::to_string(entries) +
                 " entries");
        two.at += entry_size;
        line(two, "table length", path,
             "table length " + std::to_string(number(two.at, entry_size)) +
                 " (not checked by readers)");
        const std::uint32_t known = std::min(entries, table.of->slots.size);
        for (std::uint32_t i = 0; i < known; ++i) {
            const std::string member = member_path(e_, p.table, i);
            tell_entry(two, i, "entry", member, member);
        }
        // The rest of vtables that overlap is told once, however many there are.
        const std::uint32_t told = told_ > p.at ? (told_ - p.at) / entry_size - 2 : 0;
        for (std::uint32_t i = std::max(known, told); i < entries; ++i)
            tell_entry(two, i, "unknown entry", path,
                       "slot " + std::to_string(i) + ", which " + name_of(*table.of) +
                           " does not have");
    }

    /// Entry `slot` of the vtable whose length is before the two bytes that `near` is about.
    void tell_entry(const part &near, std::uint32_t slot, const char *what, const std::string &path,
                    const std::string &name)
    {
        part entry = near;
        entry.at = near.at - entry_size + entry_at(slot);
        const std::uint64_t distance = number(entry.at, entry_size);
        entry.leads_to = distance == 0 ? 0 : e_.tables[near.table].at + distance;
        line(entry, what, path,
             name + (distance == 0 ? " is absent: zero" : " is at " + offset_text(entry.leads_to)));
    }

    /// In an array of tables each element is a frame with a root offset of its own. Nothing leads to
    /// that: the array's word leads to the table behind it.
    void tell_own_root(const part &soffset)
    {
        if (soffset.table == 0 || soffset.at < told_ + word_size ||
            number(soffset.at - word_size, word_size) != frame_table_at)
            return;
        tell_gap(soffset.at - word_size);
        part root = soffset;
        root.at -= word_size;
        root.leads_to = 0;
        const std::string table = table_path(e_, soffset.table);
        line(root, "element root offset", table,
             table + ": root offset of its own frame (not read)");
    }

    /// The bytes from the end of what was told to `to`, which no part has.
    void tell_gap(std::uint32_t to, bool is_before_vtable = false)
    {
        if (to <= told_)
            return;
        const auto stray = e_.bytes.subspan(told_, to - told_);
        const bool is_zero =
            std::all_of(stray.begin(), stray.end(), [](std::uint8_t byte) { return byte == 0; });
        const bool is_padding =
            is_zero && ((is_before_vtable && stray.size() <= most_before_vtable) ||
                        (is_behind_vtable_ && stray.size() <= most_behind_vtable));
        const char *text = "nothing leads to these bytes";
        if (is_padding)
            text = "padding";
        else if (!e_.damages.empty())
            text = "nothing that can be read leads to these bytes";
        take_({told_, static_cast<std::uint32_t>(stray.size()), is_padding ? "padding" : "stray",
               "", text, std::nullopt, ""});
        told_ = to;
    }

    void line(const part &p, const char *what, std::string path, std::string text,
              std::string value = "")
    {
        if (p.at < told_)
            text += " (overlaps bytes above)";
        told_ = std::max(told_, p.at + p.size);
        take_({p.at, p.size, what, std::move(path), std::move(text),
               p.leads_to == 0 ? std::nullopt : std::optional(p.leads_to), std::move(value)});
    }

    std::uint64_t number(std::uint32_t at, std::size_t width) const
    {
        return integer_at(e_.bytes, at, width);
    }
    const slot &slot_of(const part &p) const { return e_.tables[p.table].of->slots[p.slot]; }
    std::string path(const part &p) const { return member_path(e_, p.table, p.slot); }
    std::string type(const part &p) const { return catalogue::type_text(slot_of(p)); }

    std::string lead(const part &p) const
    {
        std::string text = "offset " + std::to_string(number(p.at, p.size)) + ": it is at " +
                           offset_text(p.leads_to);
        if (p.target != 0) {
            const found_table &to = e_.tables[p.target];
            if (to.parent != p.table || to.slot != p.slot || to.element != p.element)
                text += ", the table of " + table_path(e_, p.target);
        }
        return text;
    }

    std::string values_text(const part &p) const
    {
        const slot &s = slot_of(p);
        if (s.width == 1)
            return std::to_string(p.size) + " bytes";
        if (p.size == sizeof(in6_addr)) {
            std::array<char, INET6_ADDRSTRLEN> text{};
            inet_ntop(AF_INET6, e_.bytes.data() + p.at, text.data(), text.size());
            return text.data();
        }
        std::string text;
        for (std::uint32_t at = p.at; at < p.at + p.size; at += s.width)
            text += (at == p.at ? "" : " ") + std::to_string(number(at, s.width));
        return text;
    }

    const explanation &e_;
    const std::function<void(const explained_line &)> &take_;
    std::uint32_t told_ = 0; ///< bytes before this stand in a line
    bool is_behind_vtable_ = false;
};

} // namespace

void for_each_line(const explanation &e, const std::function<void(const explained_line &)> &take)
{
    lines(e, take).tell();
}

} // namespace vorl::inspect
