#include "inspect/explain.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <utility>

#include "catalogue/catalogue.h"
#include "inspect/refusals.h"
#include "serial/plain/read.h"

namespace vorl::inspect {
namespace {

constexpr std::uint32_t largest_message = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t most_damages = 1000;
constexpr std::size_t most_parts = 4000000;

/// Bytes of the largest record among a message's and those of its tables.
std::uint32_t largest_record(const message &m)
{
    std::uint32_t largest = m.record_size;
    for (const slot &s : m.slots) {
        if (s.nested != nullptr)
            largest = std::max(largest, largest_record(*s.nested));
    }
    return largest;
}

/// Reads the bytes slot by slot with the plain reader's steps, and notes what it reports.
class walker {
  public:
    /// `keeps_parts`: to explain. Otherwise the first damage ends it.
    walker(explanation &into, bool keeps_parts, const labels *names)
        : e_(into), keeps_parts_(keeps_parts), names_(names),
          record_(largest_record(*into.of) / 8 + 1)
    {
        ears_.of = this;
        ears_.refused = [](const listener &l, table_check check, table_role role, std::uint32_t,
                           std::uint32_t a, std::uint32_t b,
                           const message &) { by(l).refuse_table(check, role, a, b); };
        ears_.refused_field = [](const listener &l, const reading_step &step) {
            by(l).refuse(step, step.of->slots[step.slot]);
        };
        // Vectors need no memory: nothing is written to it.
        ears_.allocate = [](const listener &l, std::uint32_t, table_role, const message &) {
            return static_cast<void *>(&by(l));
        };
        ears_.no_memory = [](const listener &l, const reading_step &step, table_role) {
            by(l).refuse(step, step.of->slots[step.slot]);
        };
        ears_.release = nullptr;
        ears_.set_zero = [](void *, std::size_t) { return 0; };
        ears_.copy_bytes = [](void *, const void *, std::size_t) { return 0; };
        ears_.watch = [](const listener &l, const reading_step &step) { by(l).take(step); };
    }

    void walk()
    {
        const message &m = *e_.of;
        e_.tables.push_back({&m, 0, 0, 0, 0});
        if (e_.bytes.size() < word_size || e_.bytes.size() > largest_message) {
            add(refused_length(m, e_.bytes.size()));
            return;
        }
        from_ = {e_.bytes.data(), static_cast<std::uint32_t>(e_.bytes.size())};
        const std::uint32_t root = word(0);
        e_.tables[0].at = root;
        note(part::kind::root_offset, 0, word_size, root);
        seen_[{root, &m}] = 0;
        // A flat message's root is read in the other role, by the library as well.
        walk_table(0, is_flat(m) ? table_role::non_root : table_role::root, 0);
        if (keeps_parts_)
            std::stable_sort(e_.parts.begin(), e_.parts.end(),
                             [](const part &a, const part &b) { return a.at < b.at; });
    }

  private:
    struct ears : listener {
        walker *of;
    };
    static walker &by(const listener &l) { return *static_cast<const ears &>(l).of; }

    /// The table of that index; the word at `word_at` leads to it.
    void walk_table(std::uint32_t index, table_role role, std::uint32_t word_at)
    {
        in_ = index;
        word_at_ = word_at;
        const message &m = *e_.tables[index].of;
        checked_table table{};
        if (!plain::find_table<byte_order::native>(e_.tables[index].at, table, role, from_, ears_,
                                                   m))
            return;
        const slot_reader<byte_order::native> reader{from_, ears_, m, role};
        auto *const record = reinterpret_cast<std::uint8_t *>(record_.data());
        for (std::uint32_t i = 0; i < m.slots.size && !is_over_; ++i) {
            in_ = index;
            table_ = table;
            role_ = role;
            const slot &s = m.slots[i];
            reader.read(table, i, s, record,
                        [&](std::uint32_t words, std::uint32_t count, std::uint8_t *) {
                            walk_tables(index, i, words, count);
                            return true;
                        });
            // Of elements that are too many or pass the end, those that are there. The first that
            // is refused ends it: the number may be what is wrong, and no element stand there.
            if (cut_.count != 0 && s.nested != nullptr)
                walk_tables(index, i, cut_.words, cut_.count, true);
            cut_ = {};
        }
    }

    void walk_tables(std::uint32_t parent, std::uint32_t slot, std::uint32_t words,
                     std::uint32_t count, bool stops_at_damage = false)
    {
        cut_ = {};
        const std::uint64_t damages = found_damages();
        const vorl::slot &s = e_.tables[parent].of->slots[slot];
        const message &m = *s.nested;
        const auto what = s.shape == slot_shape::table ? part::kind::offset : part::kind::element;
        for (std::uint32_t i = 0; i < count && !is_over_; ++i) {
            if (stops_at_damage && found_damages() != damages)
                return;
            in_ = parent;
            const std::uint32_t at = words + i * word_size;
            const std::uint64_t position = std::uint64_t{at} + word(at);
            if (position > std::numeric_limits<std::uint32_t>::max()) {
                note(what, at, word_size, position, slot, i);
                add(refused_position(at, position, element_path(e_, parent, slot, i)),
                    element_path(e_, parent, slot, i, names_));
                continue;
            }
            const auto to = static_cast<std::uint32_t>(position);
            const auto index = static_cast<std::uint32_t>(e_.tables.size());
            if (!keeps_parts_) {
                // Nobody asks for the tables behind this one.
                e_.tables.push_back({&m, to, parent, slot, i});
                walk_table(index, table_role::non_root, at);
                e_.tables.pop_back();
                continue;
            }
            const auto [known, is_new] = seen_.insert({{to, &m}, index});
            note(what, at, word_size, position, slot, i, known->second);
            // What was read before reads the same again.
            if (!is_new)
                continue;
            e_.tables.push_back({&m, to, parent, slot, i});
            walk_table(index, table_role::non_root, at);
        }
    }

    void take(const reading_step &step)
    {
        using kind = reading_step::kind;
        const slot &s = step.of->slots[step.slot];
        switch (step.what) {
        case kind::table:
            note(part::kind::soffset, step.at, word_size, step.to);
            note(part::kind::vtable, static_cast<std::uint32_t>(step.to),
                 std::max(step.size, std::uint32_t{word_size}), 0);
            break;
        case kind::field:
            if (s.shape == slot_shape::scalar)
                note(part::kind::value, step.at, step.size, 0, step.slot);
            else if (s.shape != slot_shape::table) // whose word is noted with the table
                note(part::kind::offset, step.at, step.size, std::uint64_t{step.at} + word(step.at),
                     step.slot);
            break;
        case kind::body:
            note(part::kind::count, step.at, word_size, 0, step.slot);
            if (s.nested == nullptr && step.size != 0)
                note(part::kind::values, static_cast<std::uint32_t>(step.to), step.size * s.width,
                     0, step.slot);
            break;
        case kind::refused: break; // told apart from the steps that pass
        case kind::element:
        case kind::leave: break; // by read_tables, which is not called here
        }
    }

    void refuse(const reading_step &step, const slot &s)
    {
        if (step.check == field_check::elements || step.check == field_check::count) {
            note(part::kind::count, step.at, word_size, 0, step.slot);
            const auto elements = static_cast<std::uint32_t>(step.to);
            cut_ = {elements, std::min(word(step.at), (from_.len - elements) / element_size(s))};
            // Of an array with another count nothing is known to be its values.
            const bool has_values = s.is_vector() || word(step.at) == s.count;
            if (s.nested == nullptr && cut_.count != 0 && has_values) {
                note(part::kind::values, elements, cut_.count * s.width, 0, step.slot);
                if (keeps_parts_ && !e_.is_cut)
                    e_.parts.back().is_partial = true;
            }
        }
        add(refused_slot(from_, table_, role_, step, member_path(e_, in_, step.slot)),
            member_path(e_, in_, step.slot, names_));
    }

    void refuse_table(table_check check, table_role role, std::uint32_t a, std::uint32_t b)
    {
        const found_table &t = e_.tables[in_];
        if (check != table_check::position)
            note(part::kind::soffset, t.at, word_size, t.at - word(t.at));
        if (check == table_check::vtable_length)
            note(part::kind::vtable_length, t.at - word(t.at), entry_size, 0);
        add(refused_table(from_, check, role, *t.of, {t.at, word_at_, a, b}, table_path(e_, in_)),
            table_path(e_, in_, names_));
    }

    std::uint64_t found_damages() const { return e_.damages.size() + e_.more_damages; }

    void add(damage d, std::string label = "")
    {
        if (names_ != nullptr)
            d.label = std::move(label);
        is_over_ = !keeps_parts_;
        if (e_.damages.size() < most_damages)
            e_.damages.push_back(std::move(d));
        else
            ++e_.more_damages;
    }

    void note(part::kind what, std::uint32_t at, std::uint32_t size, std::uint64_t leads_to,
              std::uint32_t slot = 0, std::uint32_t element = 0, std::uint32_t target = 0)
    {
        if (!keeps_parts_)
            return;
        if (e_.parts.size() < most_parts)
            e_.parts.push_back({what, false, at, size, in_, slot, element, leads_to, target});
        else
            e_.is_cut = true;
    }

    std::uint32_t word(std::uint32_t at) const
    {
        return static_cast<std::uint32_t>(integer_at(e_.bytes, at, word_size));
    }

    explanation &e_;
    bool keeps_parts_;
    const labels *names_;
    ears ears_;
    received from_{};
    std::vector<std::uint64_t> record_; ///< is written to, never read
    /// Index of each table, by its place and the message that it is read as.
    std::map<std::pair<std::uint32_t, const message *>, std::uint32_t> seen_;
    bool is_over_ = false;

    // What is being read.
    std::uint32_t in_ = 0;      ///< index of the table
    std::uint32_t word_at_ = 0; ///< of the word that led there
    checked_table table_{};
    table_role role_ = table_role::root;
    struct {
        std::uint32_t words;
        std::uint32_t count;
    } cut_{}; ///< the elements inside the bytes, of a slot that was refused for their number
};

explanation walked(const message &m, std::span<const std::uint8_t> bytes, bool keeps_parts,
                   const labels *names)
{
    explanation e{&m, bytes, {}, {}, {}};
    walker(e, keeps_parts, names).walk();
    return e;
}

} // namespace

explanation explain(const message &m, std::span<const std::uint8_t> bytes, const labels *names)
{
    return walked(m, bytes, true, names);
}

std::optional<damage> first_damage(const message &m, std::span<const std::uint8_t> bytes)
{
    explanation e = walked(m, bytes, false, nullptr);
    if (e.damages.empty())
        return std::nullopt;
    return std::move(e.damages[0]);
}

std::string table_path(const explanation &e, std::uint32_t table, labels_or_null names)
{
    if (table == 0)
        return "";
    const found_table &t = e.tables[table];
    return element_path(e, t.parent, t.slot, t.element, names);
}

std::string member_path(const explanation &e, std::uint32_t table, std::uint32_t slot,
                        labels_or_null names)
{
    const message &m = *e.tables[table].of;
    const label *const as = names == nullptr ? nullptr : names->label_of(m, slot);
    const std::string path = table_path(e, table, names);
    return (path.empty() ? "" : path + ".") +
           (as == nullptr || as->name.empty() ? catalogue::info_of(m).slots[slot].name : as->name);
}

std::string element_path(const explanation &e, std::uint32_t table, std::uint32_t slot,
                         std::uint32_t number, labels_or_null names)
{
    const std::string member = member_path(e, table, slot, names);
    return e.tables[table].of->slots[slot].shape == slot_shape::table
               ? member
               : member + "[" + std::to_string(number) + "]";
}

std::uint64_t integer_at(std::span<const std::uint8_t> bytes, std::uint32_t at, std::size_t width)
{
    std::uint64_t value = 0;
    std::memcpy(&value, bytes.data() + at, width);
    return value;
}

} // namespace vorl::inspect
