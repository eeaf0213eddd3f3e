#include "api/send.h"

#include "api/probes.h"

namespace vorl {
namespace {

// Told apart from the sends, so that one that succeeds does nothing for it.

[[gnu::cold, gnu::noinline]] void tell_no_memory(uint64_t size, const message &m)
{
    probe::no_memory(m, 0, 0, size);
}

[[gnu::cold, gnu::noinline]] void tell_bus_error(uint32_t result, uint32_t dest, uint32_t count,
                                                 uint64_t to, const message &m)
{
    probe::bus_error(m, result, dest, count, to);
}

/// Memory for frames, given back at the end of the scope. bytes() is null when there was none.
class frame_block {
  public:
    frame_block(uint64_t size, function_name function, const message &m)
        : ctx_(ctx_of(m, direction::send)), tag_(name_of(function, m))
    {
        bind_services(ctx_);
        bytes_ = static_cast<uint8_t *>(
            ctx_.mem_alloc(static_cast<uint32_t>(size), ctx_.mem_module_id, tag_));
        if (size > UINT32_MAX)
            give_back();
        if (bytes_ == nullptr) [[unlikely]]
            tell_no_memory(size, m);
    }
    ~frame_block() { give_back(); }
    frame_block(const frame_block &) = delete;
    frame_block &operator=(const frame_block &) = delete;

    uint8_t *bytes() const { return bytes_; }

  private:
    void give_back()
    {
        if (bytes_ == nullptr)
            return;
        ctx_.mem_free(bytes_, ctx_.mem_module_id, tag_);
        bytes_ = nullptr;
    }

    serial_ctx &ctx_;
    const char *tag_;
    uint8_t *bytes_;
};

[[gnu::always_inline]] inline void write_block(uint8_t *to, uint32_t count, const uint8_t *records,
                                               write_frames_fn write, const message &m)
{
    if (is_settled<settled_for::values>(m.owner, direction::send))
        write(to, count, records);
    else
        frames_unsettled(to, count, records, m);
}

[[gnu::always_inline]] inline void pack_block(uint8_t *to, const uint8_t *record,
                                              const packing &how, const message &m)
{
    if (is_settled<settled_for::values>(m.owner, direction::send))
        how.pack(to, record);
    else
        pack_unsettled(to, record, m);
}

/// Writes descriptor `index` of those at `descs`, which may have any alignment.
void describe(uint8_t *descs, uint32_t index, const uint8_t *frame, uint32_t length,
              const message &m)
{
    const frame_desc desc = {frame, m.msg_id, length};
    memcpy(descs + size_t{index} * sizeof desc, &desc, sizeof desc);
}

uint32_t hand_over_told(uint32_t dest, const frame_desc *descs, uint32_t count, uint64_t to,
                        const message &m)
{
    const uint32_t result = hand_over(dest, descs, count, to);
    if (result != 0) [[unlikely]]
        tell_bus_error(result, dest, count, to, m);
    return result;
}

uint32_t hand_over_told(uint32_t dest, const uint8_t *frame, uint32_t length, uint64_t to,
                        const message &m)
{
    const frame_desc desc = {frame, m.msg_id, length};
    return hand_over_told(dest, &desc, 1, to, m);
}

} // namespace

void frames_unsettled(uint8_t *to, uint32_t count, const uint8_t *records, const message &m)
{
    if (count == 0)
        return; // a batch of none: nothing is written, so nothing is bound
    bind_cache(ctx_of(m, direction::send));
    in_order_of(direction::send, m,
                [&]<byte_order Order>() { plain::write_frames<Order>(to, count, records, m); });
}

uint32_t send_unsettled(uint32_t dest, const uint8_t *record, const message &m, uint64_t to)
{
    alignas(8) uint8_t frame[stack_frame_limit];
    frames_unsettled(frame, 1, record, m);
    return hand_over_told(dest, frame, frame_layout_of(m).length, to, m);
}

void pack_unsettled(uint8_t *to, const uint8_t *record, const message &m)
{
    bind_cache(ctx_of(m, direction::send));
    in_order_of(direction::send, m, [&]<byte_order Order>() { plain::pack<Order>(to, record, m); });
}

uint32_t send_one_frame(uint32_t dest, const uint8_t *record, uint64_t to, write_frames_fn write,
                        const message &m)
{
    const uint32_t length = frame_layout_of(m).length;
    const frame_block block(length, function_name::sendsingle, m);
    if (block.bytes() == nullptr)
        return failure;
    write_block(block.bytes(), 1, record, write, m);
    return hand_over_told(dest, block.bytes(), length, to, m);
}

uint32_t send_frames(uint32_t dest, const uint8_t *records, uint32_t count, uint64_t to,
                     write_frames_fn write, const message &m)
{
    const uint32_t length = frame_layout_of(m).length;
    const uint64_t frames_size = uint64_t{count} * length;
    const frame_block block(frames_size + uint64_t{count} * sizeof(frame_desc),
                            function_name::sendbatch, m);
    if (block.bytes() == nullptr)
        return failure;
    write_block(block.bytes(), count, records, write, m);
    uint8_t *const descs = block.bytes() + frames_size;
    for (uint32_t i = 0; i < count; ++i)
        describe(descs, i, block.bytes() + size_t{i} * length, length, m);
    return hand_over_told(dest, reinterpret_cast<const frame_desc *>(descs), count, to, m);
}

uint32_t send_one_packed(uint32_t dest, const uint8_t *record, uint64_t to, const packing &how,
                         const message &m)
{
    const uint32_t size = how.size(record);
    if (size == 0)
        return failure;
    const frame_block block(size, function_name::sendsingle, m);
    if (block.bytes() == nullptr)
        return failure;
    pack_block(block.bytes(), record, how, m);
    return hand_over_told(dest, block.bytes(), size, to, m);
}

uint32_t send_packed(uint32_t dest, const uint8_t *records, uint32_t count, uint64_t to,
                     const packing &how, const message &m)
{
    const frame_block block(batch_frame_area + uint64_t{count} * sizeof(frame_desc),
                            function_name::sendbatch, m);
    if (block.bytes() == nullptr)
        return failure;
    uint8_t *frame = block.bytes();
    uint8_t *const descs = block.bytes() + batch_frame_area;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * m.record_size;
        const uint32_t size = how.size(record);
        if (size == 0 || size > static_cast<size_t>(descs - frame))
            return failure;
        pack_block(frame, record, how, m);
        describe(descs, i, frame, size, m);
        frame += size;
    }
    return hand_over_told(dest, reinterpret_cast<const frame_desc *>(descs), count, to, m);
}

} // namespace vorl
