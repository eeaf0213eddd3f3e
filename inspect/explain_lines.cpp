#include "inspect/explain_lines.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "catalogue/catalogue.h"
#include "serial/layout.h"

namespace vorl::inspect {
namespace {

// In a frame zeros fill up to a multiple of 4 before the vtable, and to one of 8 behind it.
constexpr std::size_t most_before_vtable = 3;
constexpr std::size_t most_behind_vtable = 7;

class lines {
  public:
    lines(const explanation &e, const labels *names,
          const std::function<void(const explained_line &)> &take)
        : e_(e), names_(names), take_(take)
    {
        if (names == nullptr)
            return;
        for (const part &p : e.parts) {
            if (p.what == part::kind::value)
                scalars_[{p.table, p.slot}] = &p;
        }
    }

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
    /// A path, and the same by labels.
    struct place {
        std::string path;
        std::string label;
        std::string text() const { return path_text(path, label); }
    };

    void tell(const part &p)
    {
        switch (p.what) {
        case part::kind::root_offset:
            line(p, "root offset", {}, "root offset: the table is at " + offset_text(p.leads_to));
            break;
        case part::kind::soffset: tell_soffset(p); break;
        case part::kind::vtable: tell_vtable(p); break;
        case part::kind::vtable_length:
            line(p, "vtable length", table(p),
                 "vtable length " + std::to_string(number(p.at, p.size)));
            break;
        case part::kind::value: {
            const std::string value = value_text(p, std::to_string(number(p.at, p.size)));
            line(p, "value", member(p), member(p).text() + " " + type(p) + " = " + value, value);
            break;
        }
        case part::kind::offset:
            line(p, "offset", member(p), member(p).text() + " " + type(p) + ", " + lead(p));
            break;
        case part::kind::count:
            line(p, "count", member(p),
                 member(p).text() + ": count " + std::to_string(number(p.at, p.size)));
            break;
        case part::kind::values: {
            const std::string value = value_text(p, values_text(p));
            line(p, "values", member(p), member(p).text() + " = " + value, value);
            break;
        }
        case part::kind::element:
            line(p, "element", element(p), element(p).text() + ", " + lead(p));
            break;
        }
    }

    void tell_soffset(const part &p)
    {
        const place at = table(p);
        const auto soffset = static_cast<std::int32_t>(number(p.at, p.size));
        line(p, "soffset", at,
             (at.path.empty() ? "table of " : at.text() + ": table of ") +
                 name_of(*e_.tables[p.table].of) + ", soffset " + std::to_string(soffset) +
                 ": the vtable is at " + offset_text(p.leads_to));
    }

    void tell_vtable(const part &p)
    {
        const message &m = *e_.tables[p.table].of;
        const auto length = static_cast<std::uint32_t>(number(p.at, entry_size));
        const std::uint32_t entries = length < vtable_length(0U) ? 0 : length / entry_size - 2;
        part two = p;
        two.size = entry_size;
        line(two, "vtable length", table(p),
             "vtable length " + std::to_string(length) + ": " + std::to_string(entries) +
                 " entries");
        two.at += entry_size;
        line(two, "table length", table(p),
             "table length " + std::to_string(number(two.at, entry_size)) +
                 " (not checked by readers)");
        const std::uint32_t known = std::min(entries, m.slots.size);
        for (std::uint32_t i = 0; i < known; ++i) {
            two.at = p.at + entry_at(i);
            two.slot = i;
            tell_entry(two, "entry", member(two), member(two).text());
        }
        // The rest of vtables that overlap is told once, however many there are.
        const std::uint32_t told = told_ > p.at ? (told_ - p.at) / entry_size - 2 : 0;
        for (std::uint32_t i = std::max(known, told); i < entries; ++i) {
            two.at = p.at + entry_at(i);
            tell_entry(two, "unknown entry", table(p),
                       "slot " + std::to_string(i) + ", which " + name_of(m) + " does not have");
        }
    }

    void tell_entry(part entry, const char *what, const place &of, const std::string &name)
    {
        const std::uint64_t distance = number(entry.at, entry_size);
        entry.leads_to = distance == 0 ? 0 : e_.tables[entry.table].at + distance;
        line(entry, what, of,
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
        line(root, "element root offset", table(soffset),
             table(soffset).text() + ": root offset of its own frame (not read)");
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
        take_({told_, static_cast<std::uint32_t>(stray.size()), 0, is_padding ? "padding" : "stray",
               "", "", text, std::nullopt, ""});
        told_ = to;
    }

    void line(const part &p, const char *what, const place &of, std::string text,
              std::string value = "")
    {
        const std::uint32_t overlap = p.at < told_ ? std::min(told_ - p.at, p.size) : 0;
        if (overlap != 0)
            text += " (overlaps bytes above)";
        told_ = std::max(told_, p.at + p.size);
        take_({p.at, p.size, overlap, what, of.path, of.label, std::move(text),
               p.leads_to == 0 ? std::nullopt : std::optional(p.leads_to), std::move(value)});
    }

    std::uint64_t number(std::uint32_t at, std::size_t width) const
    {
        return integer_at(e_.bytes, at, width);
    }
    const slot &slot_of(const part &p) const { return e_.tables[p.table].of->slots[p.slot]; }
    place table(const part &p) const
    {
        return {table_path(e_, p.table), labelled(table_path(e_, p.table, names_))};
    }
    place member(const part &p) const
    {
        return {member_path(e_, p.table, p.slot),
                labelled(member_path(e_, p.table, p.slot, names_))};
    }
    place element(const part &p) const
    {
        return {element_path(e_, p.table, p.slot, p.element),
                labelled(element_path(e_, p.table, p.slot, p.element, names_))};
    }
    std::string labelled(std::string path) const
    {
        return names_ == nullptr ? "" : std::move(path);
    }
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

    /// The value in the form of its label; `otherwise` when it has none.
    std::string value_text(const part &p, const std::string &otherwise) const
    {
        const message &m = *e_.tables[p.table].of;
        const label *const as = names_ == nullptr ? nullptr : names_->label_of(m, p.slot);
        const slot &s = m.slots[p.slot];
        // Where the array or vector was cut, or has another count, its form does not fit.
        const bool is_whole = s.shape != slot_shape::array || p.size == s.count * s.width;
        if (as == nullptr || as->shown_as == form::none || !is_whole || s.is_vector())
            return otherwise;
        std::optional<std::uint64_t> length;
        if (as->shown_as == form::prefix)
            length = scalar_of(p.table, as->length_slot);
        return text_of(*as, s, e_.bytes.data() + p.at, length).value_or(otherwise);
    }

    /// The value of a scalar of a table; nothing: it is absent, or was not read.
    std::optional<std::uint64_t> scalar_of(std::uint32_t table, std::uint32_t slot) const
    {
        const auto found = scalars_.find({table, slot});
        if (found == scalars_.end())
            return std::nullopt;
        return number(found->second->at, found->second->size);
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
    const labels *names_;
    const std::function<void(const explained_line &)> &take_;
    /// Of each table and slot; where there are labels, for one of which another slot counts.
    std::map<std::pair<std::uint32_t, std::uint32_t>, const part *> scalars_;
    std::uint32_t told_ = 0; ///< bytes before this stand in a line
    bool is_behind_vtable_ = false;
};

} // namespace

void for_each_line(const explanation &e, const labels *names,
                   const std::function<void(const explained_line &)> &take)
{
    lines(e, names, take).tell();
}

} // namespace vorl::inspect
