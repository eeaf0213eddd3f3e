#include "bench/data.h"

#include <algorithm>
#include <cstring>

namespace vorl::bench {

using catalogue::slot_info;
using catalogue::wire_type;

namespace {

size_t width_of(wire_type type)
{
    switch (type) {
    case wire_type::uint8:
    case wire_type::array_uint8:
    case wire_type::vector_uint8: return 1;
    case wire_type::uint16: return 2;
    case wire_type::uint32:
    case wire_type::array_uint32: return 4;
    default: return 8;
    }
}

} // namespace

pages::pages(size_t bytes, size_t offset) : offset_(offset)
{
    constexpr size_t page = 4096;
    const size_t whole = (bytes + offset + page - 1) / page * page;
    block_.reset(static_cast<uint8_t *>(std::aligned_alloc(page, whole)));
    if (block_ == nullptr)
        abort();
    memset(block_.get(), 0, whole);
}

record_set::record_set(const message_info &message, pattern zeros, uint32_t count,
                       uint32_t elements)
    : message_(message), zeros_(zeros), count_(count), base_(block(count * message.record_size)),
      random_(message.msg_id)
{
    for (uint64_t &mask : masks_)
        mask = random_();
    for (uint32_t i = 0; i < count; ++i) {
        mask_ = masks_[random_() % 8];
        member_ = 0;
        fill(message, at(i), elements);
    }
}

uint8_t *record_set::block(size_t size) { return blocks_.emplace_back(size).begin(); }

bool record_set::is_zero()
{
    switch (zeros_) {
    case pattern::dense: return false;
    case pattern::one_zero: return member_++ == 0;
    case pattern::patterns: return (mask_ >> member_++ % 64 & 1) != 0;
    case pattern::sparse: return (random_() & 1) != 0;
    }
    return false;
}

uint64_t record_set::value(size_t width)
{
    for (;;) {
        const uint64_t all = random_();
        if (all << (64 - 8 * width) != 0)
            return all;
    }
}

void record_set::fill(const message_info &message, uint8_t *record, uint32_t elements)
{
    for (const slot_info &slot : message.slots) {
        uint8_t *member = record + slot.record_offset;
        uint32_t count = slot.count == 0 ? 1 : slot.count;
        if (slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table) {
            count = elements;
            uint8_t *first =
                block(count * (slot.element != nullptr ? slot.element->record_size : size_t{1}));
            memcpy(record + slot.count_offset, &count, sizeof count);
            memcpy(member, &first, sizeof first);
            member = first;
        }
        if (slot.element != nullptr) {
            for (uint32_t i = 0; i < count; ++i)
                fill(*slot.element, member + i * slot.element->record_size, elements);
        } else if (!is_zero()) {
            const size_t width = width_of(slot.type);
            for (uint32_t i = 0; i < count; ++i) {
                const uint64_t number = value(width);
                memcpy(member + i * width, &number, width);
            }
        }
    }
}

void encodings::add(const uint8_t *bytes, size_t size)
{
    const size_t room = (size + 15) / 16 * 16;
    if (room > left_) {
        left_ = std::max(block_size, room);
        next_ = blocks_.emplace_back(left_).begin();
    }
    uint8_t *to = next_;
    memcpy(to, bytes, size);
    next_ += room;
    left_ -= room;
    places_.push_back({to, size});
    longest_ = std::max(longest_, static_cast<uint32_t>(size));
    shortest_ = std::min(shortest_, static_cast<uint32_t>(size));
}

} // namespace vorl::bench
