// protobuf: one message object, reused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "bench/peers/fields.h"
#include "records.pb.h"
#include "srv6.h"
#include "srv6_cfg.h"

namespace vorl::bench {

namespace pb_copy {

#define PUT_SCALAR(n) to.set_f##n(from.f##n);
#define PUT_BLOCK(n)                                                                               \
    memcpy(&word, from.f##n, sizeof word);                                                         \
    to.set_f##n##_low(word);                                                                       \
    memcpy(&word, from.f##n + 2, sizeof word);                                                     \
    to.set_f##n##_high(word);
#define GET_SCALAR(n) to.f##n = static_cast<decltype(to.f##n)>(from.f##n());
#define GET_BLOCK(n)                                                                               \
    word = from.f##n##_low();                                                                      \
    memcpy(to.f##n, &word, sizeof word);                                                           \
    word = from.f##n##_high();                                                                     \
    memcpy(to.f##n + 2, &word, sizeof word);
#define COPY(record, Name)                                                                         \
    inline void put(pb::Name &to, const record &from)                                              \
    {                                                                                              \
        [[maybe_unused]] uint64_t word;                                                            \
        VORL_FIELDS_##Name(PUT_SCALAR, PUT_BLOCK)                                                  \
    }                                                                                              \
    inline void get(const pb::Name &from, record &to)                                              \
    {                                                                                              \
        [[maybe_unused]] uint64_t word;                                                            \
        VORL_FIELDS_##Name(GET_SCALAR, GET_BLOCK)                                                  \
    }                                                                                              \
    pb::Name message_of(const record &);
VORL_FLAT_TYPES(COPY)
#undef COPY
#undef GET_BLOCK
#undef GET_SCALAR
#undef PUT_BLOCK
#undef PUT_SCALAR

pb::VrfClassDataChg message_of(const srv6_vrf_class_data_chg &);
inline void put(pb::VrfClassDataChg &to, const srv6_vrf_class_data_chg &from)
{
    to.set_f0(from.f0);
    put(*to.mutable_f1(), from.f1);
}
inline void get(const pb::VrfClassDataChg &from, srv6_vrf_class_data_chg &to)
{
    to.f0 = from.f0();
    get(from.f1(), to.f1);
}

template <size_t N>
void get_bytes(const std::string &from, uint8_t (&to)[N])
{
    if (from.size() == N)
        memcpy(to, from.data(), N);
}

pb::DfxItem message_of(const srv6_cfg_query_dfx_item &);
inline void put(pb::DfxItem &to, const srv6_cfg_query_dfx_item &from)
{
    to.set_f0(from.f0, sizeof from.f0);
    to.set_f1(from.f1);
    to.set_f2(from.f2, sizeof from.f2);
    to.set_f3(from.f3, sizeof from.f3);
    to.set_f4(from.f4, sizeof from.f4);
}
inline void get(const pb::DfxItem &from, srv6_cfg_query_dfx_item &to)
{
    get_bytes(from.f0(), to.f0);
    to.f1 = from.f1();
    get_bytes(from.f2(), to.f2);
    get_bytes(from.f3(), to.f3);
    get_bytes(from.f4(), to.f4);
}

pb::TrastatRecInfo message_of(const srv6_cfg_query_trastat_rec_info &);
inline void put(pb::TrastatRecInfo &to, const srv6_cfg_query_trastat_rec_info &from)
{
    for (const auto &item : from.f0)
        put(*to.add_f0(), item);
}
inline void get(const pb::TrastatRecInfo &from, srv6_cfg_query_trastat_rec_info &to)
{
    if (from.f0_size() != static_cast<int>(trastat_items))
        return;
    for (uint32_t i = 0; i < trastat_items; ++i)
        get(from.f0(static_cast<int>(i)), to.f0[i]);
}

pb::CommonFwdUpdate message_of(const srv6_common_fwd_update &);
inline void put(pb::CommonFwdUpdate &to, const srv6_common_fwd_update &from)
{
    to.set_f0(from.f0);
    for (uint32_t i = 0; i < from.f1_count; ++i)
        put(*to.add_f1(), from.f1[i]);
}
inline void get(const pb::CommonFwdUpdate &from, srv6_common_fwd_update &to)
{
    to.f0 = from.f0();
    to.f1_count = static_cast<uint32_t>(from.f1_size());
    to.f1 = static_cast<srv6_common_fwd *>(malloc(to.f1_count * sizeof *to.f1));
    for (uint32_t i = 0; i < to.f1_count; ++i)
        get(from.f1(static_cast<int>(i)), to.f1[i]);
}

} // namespace pb_copy

template <class Record>
class protobuf_peer {
  public:
    static constexpr const char *name = "protobuf";
    protobuf_peer(size_t scratch_size, bool) : buffer_(scratch_size) {}

    [[gnu::noinline]] void encode(const Record &from)
    {
        message_.Clear();
        pb_copy::put(message_, from);
        size_ = message_.ByteSizeLong();
        if (size_ > buffer_.size())
            abort();
        message_.SerializeWithCachedSizesToArray(buffer_.data());
    }
    std::vector<uint8_t> encoded(const Record &from)
    {
        encode(from);
        return {buffer_.data(), buffer_.data() + size_};
    }
    [[gnu::noinline]] bool decode(std::span<const uint8_t> bytes, Record &to)
    {
        if (!message_.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
            return false;
        pb_copy::get(message_, to);
        return true;
    }

  private:
    decltype(pb_copy::message_of(std::declval<Record>())) message_;
    std::vector<uint8_t> buffer_;
    size_t size_ = 0;
};

} // namespace vorl::bench
