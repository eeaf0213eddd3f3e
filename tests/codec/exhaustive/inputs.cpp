#include "tests/codec/exhaustive/inputs.h"

#include <algorithm>
#include <cstring>

namespace vorl::test::exhaustive {

const char *name_of(kind k)
{
    switch (k) {
    case kind::length: return "length";
    case kind::root_offset: return "root_offset";
    case kind::soffset: return "soffset";
    case kind::offset_word: return "offset_word";
    case kind::count: return "count";
    case kind::vtable_length: return "vtable_length";
    case kind::table_length: return "table_length";
    case kind::entry: return "entry";
    }
    return "";
}

namespace {

/// How the values of a record are made.
struct filling {
    bool leaves_zeros = false;
    std::uint32_t elements = 2; ///< of a vector
    std::uint32_t value = 0;    ///< of everything; 0: see filler
};

/// Every byte of a value differs from its neighbours', and none is zero: a scalar that is read from
/// a wrong place, or in part, shows.
class filler {
  public:
    explicit filler(const filling &how) : how_(how) {}

    /// `record` is zero; element `number` of its vector or array.
    void fill(const message &m, sample &owner, std::uint8_t *record, std::size_t number)
    {
        for (std::size_t i = 0; i < m.slots.size; ++i) {
            const vorl::slot &s = m.slots[i];
            std::uint8_t *to = record + s.record_at;
            std::size_t count = std::max<std::size_t>(s.count, 1);
            if (reference::is_vector(s)) {
                count = how_.elements;
                to = owner.set_vector(s, record, how_.elements);
            }
            if (s.nested != nullptr) {
                for (std::size_t e = 0; e < count; ++e)
                    fill(*s.nested, owner, to + e * s.nested->record_size, e);
                continue;
            }
            const bool is_zero = how_.leaves_zeros && (i + number + (m.slots.size == 1)) % 2 == 1 &&
                                 reference::is_scalar(s);
            const std::size_t width = std::size_t{s.width};
            for (std::size_t e = 0; e < count && !is_zero; ++e)
                reference::store(to + e * width, next(width), width, order::little);
        }
    }

  private:
    std::uint64_t next(std::size_t width)
    {
        if (how_.value != 0)
            return how_.value;
        std::uint64_t value = 0;
        for (std::size_t b = 0; b < width; ++b) {
            last_ = (last_ + 37) % 255;
            value |= std::uint64_t{last_ + 1} << (8 * b);
        }
        return value;
    }

    filling how_;
    std::uint32_t last_ = 0;
};

sample filled(const message &m, const filling &how)
{
    sample s(m);
    filler(how).fill(m, s, s.at(0), 0);
    return s;
}

/// Elements of a vector whose records are longer than this are one in the other forms than full.
constexpr std::size_t long_element = 4096;

bool has_long_elements(const message &m)
{
    return std::any_of(m.slots.begin(), m.slots.end(), [](const vorl::slot &s) {
        return reference::is_vector(s) && s.nested != nullptr &&
               s.nested->record_size > long_element;
    });
}

/// Of the first array of scalars in a message or in what it leads to; 0: there is none.
std::uint32_t first_count(const message &m)
{
    for (const vorl::slot &s : m.slots) {
        const bool is_array = s.shape == slot_shape::array;
        const std::uint32_t count = is_array              ? s.count
                                    : s.nested != nullptr ? first_count(*s.nested)
                                                          : 0;
        if (count != 0)
            return count;
    }
    return 0;
}

/// Walks a well-formed buffer, and notes where in it the format has a word or an entry.
class place_finder {
  public:
    place_finder(const bytes &content, order o) : content_(content), order_(o) {}

    std::vector<place> places(const message &m)
    {
        add(kind::length, 0, "buffer");
        add(kind::root_offset, 0, "buffer");
        walk_table(m, word(0, 4), name_of(m));
        return std::move(places_);
    }

  private:
    void add(kind what, std::uint32_t at, std::string of)
    {
        places_.push_back({what, at, is_inner_, std::move(of)});
    }
    std::uint32_t word(std::uint32_t at, std::size_t width) const
    {
        return static_cast<std::uint32_t>(reference::load(&content_.at(at), width, order_));
    }

    void walk_table(const message &m, std::uint32_t table, const std::string &name)
    {
        add(kind::soffset, table, name);
        const std::uint32_t vtable = table - word(table, 4);
        add(kind::vtable_length, vtable, name);
        add(kind::table_length, vtable + 2, name);
        for (std::uint32_t i = 0; i < m.slots.size; ++i) {
            const std::string slot_name = "f" + std::to_string(i) + " of " + name;
            add(kind::entry, vtable + 4 + 2 * i, slot_name);
            const std::uint32_t entry = word(vtable + 4 + 2 * i, 2);
            if (entry != 0)
                walk_field(m.slots[i], table + entry, slot_name);
        }
    }

    void walk_field(const vorl::slot &s, std::uint32_t at, const std::string &name)
    {
        if (reference::is_scalar(s))
            return;
        add(kind::offset_word, at, name);
        const std::uint32_t body = at + word(at, 4);
        if (s.shape == slot_shape::table) {
            walk_table(*s.nested, body, name);
            return;
        }
        add(kind::count, body, name);
        if (s.nested == nullptr)
            return;
        const std::uint32_t count = word(body, 4);
        for (std::uint32_t e = 0; e < count; ++e) {
            const bool was_inner = is_inner_;
            is_inner_ = is_inner_ || (e > 1 && e + 1 < count);
            const std::uint32_t element = body + 4 + 4 * e;
            const std::string element_name = "element " + std::to_string(e) + ", " + name;
            add(kind::offset_word, element, element_name);
            walk_table(*s.nested, element + word(element, 4), element_name);
            is_inner_ = was_inner;
        }
    }

    const bytes &content_;
    order order_;
    bool is_inner_ = false;
    std::vector<place> places_;
};

} // namespace

std::vector<input> inputs(order o)
{
    std::vector<input> all;
    for (const subject &s : subjects()) {
        const message &m = *s.data;
        const auto add = [&](const char *form, bytes content) {
            std::vector<place> places = place_finder(content, o).places(m);
            all.push_back({&s, form, o, std::move(content), std::move(places)});
        };
        const std::uint32_t elements = has_long_elements(m) ? 1 : 2;
        const std::uint32_t count = first_count(m);
        const sample full = filled(m, {});
        add("full", reference::pack(m, full.data(), o));
        add("sparse",
            reference::pack(m, filled(m, {.leaves_zeros = true, .elements = elements}).data(), o));
        if (count != 0)
            add("counts",
                reference::pack(m, filled(m, {.elements = elements, .value = count}).data(), o));
        if (is_fixed_size(m))
            add("frame", reference::frame(m, full.data(), o));
        if (reference::checks_root_itself(m))
            add("framed", reference::pack(m, filled(m, {.elements = elements}).data(), o,
                                          reference::inner_form::framed));
    }
    return all;
}

std::vector<std::uint32_t> values(const input &in, const place &p)
{
    constexpr std::uint64_t end = std::uint64_t{1} << 32;
    constexpr std::uint64_t near = 8;
    const std::uint64_t length = in.content.size();
    std::vector<std::uint32_t> list;
    // Modulo 2^32.
    const auto add = [&list](std::uint64_t first, std::uint64_t last) {
        for (std::uint64_t value = first; value <= last; ++value)
            list.push_back(static_cast<std::uint32_t>(value));
    };
    if (p.what == kind::length) {
        add(0, length);
        return list;
    }
    if (width_of(p.what) == 2 && !p.is_inner) {
        add(0, 0xFFFF);
        return list;
    }
    for (std::uint64_t power = 1; power <= end; power *= 2)
        add(end + power - near, end + power + near);
    if (p.is_inner) {
        add(end - near, end + near);
        add(end + length - near, end + length + near);
    } else {
        add(end - length - near, end + length + near);
    }
    if (width_of(p.what) == 2) {
        for (std::uint32_t &value : list)
            value &= 0xFFFF;
    }
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return list;
}

} // namespace vorl::test::exhaustive
