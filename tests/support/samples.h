// Records of any message, made and compared by its slots, for tests that go through all messages.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/support/facts.h"
#include "tests/support/functions.h"

namespace vorl::test {

/// The messages of all packages in registration order, each beside what is known of it by hand; those
/// of which nothing is known are left out, which codec/facts_test.cpp reports.
struct known_message {
    const message *info;
    const message_fact *fact;
};

inline std::vector<known_message> all_messages()
{
    std::vector<known_message> all;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            if (const message_fact *fact = find_fact(name_of(info.data)))
                all.push_back({&info.data, fact});
        }
    }
    return all;
}

inline std::vector<known_message> messages_where(bool fixed_size)
{
    std::vector<known_message> chosen;
    for (const known_message &m : all_messages()) {
        if (m.fact->is_fixed_size() == fixed_size)
            chosen.push_back(m);
    }
    return chosen;
}

/// Bytes that a slot takes in the record, nested records and vectors aside.
inline std::size_t inline_size(const vorl::slot &slot)
{
    return (slot.shape == slot_shape::array ? slot.count : std::size_t{1}) * slot.width;
}

inline std::uint32_t count_of(const void *record, const vorl::slot &slot)
{
    std::uint32_t count = 0;
    std::memcpy(&count, static_cast<const char *>(record) + slot.count_at, sizeof count);
    return count;
}

inline void *pointer_of(const void *record, const vorl::slot &slot)
{
    void *pointer = nullptr;
    std::memcpy(&pointer, static_cast<const char *>(record) + slot.record_at, sizeof pointer);
    return pointer;
}

inline void set_vector(void *record, const vorl::slot &slot, std::uint32_t count, const void *data)
{
    std::memcpy(static_cast<char *>(record) + slot.count_at, &count, sizeof count);
    std::memcpy(static_cast<char *>(record) + slot.record_at, &data, sizeof data);
}

/// Calls visit(slot, address of the record that holds it) for every vector in the record, nested
/// ones included.
template <class Visitor>
void each_vector(const vorl::message &message, void *record, Visitor &&visit)
{
    for (const vorl::slot &slot : message.slots) {
        if (slot.is_vector())
            visit(slot, record);
        else if (slot.shape == slot_shape::table)
            each_vector(*slot.nested, static_cast<char *>(record) + slot.record_at, visit);
    }
}

/// Whether two records hold the same values; padding does not count.
inline bool same_record(const vorl::message &message, const void *a, const void *b)
{
    for (const vorl::slot &slot : message.slots) {
        const char *left = static_cast<const char *>(a) + slot.record_at;
        const char *right = static_cast<const char *>(b) + slot.record_at;
        std::uint32_t count = slot.shape == slot_shape::table_array ? slot.count : 1;
        if (slot.is_vector()) {
            count = count_of(a, slot);
            if (count != count_of(b, slot))
                return false;
            left = static_cast<const char *>(pointer_of(a, slot));
            right = static_cast<const char *>(pointer_of(b, slot));
            if ((left == nullptr) != (right == nullptr))
                return false;
            if (left == nullptr)
                continue;
        }
        if (slot.nested == nullptr) {
            const std::size_t size = slot.is_vector() ? count : inline_size(slot);
            if (std::memcmp(left, right, size) != 0)
                return false;
            continue;
        }
        const std::size_t stride = slot.nested->record_size;
        for (std::uint32_t i = 0; i < count; ++i) {
            if (!same_record(*slot.nested, left + i * stride, right + i * stride))
                return false;
        }
    }
    return true;
}

/// `count` records of a message, one behind the other, every value non-zero and each record
/// different; vectors hold `elements` elements each. Owns what the records point to.
class sample {
  public:
    explicit sample(const vorl::message &message, std::uint32_t count = 1,
                    std::uint32_t elements = 2, std::uint32_t seed = 1)
        : stride_(message.record_size), elements_(elements), state_(seed)
    {
        bytes_.resize(count * stride_);
        for (std::uint32_t i = 0; i < count; ++i)
            fill(message, record(i));
    }
    sample(const sample &) = delete;
    sample &operator=(const sample &) = delete;

    void *record(std::size_t i = 0) { return bytes_.data() + i * stride_; }

  private:
    void fill_bytes(void *to, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i) {
            state_ = state_ * 1664525 + 1013904223;
            static_cast<unsigned char *>(to)[i] =
                static_cast<unsigned char>(1 + (state_ >> 16) % 255);
        }
    }

    void fill(const vorl::message &message, void *record)
    {
        for (const vorl::slot &slot : message.slots) {
            char *member = static_cast<char *>(record) + slot.record_at;
            std::uint32_t count = slot.shape == slot_shape::table_array ? slot.count : 1;
            if (slot.is_vector()) {
                count = elements_;
                const std::size_t size =
                    slot.nested == nullptr ? count : count * slot.nested->record_size;
                owned_.emplace_back(size);
                member = owned_.back().data();
                set_vector(record, slot, count, member);
                if (slot.nested == nullptr)
                    fill_bytes(member, size);
            }
            if (slot.nested == nullptr) {
                fill_bytes(member, slot.is_vector() ? 0 : inline_size(slot));
                continue;
            }
            for (std::uint32_t i = 0; i < count; ++i)
                fill(*slot.nested, member + i * slot.nested->record_size);
        }
    }

    std::size_t stride_;
    std::uint32_t elements_;
    std::uint32_t state_;
    std::vector<char> bytes_;
    std::deque<std::vector<char>> owned_;
};

/// The record as __pack writes it.
inline std::vector<std::uint8_t> packed(const vorl::message &message, const void *record)
{
    std::vector<std::uint8_t> bytes(200000);
    auto size = static_cast<std::uint32_t>(bytes.size());
    if (functions_of(message).pack(record, bytes.data(), &size) != 0)
        throw std::logic_error(std::string("no packed form of a ") + name_of(message));
    bytes.resize(size);
    return bytes;
}

} // namespace vorl::test
