// Records to frames to the bus. One bus call a send; memory taken for it is given back as soon as
// the bus returns.
//
//                   one record                       count records
//   frame <= 1024 B  stack                            one block: count frames, count descriptors
//   longer frame     one block: the frame             the same
//   variable size    one block of the packed size     one block: 65536 bytes of frames, then
//                                                     count descriptors
//
// Blocks come from the main allocator of the send side, tagged with the exported function's name:
// __sendsingle for one record, __sendbatch for many. Sizes are passed in 32 bits; a block whose
// true size does not fit goes straight back.
#pragma once

#include "runtime/bus.h"
#include "runtime/serial_ctx.h"
#include "serial/frame_writer.h"
#include "serial/packer.h"

namespace vorl {

/// What __pack and the sends return when nothing was encoded or sent.
inline constexpr uint32_t failure = 0xFFFFFFFF;
inline constexpr uint32_t stack_frame_limit = 1024;
inline constexpr uint32_t batch_frame_area = 65536;

template <class M>
serial_ctx &send_ctx()
{
    return serial_ctxs[ctx_index(M::owner, direction::send)];
}

/// Calls work.operator()<Order>() in the byte order of the flag.
template <class Work>
void in_order(Work &&work, bool swaps)
{
    if (swaps)
        work.template operator()<byte_order::swapped>();
    else
        work.template operator()<byte_order::native>();
}

// A side's first call, and every call of a side that swaps bytes: bind, then write by the plain way
// where there is one.

template <class M>
[[gnu::cold, gnu::noinline]] void frame_unsettled(uint8_t *to, const uint8_t *record)
{
    bind_cache(send_ctx<M>());
    in_order(
        [to, record]<byte_order Order>() {
            if constexpr (is_flat<M>)
                write_flat_frame<Order>(flat_facts<M>::message, to, record);
            else
                write_frame<Order, M>(to, record);
        },
        swaps_bytes(M::owner, direction::send));
}

template <class M>
[[gnu::cold, gnu::noinline]] void pack_unsettled(uint8_t *to, const uint8_t *record)
{
    bind_cache(send_ctx<M>());
    in_order(
        [to, record]<byte_order Order>() {
            store<Order>(to, word_size + vtable_length(slot_count<M>));
            if constexpr (is_flat<M>)
                pack_flat_table<Order>(flat_facts<M>::message, to + word_size, record);
            else
                pack_table<Order, M>(to + word_size, record);
        },
        swaps_bytes(M::owner, direction::send));
}

template <class M>
[[gnu::always_inline]] inline void frame_record(uint8_t *to, const uint8_t *record)
{
    if (is_settled(M::owner, direction::send))
        write_frame<byte_order::native, M>(to, record);
    else
        frame_unsettled<M>(to, record);
}

template <class M>
[[gnu::always_inline]] inline void pack_record(uint8_t *to, const uint8_t *record)
{
    if (is_settled(M::owner, direction::send))
        pack<M>(to, record);
    else
        pack_unsettled<M>(to, record);
}

inline uint32_t hand_over(uint32_t dest, const frame_desc *descs, uint32_t count, uint64_t to)
{
    return to != 0 ? VORL_SendToMsg(dest, descs, count, to) : VORL_SendMsg(dest, descs, count);
}

/// A block of frame memory, given back when it goes out of scope. Null bytes: there was no memory.
class frame_block {
  public:
    frame_block(serial_ctx &ctx, uint64_t size, const char *tag) : ctx_(ctx), tag_(tag)
    {
        bind_services(ctx_);
        bytes_ = static_cast<uint8_t *>(
            ctx_.mem_alloc(static_cast<uint32_t>(size), ctx_.mem_module_id, tag_));
        if (size > UINT32_MAX)
            give_back();
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
        bind_services(ctx_);
        ctx_.mem_free(bytes_, ctx_.mem_module_id, tag_);
        bytes_ = nullptr;
    }

    serial_ctx &ctx_;
    const char *tag_;
    uint8_t *bytes_;
};

template <class M>
uint32_t send_one(uint32_t dest, const uint8_t *record, uint64_t to)
{
    if constexpr (is_fixed_size<M>) {
        constexpr uint32_t length = frame_layout<M>::length;
        if constexpr (length <= stack_frame_limit) {
            alignas(8) uint8_t frame[length];
            frame_record<M>(frame, record);
            const frame_desc desc = {frame, M::msg_id, length};
            return hand_over(dest, &desc, 1, to);
        } else {
            const frame_block block(send_ctx<M>(), length, function_name<M, "__sendsingle">::text);
            if (block.bytes() == nullptr)
                return failure;
            frame_record<M>(block.bytes(), record);
            const frame_desc desc = {block.bytes(), M::msg_id, length};
            return hand_over(dest, &desc, 1, to);
        }
    } else {
        const uint32_t size = packed_size<M>(record);
        if (size == 0)
            return failure;
        const frame_block block(send_ctx<M>(), size, function_name<M, "__sendsingle">::text);
        if (block.bytes() == nullptr)
            return failure;
        pack_record<M>(block.bytes(), record);
        const frame_desc desc = {block.bytes(), M::msg_id, size};
        return hand_over(dest, &desc, 1, to);
    }
}

template <class M>
uint32_t send_batch(uint32_t dest, const uint8_t *records, uint32_t count, uint64_t to)
{
    uint64_t frames_size = batch_frame_area;
    if constexpr (is_fixed_size<M>)
        frames_size = uint64_t{count} * frame_layout<M>::length;
    const frame_block block(send_ctx<M>(), frames_size + uint64_t{count} * sizeof(frame_desc),
                            function_name<M, "__sendbatch">::text);
    if (block.bytes() == nullptr)
        return failure;

    uint8_t *frame = block.bytes();
    uint8_t *const descs = block.bytes() + frames_size;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *record = records + size_t{i} * sizeof(typename M::record);
        uint32_t length = 0;
        if constexpr (is_fixed_size<M>) {
            length = frame_layout<M>::length;
            frame_record<M>(frame, record);
        } else {
            length = packed_size<M>(record);
            if (length == 0 || length > static_cast<size_t>(descs - frame))
                return failure;
            pack_record<M>(frame, record);
        }
        // The allocator promises no alignment.
        const frame_desc desc = {frame, M::msg_id, length};
        memcpy(descs + size_t{i} * sizeof desc, &desc, sizeof desc);
        frame += length;
    }
    return hand_over(dest, reinterpret_cast<const frame_desc *>(descs), count, to);
}

} // namespace vorl
