#include "bench/data.h"

#include <algorithm>
#include <cstring>

namespace vorl::bench {

pages::pages(size_t bytes, size_t offset) : offset_(offset)
{
    constexpr size_t page = 4096;
    const size_t whole = (bytes + offset + page - 1) / page * page;
    block_.reset(static_cast<uint8_t *>(std::aligned_alloc(page, whole)));
    if (block_ == nullptr)
        abort();
    memset(block_.get(), 0, whole);
}

record_set::record_set(const vorl::message &message, pattern zeros, uint32_t count,
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

void record_set::fill(const vorl::message &message, uint8_t *record, uint32_t elements)
{
    for (const vorl::slot &slot : message.slots) {
        uint8_t *member = record + slot.record_at;
        uint32_t count = slot.count == 0 ? 1 : slot.count;
        if (slot.is_vector()) {
            count = elements;
            const size_t size = slot.nested != nullptr ? slot.nested->record_size : size_t{1};
            uint8_t *first = count != 0 ? block(count * size) : nullptr;
            memcpy(record + slot.count_at, &count, sizeof count);
            memcpy(member, &first, sizeof first);
            member = first;
        }
        if (slot.nested != nullptr) {
            for (uint32_t i = 0; i < count; ++i)
                fill(*slot.nested, member + i * slot.nested->record_size, elements);
        } else if (!is_zero()) {
            const size_t width = slot.width;
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
    bytes_ += size;
    longest_ = std::max(longest_, static_cast<uint32_t>(size));
    shortest_ = std::min(shortest_, static_cast<uint32_t>(size));
}

} // namespace vorl::bench
