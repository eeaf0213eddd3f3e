#include "tests/codec/support/messages.h"

#include <cstring>
#include <stdexcept>

#include "tests/codec/support/facts.h"

namespace vorl::test {

const std::vector<const message *> &all_messages()
{
    static const auto all = [] {
        std::vector<const message *> list;
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const catalogue::message_info &info : package->messages) {
                if (find_fact(name_of(info.data)) != nullptr)
                    list.push_back(&info.data);
            }
        }
        return list;
    }();
    return all;
}

const std::vector<const message *> &fixed_messages()
{
    static const auto fixed = [] {
        std::vector<const message *> list;
        for (const message *m : all_messages()) {
            if (is_fixed_size(*m))
                list.push_back(m);
        }
        return list;
    }();
    return fixed;
}

const message &message_named(const std::string &name)
{
    const catalogue::message_info *found = catalogue::find_message(name);
    if (found == nullptr)
        throw std::logic_error(name + " is in a test, but not in the descriptions");
    return found->data;
}

sample::sample(const message &m, std::uint8_t fill, std::size_t behind)
    : message_(&m), words_((m.record_size + behind + 7) / 8)
{
    std::memset(data(), fill, m.record_size + behind);
}

std::uint8_t *sample::set_vector(const vorl::slot &slot, std::uint8_t *record, std::uint32_t count)
{
    const std::size_t size =
        count * (slot.nested != nullptr ? slot.nested->record_size : std::size_t{1});
    void *first = nullptr;
    if (count != 0)
        first = blocks_.emplace_back((size + 7) / 8).data();
    std::memcpy(record + slot.count_at, &count, sizeof count);
    std::memcpy(record + slot.record_at, &first, sizeof first);
    return static_cast<std::uint8_t *>(first);
}

template <class Value>
void sample::fill(const message &m, std::uint8_t *record, Value &&value, std::uint32_t elements,
                  bool elements_are_most)
{
    for (const vorl::slot &slot : m.slots) {
        std::uint8_t *member = record + slot.record_at;
        const std::size_t width = slot.width;
        std::uint64_t count = 1;
        if (slot.is_vector()) {
            count = elements_are_most ? value(8) % (elements + 1) : elements;
            member = set_vector(slot, record, static_cast<std::uint32_t>(count));
        } else if (slot.count != 0) {
            count = slot.count;
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            if (slot.nested != nullptr)
                fill(*slot.nested, member + i * slot.nested->record_size, value, elements,
                     elements_are_most);
            else if (slot.shape == slot_shape::byte_vector)
                member[i] = static_cast<std::uint8_t>(value(1));
            else
                reference::store(member + i * width, value(width), width, order::little);
        }
    }
}

sample sample::zeros(const message &m, std::uint32_t elements)
{
    sample s(m);
    s.fill(
        m, s.at(0), [](std::size_t) { return std::uint64_t{0}; }, elements, false);
    return s;
}

sample sample::ones(const message &m, std::uint32_t elements)
{
    sample s(m);
    s.fill(
        m, s.at(0), [](std::size_t) { return ~std::uint64_t{0}; }, elements, false);
    return s;
}

sample sample::random(const message &m, random_source &random, std::uint32_t most_elements,
                      std::uint8_t padding)
{
    sample s(m, padding);
    s.fill(
        m, s.at(0), [&random](std::size_t) { return random() % 4 == 0 ? 0 : random(); },
        most_elements, true);
    return s;
}

namespace {

void add_meaning(const message &m, const std::uint8_t *record, bytes &to)
{
    const auto add = [&to](const std::uint8_t *from, std::size_t size) {
        to.insert(to.end(), from, from + size);
    };
    for (const vorl::slot &slot : m.slots) {
        const std::uint8_t *member = record + slot.record_at;
        std::uint64_t count = slot.count != 0 ? slot.count : 1;
        if (slot.is_vector()) {
            add(record + slot.count_at, 4);
            count = reference::load(record + slot.count_at, 4, order::little);
            std::memcpy(&member, record + slot.record_at, sizeof member);
            to.push_back(member != nullptr);
            if (member == nullptr)
                continue;
        }
        if (slot.nested != nullptr) {
            for (std::uint64_t i = 0; i < count; ++i)
                add_meaning(*slot.nested, member + i * slot.nested->record_size, to);
        } else if (slot.shape == slot_shape::byte_vector) {
            add(member, count);
        } else {
            add(member, count * slot.width);
        }
    }
}

} // namespace

bytes meaning(const message &m, const void *record)
{
    bytes result;
    add_meaning(m, static_cast<const std::uint8_t *>(record), result);
    return result;
}

} // namespace vorl::test
