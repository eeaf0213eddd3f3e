#include "tests/codec/support/messages.h"

#include <cstring>
#include <stdexcept>

#include "tests/codec/support/facts.h"

namespace vorl::test {

const std::vector<const message_info *> &all_messages()
{
    static const auto all = [] {
        std::vector<const message_info *> list;
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const message_info *m : package->messages) {
                if (find_fact(m->name) != nullptr)
                    list.push_back(m);
            }
        }
        return list;
    }();
    return all;
}

const std::vector<const message_info *> &fixed_messages()
{
    static const auto fixed = [] {
        std::vector<const message_info *> list;
        for (const message_info *m : all_messages()) {
            if (m->is_fixed_size())
                list.push_back(m);
        }
        return list;
    }();
    return fixed;
}

const message_info &message_named(const std::string &name)
{
    const message_info *found = catalogue::find_message(name);
    if (found == nullptr)
        throw std::logic_error(name + " is in a test, but not in the descriptions");
    return *found;
}

sample::sample(const message_info &m, std::uint8_t fill, std::size_t behind)
    : message_(&m), words_((m.record_size + behind + 7) / 8)
{
    std::memset(data(), fill, m.record_size + behind);
}

std::uint8_t *sample::set_vector(const slot_info &slot, std::uint8_t *record, std::uint32_t count)
{
    const std::size_t size =
        count * (slot.element != nullptr ? slot.element->record_size : std::size_t{1});
    void *first = nullptr;
    if (count != 0)
        first = blocks_.emplace_back((size + 7) / 8).data();
    std::memcpy(record + slot.count_offset, &count, sizeof count);
    std::memcpy(record + slot.record_offset, &first, sizeof first);
    return static_cast<std::uint8_t *>(first);
}

template <class Value>
void sample::fill(const message_info &m, std::uint8_t *record, Value &&value,
                  std::uint32_t elements, bool elements_are_most)
{
    for (const slot_info &slot : m.slots) {
        std::uint8_t *member = record + slot.record_offset;
        const std::size_t width = reference::width_of(slot.type);
        std::uint64_t count = 1;
        if (slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table) {
            count = elements_are_most ? value(8) % (elements + 1) : elements;
            member = set_vector(slot, record, static_cast<std::uint32_t>(count));
        } else if (slot.count != 0) {
            count = slot.count;
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            if (slot.element != nullptr)
                fill(*slot.element, member + i * slot.element->record_size, value, elements,
                     elements_are_most);
            else if (slot.type == wire_type::vector_uint8)
                member[i] = static_cast<std::uint8_t>(value(1));
            else
                reference::store(member + i * width, value(width), width, order::little);
        }
    }
}

sample sample::zeros(const message_info &m, std::uint32_t elements)
{
    sample s(m);
    s.fill(
        m, s.at(0), [](std::size_t) { return std::uint64_t{0}; }, elements, false);
    return s;
}

sample sample::ones(const message_info &m, std::uint32_t elements)
{
    sample s(m);
    s.fill(
        m, s.at(0), [](std::size_t) { return ~std::uint64_t{0}; }, elements, false);
    return s;
}

sample sample::random(const message_info &m, random_source &random, std::uint32_t most_elements,
                      std::uint8_t padding)
{
    sample s(m, padding);
    s.fill(
        m, s.at(0), [&random](std::size_t) { return random() % 4 == 0 ? 0 : random(); },
        most_elements, true);
    return s;
}

namespace {

void add_meaning(const message_info &m, const std::uint8_t *record, bytes &to)
{
    const auto add = [&to](const std::uint8_t *from, std::size_t size) {
        to.insert(to.end(), from, from + size);
    };
    for (const slot_info &slot : m.slots) {
        const std::uint8_t *member = record + slot.record_offset;
        std::uint64_t count = slot.count != 0 ? slot.count : 1;
        if (slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table) {
            add(record + slot.count_offset, 4);
            count = reference::load(record + slot.count_offset, 4, order::little);
            std::memcpy(&member, record + slot.record_offset, sizeof member);
            to.push_back(member != nullptr);
            if (member == nullptr)
                continue;
        }
        if (slot.element != nullptr) {
            for (std::uint64_t i = 0; i < count; ++i)
                add_meaning(*slot.element, member + i * slot.element->record_size, to);
        } else if (slot.type == wire_type::vector_uint8) {
            add(member, count);
        } else {
            add(member, count * reference::width_of(slot.type));
        }
    }
}

} // namespace

bytes meaning(const message_info &m, const void *record)
{
    bytes result;
    add_meaning(m, static_cast<const std::uint8_t *>(record), result);
    return result;
}

} // namespace vorl::test
