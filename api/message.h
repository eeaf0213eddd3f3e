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

/// __unpack on a settled side, with arguments that are not null, for what read_known declines. It
/// takes the arguments of __unpack, so that the call of it is a jump.
template <const message &M>
[[gnu::noinline]] uint32_t unpack_others(const void *buf, int32_t len, void *out)
{
    const received from = {static_cast<const uint8_t *>(buf), static_cast<uint32_t>(len)};
    auto *record = static_cast<uint8_t *>(out);
    if (len >= static_cast<int32_t>(word_size)) {
        if (native_codec<M>::read_sparse(from, record))
            return M.record_size;
        if constexpr (native_codec<M>::has_read_root)
            return native_codec<M>::template read_root<to_log>(from, record);
    }
    return unpack_plainly(buf, len, out, M);
}

template <const message &M>
[[gnu::always_inline]] inline uint32_t unpack(const void *buf, int32_t len, void *out)
{
    constexpr auto use = is_fixed_size(M) ? settled_for::values : settled_for::allocations;
    if (buf == nullptr || out == nullptr || !is_settled<use>(M.owner, direction::receive))
        return unpack_plainly(buf, len, out, M);
    if (native_codec<M>::least_known <= INT32_MAX &&
        len >= static_cast<int32_t>(native_codec<M>::least_known)) {
        const received from = {static_cast<const uint8_t *>(buf), static_cast<uint32_t>(len)};
        if (native_codec<M>::read_known(from, static_cast<uint8_t *>(out)))
            return M.record_size;
    }
    return unpack_others<M>(buf, len, out);
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
    if (in == nullptr || buf == nullptr ||
        !is_settled<settled_for::values>(M.owner, direction::send)) [[unlikely]]
        return pack_plainly(in, buf, inout_len, M);
    return native_codec<M>::pack(static_cast<const uint8_t *>(in), static_cast<uint8_t *>(buf),
                                 inout_len);
}

} // namespace vorl
