// The seven functions of a message. The generated sources export them under the message's name;
// their contract stands in the public headers.
#pragma once

#include "api/send.h"
#include "api/services.h"

namespace vorl {

template <class M>
struct message {
    using record = typename M::record;
    using services = receive_services<M::owner>;

    static uint32_t unpack(const void *buf, int32_t len, void *out)
    {
        if constexpr (has_known_forms<M>) {
            constexpr uint32_t packed_table_at = word_size + vtable_length(slot_count<M>);
            // Conditions on arguments stand apart: side by side they become arithmetic.
            if (buf != nullptr && is_settled(M::owner, direction::receive) &&
                len >= static_cast<int32_t>(packed_table_at + word_size)) {
                const auto *bytes = static_cast<const uint8_t *>(buf);
                const auto size = static_cast<uint32_t>(len);
                auto *to = static_cast<uint8_t *>(out);
                const auto root = load<byte_order::native, uint32_t>(bytes);
                if (to != nullptr) {
                    if (root == frame_table_at) {
                        if (read_framed<M>(bytes, size, frame_table_at, to))
                            return sizeof(record);
                    } else if (root == packed_table_at) {
                        if (read_packed<M>(bytes, size, packed_table_at, to))
                            return sizeof(record);
                    }
                }
            }
        }
        return unpack_carefully(buf, len, out);
    }

    static void free_unpacked(void *rec)
    {
        if constexpr (!is_fixed_size<M>) {
            if (rec == nullptr)
                return;
            bind_cache(services::ctx());
            release_owned<M, services>(static_cast<uint8_t *>(rec));
        }
    }

    static uint32_t pack(const record *in, void *buf, uint32_t *inout_len)
    {
        const auto *from = reinterpret_cast<const uint8_t *>(in);
        auto *to = static_cast<uint8_t *>(buf);
        if (in != nullptr && buf != nullptr && is_settled(M::owner, direction::send)) {
            if constexpr (is_sparse<M>) {
                const record_windows<M> windows(from);
                const presence<M, 2> scalars(windows);
                if (!scalars.is_full()) {
                    return scalars.apart([&](auto... zeros) __attribute__((always_inline)) {
                        return pack_with_absent(from, to, inout_len, zeros...);
                    });
                }
                return packed(pack_full<M>(to, *inout_len, from, windows), inout_len);
            } else if constexpr (!is_fixed_size<M>) {
                // Room for the largest such record: no need to measure this one first.
                uint64_t largest = word_size;
                if (add_largest_size<M>(from, largest) && largest <= *inout_len) {
                    *inout_len = static_cast<uint32_t>(vorl::pack<M>(to, from) - to);
                    return 0;
                }
            }
        }
        return pack_measured(in, buf, inout_len);
    }

    static uint32_t sendsingle(uint32_t dest, const record *rec, uint64_t to)
    {
        return send_one<M>(dest, reinterpret_cast<const uint8_t *>(rec), to);
    }
    static uint32_t sendbatch(uint32_t dest, const record *recs, uint32_t count, uint64_t to)
    {
        return send_batch<M>(dest, reinterpret_cast<const uint8_t *>(recs), count, to);
    }
    static uint32_t sendtomsg(uint32_t dest, const record *recs, uint32_t count, uint64_t to)
    {
        if (count == 0)
            return failure;
        return count == 1 ? sendsingle(dest, recs, to) : sendbatch(dest, recs, count, to);
    }
    static uint32_t sendmsg(uint32_t dest, const record *recs, uint32_t count)
    {
        return sendtomsg(dest, recs, count, 0);
    }

  private:
    static uint32_t packed(uint32_t size, uint32_t *inout_len)
    {
        if (size == 0)
            return failure;
        *inout_len = size;
        return 0;
    }

    /// By itself: it takes registers that have to be saved first. What it is to know of the scalars
    /// comes in registers.
    template <class... Zeros>
    [[gnu::noinline]] static uint32_t pack_with_absent(const uint8_t *from, uint8_t *to,
                                                       uint32_t *inout_len, Zeros... zeros)
    {
        return packed(
            pack_sparse<M>(to, *inout_len, from, record_windows<M>(from), presence<M, 2>(zeros...)),
            inout_len);
    }

    [[gnu::noinline]] static uint32_t pack_measured(const record *in, void *buf,
                                                    uint32_t *inout_len)
    {
        const auto *from = reinterpret_cast<const uint8_t *>(in);
        const uint32_t size = packed_size<M>(from);
        if (size == 0 || size > *inout_len)
            return failure;
        if (buf == nullptr) [[unlikely]] {
            // The measuring call: reported, and yet a success.
            log(send_ctx<M>(), log_kind, static_cast<uint32_t>(log_line::pack_arguments),
                function_name<M, "_pack">::text, "[ZELKO]:Param invalid(%s, %u, %s)",
                null_or_not(buf), *inout_len, null_or_not(in));
        } else if constexpr (is_sparse<M>) {
            pack_unsettled<M>(static_cast<uint8_t *>(buf), from); // a settled side has packed above
        } else {
            pack_record<M>(static_cast<uint8_t *>(buf), from);
        }
        *inout_len = size;
        return 0;
    }

    [[gnu::noinline]] static uint32_t unpack_carefully(const void *buf, int32_t len, void *out)
    {
        if (buf == nullptr || len < static_cast<int32_t>(word_size) || out == nullptr) {
            log(services::ctx(), log_kind, static_cast<uint32_t>(log_line::unpack_arguments),
                function_name<M, "_unpack">::text, "[ZELKO]:Param invalid(%s, %d, %s)",
                null_or_not(buf), len, null_or_not(out));
            return sizeof(record);
        }
        const auto *bytes = static_cast<const uint8_t *>(buf);
        auto *to = static_cast<uint8_t *>(out);
        // The byte order is read again after the binding, which settles it.
        const bool swaps = swaps_bytes(M::owner, direction::receive);
        const auto root = swaps ? load<byte_order::swapped, uint32_t>(bytes)
                                : load<byte_order::native, uint32_t>(bytes);
        if constexpr (is_flat<M>) {
            bind_cache(services::ctx());
            memset(to, 0, sizeof(record));
            in_order(
                [&]<byte_order Order>() {
                    reader<Order>(bytes, len).template read_table_carefully<M>(root, to);
                },
                swaps_bytes(M::owner, direction::receive));
        } else {
            // A root table that leads elsewhere is checked under the name of this function, and
            // before anything is written.
            checked_table table;
            bool found = false;
            in_order(
                [&]<byte_order Order>() {
                    found = reader<Order>(bytes, len)
                                .template find_table<M, table_role::root>(root, table);
                },
                swaps);
            if (!found)
                return sizeof(record);
            bind_cache(services::ctx());
            memset(to, 0, sizeof(record));
            in_order(
                [&]<byte_order Order>() {
                    if (!reader<Order>(bytes, len)
                             .template read_slots<M, table_role::root>(table, to))
                        release_owned<M, services>(to);
                },
                swaps_bytes(M::owner, direction::receive));
        }
        return sizeof(record);
    }

    template <byte_order Order>
    static table_reader<Order, services> reader(const uint8_t *bytes, int32_t len)
    {
        return {bytes, static_cast<uint32_t>(len)};
    }
};

} // namespace vorl
