// __pack and the four sends: arguments, memory and the bus around the encodings of writer.cpp.
#include <cstdio>

#include "tests/reference/reference.h"

namespace vorl::reference {
namespace {

constexpr std::uint32_t refused = 0xFFFFFFFF;
constexpr std::uint64_t past_32_bits = std::uint64_t{1} << 32;
constexpr std::uint64_t descriptor_size = 16;

/// The size in bytes; nothing when the record is null, damaged or too large.
std::optional<std::uint32_t> size_of(const message &m, const void *record)
{
    if (record == nullptr)
        return std::nullopt;
    const auto size = measured_size(m, record);
    if (!size || *size >= past_32_bits)
        return std::nullopt;
    return static_cast<std::uint32_t>(*size);
}

class sender {
  public:
    sender(const message &m, const send_call &call, writing &result)
        : m_(m), call_(call), result_(result)
    {
        if (!holds_vectors(m))
            frame_length_ = frame_length(m);
    }

    void single(std::uint64_t to)
    {
        const auto length = length_of(call_.records);
        if (!length)
            return refuse();
        if (frame_length_ && *frame_length_ <= 1024)
            return hand_over({{m_.msg_id, on_stack, encoded(0)}}, 1, on_stack, to);
        if (!allocate(*length, "__sendsingle"))
            return refuse();
        hand_over({{m_.msg_id, 0, encoded(0)}}, 1, on_stack, to);
        release();
    }

    void batch(std::uint64_t to)
    {
        const std::uint64_t count = call_.count;
        const std::uint64_t area = frame_length_ ? count * *frame_length_ : 65536;
        if (!allocate(area + count * descriptor_size, "__sendbatch"))
            return refuse();
        std::vector<frame_event> frames;
        std::uint64_t used = 0;
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto length = length_of(record_at(i));
            if (!length || *length > area - used) {
                release();
                return refuse();
            }
            frames.push_back({m_.msg_id, static_cast<std::int64_t>(used), encoded(i)});
            used += *length;
        }
        hand_over(std::move(frames), call_.count, static_cast<std::int64_t>(area), to);
        release();
    }

    void refuse() { result_.result = refused; }

  private:
    const void *record_at(std::uint64_t i) const
    {
        return call_.records == nullptr
                   ? nullptr
                   : static_cast<const std::uint8_t *>(call_.records) + i * m_.record_size;
    }

    std::optional<std::uint32_t> length_of(const void *record) const
    {
        return frame_length_ ? frame_length_ : size_of(m_, record);
    }

    bytes encoded(std::uint64_t i) const
    {
        return frame_length_ ? frame(m_, record_at(i), call_.byte_order)
                             : pack(m_, record_at(i), call_.byte_order);
    }

    /// Asks in 32 bits; false when there is no memory, or too little because the size has more.
    bool allocate(std::uint64_t size, const char *function)
    {
        tag_ = std::string(name_of(m_)) + function;
        result_.memory.push_back({memory_event::allocate, static_cast<std::uint32_t>(size), tag_,
                                  call_.fail_allocation ? std::size_t{0} : 1});
        if (call_.fail_allocation)
            return false;
        if (size < past_32_bits) {
            block_size_ = size;
            return true;
        }
        release();
        return false;
    }

    void release() { result_.memory.push_back({memory_event::release, 0, tag_, 1}); }

    void hand_over(std::vector<frame_event> frames, std::uint32_t count, std::int64_t descriptors,
                   std::uint64_t to)
    {
        result_.block.assign(block_size_, call_.fresh_memory);
        for (const frame_event &f : frames) {
            if (f.place != on_stack)
                std::copy(f.content.begin(), f.content.end(), result_.block.begin() + f.place);
        }
        if (descriptors != on_stack)
            std::fill(result_.block.begin() + descriptors, result_.block.end(), std::uint8_t{0});
        result_.sends.push_back({to != 0, call_.dest, to, count, descriptors, std::move(frames),
                                 result_.memory.size()});
        result_.result = call_.bus_result;
    }

    const message &m_;
    const send_call &call_;
    writing &result_;
    std::optional<std::uint32_t> frame_length_; ///< of a message whose frames have one length
    std::string tag_;
    std::uint64_t block_size_ = 0;
};

} // namespace

writing pack(const message &m, const pack_call &call)
{
    writing result;
    result.length = call.capacity;
    result.buffer = call.buffer_before;
    const auto size = size_of(m, call.in);
    if (!size || call.capacity < *size) {
        result.result = refused;
        return result;
    }
    result.length = *size;
    if (call.null_buffer) {
        const char *format = "[ZELKO]:Param invalid(%s, %u, %s)";
        char text[100];
        std::snprintf(text, sizeof text, format, "null", call.capacity, "nonNull");
        result.logs.push_back({22, 1, std::string(name_of(m)) + "_pack", format, text});
        return result;
    }
    const bytes packed = pack(m, call.in, call.byte_order);
    std::copy(packed.begin(), packed.end(), result.buffer.begin());
    return result;
}

writing send(const message &m, const send_call &call)
{
    writing result;
    sender s(m, call, result);
    switch (call.kind) {
    case send_kind::single: s.single(call.to); break;
    case send_kind::batch: s.batch(call.to); break;
    case send_kind::msg:
    case send_kind::to_msg: {
        const std::uint64_t to = call.kind == send_kind::msg ? 0 : call.to;
        if (call.count == 0)
            s.refuse();
        else if (call.count == 1)
            s.single(to);
        else
            s.batch(to);
        break;
    }
    }
    return result;
}

} // namespace vorl::reference
