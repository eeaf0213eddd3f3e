#include "capture/description.h"

#include <algorithm>

#include "capture/little_endian.h"

namespace vorl::capture {
namespace {

constexpr std::size_t longest_text = 0xFFFF;
constexpr std::uint32_t most_slots = 256; // docs/format.md, "Limits"
constexpr std::uint8_t last_form = static_cast<std::uint8_t>(inspect::form::unit);

void append_text(bytes &to, std::string_view text)
{
    text = text.substr(0, longest_text);
    append(to, text.size(), 2);
    append(to, text);
}

bytes slot_bytes(const described_slot &s)
{
    bytes all;
    append(all, static_cast<std::uint64_t>(s.shape), 1);
    append(all, s.width, 1);
    append(all, static_cast<std::uint64_t>(s.label.shown_as), 1);
    append(all, s.label.since_start ? 1 : 0, 1);
    append(all, s.count, 4);
    append(all, s.nested, 4);
    append(all, s.label.locator, 4);
    append(all, s.label.function, 4);
    append(all, s.label.length_slot, 4);
    append_text(all, s.name);
    append_text(all, s.label.name);
    append_text(all, s.label.unit);
    append(all, s.label.names.size(), 4);
    for (const auto &[value, name] : s.label.names) {
        append(all, value, 8);
        append_text(all, name);
    }
    return all;
}

/// Takes integers and texts from bytes, none past their end.
class taker {
  public:
    explicit taker(std::span<const std::uint8_t> from) : from_(from) {}

    std::span<const std::uint8_t> take(std::size_t size)
    {
        if (size > from_.size())
            throw capture_error("the description ends too early; it is damaged, so capture again");
        const auto taken = from_.first(size);
        from_ = from_.subspan(size);
        return taken;
    }
    std::uint64_t number(std::size_t width) { return load_integer(take(width).data(), width); }
    std::uint32_t word() { return static_cast<std::uint32_t>(number(4)); }
    std::string text()
    {
        const auto taken = take(number(2));
        return {taken.begin(), taken.end()};
    }

  private:
    std::span<const std::uint8_t> from_;
};

bool is_possible(const described_slot &s)
{
    const bool is_table = s.shape == slot_shape::table || s.shape == slot_shape::table_array ||
                          s.shape == slot_shape::table_vector;
    const bool is_array = s.shape == slot_shape::array || s.shape == slot_shape::table_array;
    const bool has_width = s.width == 1 || s.width == 2 || s.width == 4 || s.width == 8;
    return s.shape <= slot_shape::table_vector && (is_table ? s.width == 0 : has_width) &&
           is_array == (s.count != 0);
}

described_slot take_slot(taker from)
{
    described_slot s;
    s.shape = static_cast<slot_shape>(from.number(1));
    s.width = static_cast<std::uint8_t>(from.number(1));
    const std::uint64_t form = from.number(1);
    s.label.shown_as = form <= last_form ? static_cast<inspect::form>(form) : inspect::form::none;
    s.label.since_start = from.number(1) != 0;
    s.count = from.word();
    s.nested = from.word();
    s.label.locator = from.word();
    s.label.function = from.word();
    s.label.length_slot = from.word();
    s.name = from.text();
    s.label.name = from.text();
    s.label.unit = from.text();
    for (std::uint32_t left = from.word(); left != 0; --left) {
        const std::uint64_t value = from.number(8);
        s.label.names.push_back({value, from.text()});
    }
    if (!is_possible(s))
        throw capture_error("the description has a slot that no message has; it is damaged, so "
                            "capture again");
    return s;
}

bytes whole_packet(const description &d)
{
    bytes all = description_head(d.identifier, static_cast<std::uint32_t>(d.slots.size()));
    append_text(all, d.name);
    for (const described_slot &s : d.slots) {
        const bytes one = slot_bytes(s);
        append(all, one.size(), 4);
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

} // namespace

description describe(const catalogue::message_info &info, const inspect::labels *names)
{
    const message &m = info.data;
    description d{m.msg_id, name_of(m), {}};
    for (std::size_t i = 0; i < m.slots.size; ++i) {
        const slot &s = m.slots[i];
        const inspect::label *const label = names == nullptr ? nullptr : names->label_of(m, i);
        d.slots.push_back({s.shape, s.nested == nullptr ? s.width : std::uint8_t{0}, s.count,
                           s.nested == nullptr ? 0 : s.nested->msg_id, info.slots[i].name,
                           label == nullptr ? inspect::label{} : *label});
    }
    return d;
}

bytes to_packet(const description &d)
{
    bytes all = whole_packet(d);
    if (all.size() <= longest_packet)
        return all;
    description without_labels = d;
    for (described_slot &s : without_labels.slots)
        s.label = {};
    return whole_packet(without_labels);
}

description to_description(const packet &p)
{
    const std::size_t whole = tags().size() + description_header + p.rest.size();
    if (whole > longest_packet)
        throw capture_error("the description has " + std::to_string(whole) +
                            " bytes, and a packet at most " + std::to_string(longest_packet) +
                            "; it is damaged, so capture again");
    if (p.slots > most_slots)
        throw capture_error("the description has " + std::to_string(p.slots) +
                            " slots, and a message has at most " + std::to_string(most_slots) +
                            "; it is damaged, so capture again");
    taker from(p.rest);
    description d{p.identifier, from.text(), {}};
    for (std::uint32_t i = 0; i < p.slots; ++i)
        d.slots.push_back(take_slot(taker(from.take(from.number(4)))));
    return d;
}

} // namespace vorl::capture
