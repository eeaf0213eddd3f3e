#include "tests/platform/samples.h"

#include <cstring>

namespace vorl::test {


namespace {

/// Bytes of the plain value or values that the record holds in place; 0 for tables and vectors.
std::size_t plain_size(const vorl::slot &slot)
{
    switch (slot.shape) {
    case slot_shape::scalar: return slot.width;
    case slot_shape::array: return std::size_t{slot.width} * slot.count;
    default: return 0;
    }
}

/// Tables that the record holds in place.
std::uint32_t inline_tables(const vorl::slot &slot)
{
    if (slot.shape == slot_shape::table)
        return 1;
    return slot.shape == slot_shape::table_array ? slot.count : 0;
}

std::size_t element_size(const vorl::slot &slot)
{
    return slot.shape == slot_shape::byte_vector ? 1 : slot.nested->record_size;
}

template <class T>
T load(const std::uint8_t *from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

} // namespace

sample::sample(const vorl::message &message, std::uint32_t seed, std::uint32_t count)
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

void sample::fill(const vorl::message &message, std::uint8_t *record)
{
    for (const vorl::slot &slot : message.slots) {
        std::uint8_t *const at = record + slot.record_at;
        fill_bytes(at, plain_size(slot));
        for (std::uint32_t i = 0; i < inline_tables(slot); ++i)
            fill(*slot.nested, at + i * slot.nested->record_size);
        if (slot.is_vector()) {
            const bool holds_bytes = slot.shape == slot_shape::byte_vector;
            // A batch of variable size has 65536 bytes for its frames.
            const std::uint32_t count = holds_bytes ? 5 : element_size(slot) > 4096 ? 1 : 2;
            std::uint8_t *const elements = block(count * element_size(slot));
            if (holds_bytes)
                fill_bytes(elements, count);
            for (std::uint32_t i = 0; !holds_bytes && i < count; ++i)
                fill(*slot.nested, elements + i * element_size(slot));
            std::memcpy(record + slot.count_at, &count, sizeof count);
            std::memcpy(at, &elements, sizeof elements);
        }
    }
}

bool same_record(const vorl::message &message, const void *one, const void *other)
{
    const auto *a = static_cast<const std::uint8_t *>(one);
    const auto *b = static_cast<const std::uint8_t *>(other);
    for (const vorl::slot &slot : message.slots) {
        const std::uint8_t *in_a = a + slot.record_at;
        const std::uint8_t *in_b = b + slot.record_at;
        std::size_t bytes = plain_size(slot);
        std::uint32_t tables = inline_tables(slot);
        if (slot.is_vector()) {
            const auto count = load<std::uint32_t>(a + slot.count_at);
            if (count != load<std::uint32_t>(b + slot.count_at))
                return false;
            in_a = load<const std::uint8_t *>(in_a);
            in_b = load<const std::uint8_t *>(in_b);
            if (slot.shape == slot_shape::byte_vector)
                bytes = count;
            else
                tables = count;
        }
        if (bytes != 0 && std::memcmp(in_a, in_b, bytes) != 0)
            return false;
        for (std::uint32_t i = 0; i < tables; ++i) {
            const std::size_t at = i * slot.nested->record_size;
            if (!same_record(*slot.nested, in_a + at, in_b + at))
                return false;
        }
    }
    return true;
}

std::vector<const message *> all_messages()
{
    std::vector<const message *> all;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            all.push_back(&info.data);
    }
    return all;
}

} // namespace vorl::test
