#include "tests/platform/samples.h"

#include <cstring>

namespace vorl::test {

using catalogue::message_info;
using catalogue::slot_info;
using catalogue::wire_type;

namespace {

/// Bytes of the plain value or values that the record holds in place; 0 for tables and vectors.
std::size_t plain_size(const slot_info &slot)
{
    switch (slot.type) {
    case wire_type::uint8: return 1;
    case wire_type::uint16: return 2;
    case wire_type::uint32: return 4;
    case wire_type::uint64: return 8;
    case wire_type::array_uint8: return slot.count;
    case wire_type::array_uint32: return std::size_t{4} * slot.count;
    default: return 0;
    }
}

/// Tables that the record holds in place.
std::uint32_t inline_tables(const slot_info &slot)
{
    if (slot.type == wire_type::table)
        return 1;
    return slot.type == wire_type::array_table ? slot.count : 0;
}

bool is_vector(const slot_info &slot)
{
    return slot.type == wire_type::vector_table || slot.type == wire_type::vector_uint8;
}

std::size_t element_size(const slot_info &slot)
{
    return slot.type == wire_type::vector_uint8 ? 1 : slot.element->record_size;
}

template <class T>
T load(const std::uint8_t *from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

} // namespace

sample::sample(const message_info &message, std::uint32_t seed, std::uint32_t count)
    : next_(seed * 7919 + 1)
{
    std::uint8_t *const records = block(count * message.record_size);
    for (std::uint32_t i = 0; i < count; ++i)
        fill(message, records + i * message.record_size);
}

std::uint8_t *sample::block(std::size_t size)
{
    blocks_.emplace_back((size + 7) / 8);
    return reinterpret_cast<std::uint8_t *>(blocks_.back().data());
}

void sample::fill_bytes(std::uint8_t *to, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i) {
        next_ = next_ * 1664525 + 1013904223;
        to[i] = static_cast<std::uint8_t>(next_ >> 24 | 1);
    }
}

void sample::fill(const message_info &message, std::uint8_t *record)
{
    for (const slot_info &slot : message.slots) {
        std::uint8_t *const at = record + slot.record_offset;
        fill_bytes(at, plain_size(slot));
        for (std::uint32_t i = 0; i < inline_tables(slot); ++i)
            fill(*slot.element, at + i * slot.element->record_size);
        if (is_vector(slot)) {
            const bool holds_bytes = slot.type == wire_type::vector_uint8;
            // A batch of variable size has 65536 bytes for its frames.
            const std::uint32_t count = holds_bytes ? 5 : element_size(slot) > 4096 ? 1 : 2;
            std::uint8_t *const elements = block(count * element_size(slot));
            if (holds_bytes)
                fill_bytes(elements, count);
            for (std::uint32_t i = 0; !holds_bytes && i < count; ++i)
                fill(*slot.element, elements + i * element_size(slot));
            std::memcpy(record + slot.count_offset, &count, sizeof count);
            std::memcpy(at, &elements, sizeof elements);
        }
    }
}

bool same_record(const message_info &message, const void *one, const void *other)
{
    const auto *a = static_cast<const std::uint8_t *>(one);
    const auto *b = static_cast<const std::uint8_t *>(other);
    for (const slot_info &slot : message.slots) {
        const std::uint8_t *in_a = a + slot.record_offset;
        const std::uint8_t *in_b = b + slot.record_offset;
        std::size_t bytes = plain_size(slot);
        std::uint32_t tables = inline_tables(slot);
        if (is_vector(slot)) {
            const auto count = load<std::uint32_t>(a + slot.count_offset);
            if (count != load<std::uint32_t>(b + slot.count_offset))
                return false;
            in_a = load<const std::uint8_t *>(in_a);
            in_b = load<const std::uint8_t *>(in_b);
            if (slot.type == wire_type::vector_uint8)
                bytes = count;
            else
                tables = count;
        }
        if (bytes != 0 && std::memcmp(in_a, in_b, bytes) != 0)
            return false;
        for (std::uint32_t i = 0; i < tables; ++i) {
            const std::size_t at = i * slot.element->record_size;
            if (!same_record(*slot.element, in_a + at, in_b + at))
                return false;
        }
    }
    return true;
}

std::vector<const message_info *> all_messages()
{
    std::vector<const message_info *> all;
    for (const catalogue::package_info *package : catalogue::packages)
        all.insert(all.end(), package->messages.begin(), package->messages.end());
    return all;
}

} // namespace vorl::test
