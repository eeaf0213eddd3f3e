// __unpack, _free__unpacked and __pack of a message: arguments, binding, the codec, the result. The
// public headers state their contract.
//
// A call with valid arguments, on a settled side, goes from here straight to serial/codec.h; a side
// is settled in every call but the first. Any other call, and what native_codec declines, goes
// to message.cpp, which is the same for every message and uses the plain codec.
#pragma once

#include "api/listener.h"
#include "serial/codec.h"

namespace vorl {

/// __unpack for any arguments, any byte order, any bytes.
uint32_t unpack_plainly(const void *buf, int32_t len, void *out, const message &m);

/// __pack for any arguments, any byte order.
uint32_t pack_plainly(const void *in, void *buf, uint32_t *inout_len, const message &m);

template <const message &M>
[[gnu::always_inline]] inline uint32_t unpack(const void *buf, int32_t len, void *out)
{
    if (buf != nullptr && is_settled(M.owner, direction::receive) &&
        len >= static_cast<int32_t>(native_codec<M>::least_length)) {
        const received from = {static_cast<const uint8_t *>(buf), static_cast<uint32_t>(len)};
        auto *record = static_cast<uint8_t *>(out);
        // This load keeps the compiler from computing all conditions before it tests the first.
        const auto root = load<native, uint32_t>(from.bytes);
        if (record != nullptr) {
            if (native_codec<M>::read_known(root, from, record))
                return M.record_size;
            if constexpr (native_codec<M>::has_read_root)
                return native_codec<M>::template read_root<to_log>(root, from.bytes, from.len,
                                                                   record);
        }
    }
    return unpack_plainly(buf, len, out, M);
}

template <const message &M>
[[gnu::always_inline]] inline void free_unpacked(void *rec)
{
    if constexpr (!is_fixed_size(M)) {
        if (rec == nullptr)
            return;
        bind_cache(ctx_of(M, direction::receive));
        native_codec<M>::template release<to_log>(static_cast<uint8_t *>(rec));
    }
}

template <const message &M>
[[gnu::always_inline]] inline uint32_t pack(const void *in, void *buf, uint32_t *inout_len)
{
    static_assert(fast::no_room == failure);
    if (in != nullptr && buf != nullptr && is_settled(M.owner, direction::send))
        return native_codec<M>::pack(static_cast<const uint8_t *>(in), static_cast<uint8_t *>(buf),
                                     inout_len);
    return pack_plainly(in, buf, inout_len, M);
}

} // namespace vorl
