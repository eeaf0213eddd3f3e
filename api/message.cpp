#include "api/message.h"

#include "api/send.h"

namespace vorl {

uint32_t unpack_plainly(const void *buf, int32_t len, void *out, const message &m)
{
    if (buf == nullptr || len < static_cast<int32_t>(word_size) || out == nullptr) {
        log(ctx_of(m, direction::receive), log_kind, log_line::unpack_arguments,
            name_of(function_name::unpack, m), log_text::unpack_arguments, null_or_not(buf), len,
            null_or_not(out));
        return m.record_size;
    }
    const received from = {static_cast<const uint8_t *>(buf), static_cast<uint32_t>(len)};
    auto *record = static_cast<uint8_t *>(out);
    // Each in_order_of reads the byte order anew, because bind_cache below settles it.
    const auto root = in_order_of(direction::receive, m, [&from]<byte_order Order>() {
        return load<Order, uint32_t>(from.bytes);
    });
    // The root table of a message that is not flat is checked here, in the role root, before the
    // record is zeroed. read_table checks that of a flat message, after the record is zeroed.
    checked_table table{};
    if (!is_flat(m) && !in_order_of(direction::receive, m, [&]<byte_order Order>() {
            return plain::find_table<Order>(root, table, table_role::root, from, to_log, m);
        }))
        return m.record_size;
    bind_cache(ctx_of(m, direction::receive));
    memset(record, 0, m.record_size);
    const bool is_read = in_order_of(direction::receive, m, [&]<byte_order Order>() {
        return is_flat(m)
                   ? plain::read_table<Order>(root, record, from, to_log, m)
                   : plain::read_slots<Order>(table, record, table_role::root, from, to_log, m);
    });
    if (!is_read)
        plain::release(record, to_log, m);
    return m.record_size;
}

uint32_t pack_plainly(const void *in, void *buf, uint32_t *inout_len, const message &m)
{
    const auto *record = static_cast<const uint8_t *>(in);
    const uint32_t size = plain::packed_size(record, m);
    if (size == 0 || size > *inout_len)
        return failure;
    if (buf == nullptr) {
        // A call without a buffer asks for the size: it is logged, but it succeeds.
        log(ctx_of(m, direction::send), log_kind, log_line::pack_arguments,
            name_of(function_name::pack, m), log_text::pack_arguments, null_or_not(buf), *inout_len,
            null_or_not(in));
    } else {
        pack_unsettled(static_cast<uint8_t *>(buf), record, m);
    }
    *inout_len = size;
    return 0;
}

} // namespace vorl
