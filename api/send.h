// Encodes records into frames and hands them to the bus, with one bus call for each send. Memory
// taken for a send is given back as soon as the bus call returns.
//
//                   one record                       count records
//   frame <= 1024 B  stack                            one block: count frames, count descriptors
//   longer frame     one block: the frame             the same
//   variable size    one block of the packed size     one block: 65536 bytes of frames, then
//                                                     count descriptors
//
// Blocks come from the main allocator of the send side, tagged with the exported function's name:
// __sendsingle for one record, __sendbatch for many. The allocator takes a size of 32 bits; a block
// that should be larger is given back at once, and the send fails.
#pragma once

#include "api/sides.h"
#include "runtime/bus.h"
#include "serial/codec.h"

namespace vorl {

inline constexpr uint32_t stack_frame_limit = 1024;
inline constexpr uint32_t batch_frame_area = 65536;

// How a message is encoded on a side that is settled.

/// Writes `count` frames of a fixed-size message, one behind the other.
using write_frames_fn = void (*)(uint8_t *to, uint32_t count, const uint8_t *records);

/// Packs a variable-size message. `size`: how many bytes, 0 when the record cannot be packed.
struct packing {
    uint32_t (*size)(const uint8_t *record);
    uint8_t *(*pack)(uint8_t *to, const uint8_t *record);
};
template <const message &M>
inline constexpr packing packing_of = {native_codec<M>::packed_size,
                                       native_codec<M>::pack_measured};

// For a side's first call, and each call of a side that swaps bytes: bind, then the plain codec.

uint32_t send_unsettled(uint32_t dest, const uint8_t *record, const message &m, uint64_t to);
void frames_unsettled(uint8_t *to, uint32_t count, const uint8_t *records, const message &m);
void pack_unsettled(uint8_t *to, const uint8_t *record, const message &m);

// The sends, written once for all messages. Each returns the bus's result, or `failure`.

uint32_t send_one_frame(uint32_t dest, const uint8_t *record, uint64_t to, write_frames_fn write,
                        const message &m);
uint32_t send_frames(uint32_t dest, const uint8_t *records, uint32_t count, uint64_t to,
                     write_frames_fn write, const message &m);
uint32_t send_one_packed(uint32_t dest, const uint8_t *record, uint64_t to, const packing &how,
                         const message &m);
uint32_t send_packed(uint32_t dest, const uint8_t *records, uint32_t count, uint64_t to,
                     const packing &how, const message &m);

inline uint32_t hand_over(uint32_t dest, const frame_desc *descs, uint32_t count, uint64_t to)
{
    return to != 0 ? VORL_SendToMsg(dest, descs, count, to) : VORL_SendMsg(dest, descs, count);
}

/// Hands one frame over.
inline uint32_t hand_over(uint32_t dest, const uint8_t *frame, uint32_t length, uint64_t to,
                          const message &m)
{
    const frame_desc desc = {frame, m.msg_id, length};
    return hand_over(dest, &desc, 1, to);
}

template <const message &M>
[[gnu::always_inline]] inline uint32_t sendsingle(uint32_t dest, const void *rec, uint64_t to)
{
    const auto *record = static_cast<const uint8_t *>(rec);
    if constexpr (!is_fixed_size(M)) {
        return send_one_packed(dest, record, to, packing_of<M>, M);
    } else if constexpr (constexpr uint32_t length = frame_layout_of(M).length;
                         length > stack_frame_limit) {
        return send_one_frame(dest, record, to, native_codec<M>::write_frames, M);
    } else {
        if (!is_settled<settled_for::values>(M.owner, direction::send))
            return send_unsettled(dest, record, M, to);
        alignas(8) uint8_t frame[length];
        native_codec<M>::write_frame(frame, record);
        return hand_over(dest, frame, length, to, M);
    }
}

template <const message &M>
[[gnu::always_inline]] inline uint32_t sendbatch(uint32_t dest, const void *recs, uint32_t count,
                                                 uint64_t to)
{
    const auto *records = static_cast<const uint8_t *>(recs);
    if constexpr (is_fixed_size(M))
        return send_frames(dest, records, count, to, native_codec<M>::write_frames, M);
    else
        return send_packed(dest, records, count, to, packing_of<M>, M);
}

/// __sendmsg and __sendtomsg: one record is passed to __sendsingle, more records to __sendbatch.
template <class Record, class Single, class Batch>
[[gnu::always_inline]] inline uint32_t send_by_count(uint32_t dest, const Record *recs,
                                                     uint32_t count, uint64_t to, Single *single,
                                                     Batch *batch)
{
    if (count == 0)
        return failure;
    return count == 1 ? single(dest, recs, 0, to) : batch(dest, recs, count, to);
}

} // namespace vorl
